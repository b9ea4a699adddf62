// SPDX-License-Identifier: Apache-2.0
/// @file
/// Keys and certificates made while the test runs, so that none can expire in the repository.
#ifndef TESTS_VKT_HTTPS_CERTIFICATES_H
#define TESTS_VKT_HTTPS_CERTIFICATES_H

#include <openssl/evp.h>
#include <openssl/x509.h>

#include <memory>
#include <string>

namespace Tulvo::Tests {

/// A key and the certificate for it.
struct Identity
{
    std::shared_ptr<EVP_PKEY> key;
    std::shared_ptr<X509> certificate;

    /// `sha256//BASE64` of the public key.
    std::string Pin() const;
    /// The certificate in PEM.
    std::string Pem() const;
};

/// What a certificate claims.
struct Claim
{
    std::string names = "DNS:localhost,IP:127.0.0.1,IP:::1";  ///< Subject alternative names.
    long endsInSeconds = 24L * 3600;
    bool isAuthority = false;
};

/// A certificate signed by `issuer`, or by its own key without one.
Identity MakeIdentity(const Claim& claim, const Identity* issuer = nullptr);

/// A file that lives as long as the object.
class TemporaryFile
{
public:
    explicit TemporaryFile(const std::string& content);
    ~TemporaryFile();
    TemporaryFile(const TemporaryFile&) = delete;
    TemporaryFile& operator=(const TemporaryFile&) = delete;

    const std::string& Path() const { return path_; }

private:
    std::string path_;
};

}  // namespace Tulvo::Tests

#endif
