// SPDX-License-Identifier: Apache-2.0
#include "apps/vkt_simulator/server_certificate.h"

#include <openssl/bio.h>
#include <openssl/ec.h>
#include <openssl/pem.h>
#include <openssl/rand.h>
#include <openssl/sha.h>
#include <openssl/x509v3.h>

#include <array>
#include <cstdint>
#include <stdexcept>

#include "common/text/base64.h"

namespace Tulvo::Simulator {

namespace {

constexpr long kDay = 24L * 60 * 60;

void Check(bool done, const char* what)
{
    if (!done) {
        throw std::runtime_error(std::string("OpenSSL cannot make the certificate: ") + what);
    }
}

// A browser or curl that remembers an earlier run's certificate must not take this one for it.
void SetRandomSerial(X509* certificate)
{
    std::uint32_t serial = 0;
    Check(RAND_bytes(reinterpret_cast<unsigned char*>(&serial), sizeof serial) == 1, "serial");
    Check(ASN1_INTEGER_set_uint64(X509_get_serialNumber(certificate), serial) == 1, "serial");
}

// A day of grace before now, for clients whose clock is a little behind.
void SetDates(X509* certificate, Validity validity)
{
    const long end = validity == Validity::kCurrent ? 30 * kDay : -kDay;
    Check(X509_gmtime_adj(X509_getm_notBefore(certificate), -2 * kDay) != nullptr, "start");
    Check(X509_gmtime_adj(X509_getm_notAfter(certificate), end) != nullptr, "end");
}

void SetNames(X509* certificate)
{
    X509_NAME* name = X509_get_subject_name(certificate);
    const auto* text = reinterpret_cast<const unsigned char*>("vkt-simulator");
    Check(X509_NAME_add_entry_by_txt(name, "CN", MBSTRING_ASC, text, -1, -1, 0) == 1, "name");
    Check(X509_set_issuer_name(certificate, name) == 1, "issuer");
}

void AddExtension(X509* certificate, int kind, const std::string& value)
{
    X509V3_CTX context;
    X509V3_set_ctx_nodb(&context);
    X509V3_set_ctx(&context, certificate, certificate, nullptr, nullptr, 0);
    const std::unique_ptr<X509_EXTENSION, void (*)(X509_EXTENSION*)> extension(
        X509V3_EXT_conf_nid(nullptr, &context, kind, value.c_str()), X509_EXTENSION_free);
    Check(extension != nullptr, value.c_str());
    Check(X509_add_ext(certificate, extension.get(), -1) == 1, value.c_str());
}

}  // namespace

ServerCertificate::ServerCertificate(const std::string& address, Validity validity)
    : key_(EVP_EC_gen("P-256"), EVP_PKEY_free), certificate_(X509_new(), X509_free)
{
    Check(key_ != nullptr && certificate_ != nullptr, "key");
    X509* certificate = certificate_.get();
    Check(X509_set_version(certificate, X509_VERSION_3) == 1, "version");
    SetRandomSerial(certificate);
    SetDates(certificate, validity);
    SetNames(certificate);
    Check(X509_set_pubkey(certificate, key_.get()) == 1, "public key");
    AddExtension(certificate, NID_basic_constraints, "critical,CA:FALSE");
    AddExtension(certificate, NID_ext_key_usage, "serverAuth");
    AddExtension(certificate, NID_subject_alt_name,
                 "DNS:localhost,IP:127.0.0.1,IP:::1,IP:" + address);
    Check(X509_sign(certificate, key_.get(), EVP_sha256()) != 0, "signature");
}

std::string ServerCertificate::Pem() const
{
    const std::unique_ptr<BIO, int (*)(BIO*)> memory(BIO_new(BIO_s_mem()), BIO_free);
    Check(memory && PEM_write_bio_X509(memory.get(), certificate_.get()) == 1, "PEM text");
    char* text = nullptr;
    const long length = BIO_get_mem_data(memory.get(), &text);
    return {text, static_cast<std::size_t>(length)};
}

std::string ServerCertificate::Pin() const
{
    unsigned char* der = nullptr;
    const int length = i2d_PUBKEY(key_.get(), &der);
    Check(length > 0, "public key");
    std::array<unsigned char, SHA256_DIGEST_LENGTH> digest;
    SHA256(der, static_cast<std::size_t>(length), digest.data());
    OPENSSL_free(der);
    return "sha256//" + Text::ToBase64(digest);
}

}  // namespace Tulvo::Simulator
