// SPDX-License-Identifier: Apache-2.0
#include "tests/vkt_https/certificates.h"

#include <gtest/gtest.h>
#include <openssl/bio.h>
#include <openssl/ec.h>
#include <openssl/pem.h>
#include <openssl/rand.h>
#include <openssl/x509v3.h>
#include <unistd.h>

#include <array>
#include <cstdlib>
#include <fstream>

namespace Tulvo::Tests {
namespace {

constexpr long kStartedSecondsAgo = 7L * 24 * 3600;

void AddExtension(X509* certificate, X509* issuer, int kind, const std::string& value)
{
    X509V3_CTX context;
    X509V3_set_ctx_nodb(&context);
    X509V3_set_ctx(&context, issuer, certificate, nullptr, nullptr, 0);
    X509_EXTENSION* extension = X509V3_EXT_conf_nid(nullptr, &context, kind, value.c_str());
    ASSERT_NE(extension, nullptr) << value;
    X509_add_ext(certificate, extension, -1);
    X509_EXTENSION_free(extension);
}

void SetName(X509* certificate, const std::string& name)
{
    X509_NAME* subject = X509_get_subject_name(certificate);
    X509_NAME_add_entry_by_txt(subject, "CN", MBSTRING_ASC,
                               reinterpret_cast<const unsigned char*>(name.c_str()), -1, -1, 0);
}

long RandomSerial()
{
    std::uint32_t serial = 0;
    RAND_bytes(reinterpret_cast<unsigned char*>(&serial), sizeof serial);
    return static_cast<long>(serial);
}

}  // namespace

Identity MakeIdentity(const Claim& claim, const Identity* issuer)
{
    Identity identity{{EVP_EC_gen("P-256"), EVP_PKEY_free}, {X509_new(), X509_free}};
    X509* const certificate = identity.certificate.get();
    X509* const signer = issuer != nullptr ? issuer->certificate.get() : certificate;
    X509_set_version(certificate, X509_VERSION_3);
    ASN1_INTEGER_set(X509_get_serialNumber(certificate), RandomSerial());
    X509_gmtime_adj(X509_getm_notBefore(certificate), -kStartedSecondsAgo);
    X509_gmtime_adj(X509_getm_notAfter(certificate), claim.endsInSeconds);
    X509_set_pubkey(certificate, identity.key.get());
    SetName(certificate, claim.isAuthority ? "Test authority" : "Test module");
    X509_set_issuer_name(certificate, X509_get_subject_name(signer));
    AddExtension(certificate, signer, NID_basic_constraints,
                 claim.isAuthority ? "critical,CA:TRUE" : "CA:FALSE");
    if (!claim.isAuthority) {
        AddExtension(certificate, signer, NID_subject_alt_name, claim.names);
    }
    X509_sign(certificate, issuer != nullptr ? issuer->key.get() : identity.key.get(),
              EVP_sha256());
    return identity;
}

std::string Identity::Pin() const
{
    unsigned char* der = nullptr;
    const int size = i2d_PUBKEY(key.get(), &der);
    std::array<unsigned char, 32> digest{};
    EVP_Digest(der, static_cast<std::size_t>(size), digest.data(), nullptr, EVP_sha256(), nullptr);
    OPENSSL_free(der);
    std::array<unsigned char, 45> text{};
    EVP_EncodeBlock(text.data(), digest.data(), digest.size());
    return std::string("sha256//") + reinterpret_cast<const char*>(text.data());
}

std::string Identity::Pem() const
{
    const std::unique_ptr<BIO, int (*)(BIO*)> memory(BIO_new(BIO_s_mem()), BIO_free);
    PEM_write_bio_X509(memory.get(), certificate.get());
    char* text = nullptr;
    const long size = BIO_get_mem_data(memory.get(), &text);
    return {text, static_cast<std::size_t>(size)};
}

TemporaryFile::TemporaryFile(const std::string& content)
    : path_(::testing::TempDir() + "vkt_https_test.XXXXXX")
{
    const int file = mkstemp(path_.data());
    EXPECT_GE(file, 0) << path_;
    close(file);
    std::ofstream(path_) << content;
}

TemporaryFile::~TemporaryFile()
{
    unlink(path_.c_str());
}

}  // namespace Tulvo::Tests
