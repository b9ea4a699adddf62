// SPDX-License-Identifier: Apache-2.0
/// @file
/// A key and a self-signed certificate for a server, made when the program starts.
#ifndef APPS_VKT_SIMULATOR_SERVER_CERTIFICATE_H
#define APPS_VKT_SIMULATOR_SERVER_CERTIFICATE_H

#include <openssl/evp.h>
#include <openssl/x509.h>

#include <memory>
#include <string>

namespace Tulvo::Simulator {

enum class Validity
{
    kCurrent,
    kExpired
};

/// A certificate for localhost, 127.0.0.1, ::1 and one more address. The key never leaves memory.
class ServerCertificate
{
public:
    /// @param address numeric IPv4 or IPv6
    /// @throws std::runtime_error when OpenSSL cannot make it.
    ServerCertificate(const std::string& address, Validity validity);

    X509* Certificate() const { return certificate_.get(); }
    EVP_PKEY* Key() const { return key_.get(); }
    std::string Pem() const;
    /// The public key as curl's `--pinnedpubkey` takes it: "sha256//" and base64.
    std::string Pin() const;

private:
    std::unique_ptr<EVP_PKEY, void (*)(EVP_PKEY*)> key_;
    std::unique_ptr<X509, void (*)(X509*)> certificate_;
};

}  // namespace Tulvo::Simulator

#endif
