// SPDX-License-Identifier: Apache-2.0
#include "apps/vkt_exporter/web/tls_context.h"

#include <gnutls/x509.h>

#include <cstring>
#include <string>

#include "apps/vkt_exporter/web/web_files.h"
#include "common/text/printable.h"

namespace Tulvo::Exporter {

namespace {

/// Only suites with forward secrecy: a key that is stolen later opens no recorded scrape.
constexpr const char* kVersions12And13 =
    "PFS:-VERS-ALL:+VERS-TLS1.3:+VERS-TLS1.2:%SERVER_PRECEDENCE";
constexpr const char* kVersion13 = "PFS:-VERS-ALL:+VERS-TLS1.3:%SERVER_PRECEDENCE";

void Check(int result, const std::string& what)
{
    if (result < 0) {
        throw BadWebConfig(what + ": " + gnutls_strerror(result));
    }
}

gnutls_datum_t Datum(std::string& text)
{
    return {reinterpret_cast<unsigned char*>(text.data()), static_cast<unsigned>(text.size())};
}

gnutls_certificate_request_t RequestFor(ClientAuthType type)
{
    switch (type) {
        case ClientAuthType::kNoClientCert:
            return GNUTLS_CERT_IGNORE;
        case ClientAuthType::kRequestClientCert:
        case ClientAuthType::kVerifyClientCertIfGiven:
            return GNUTLS_CERT_REQUEST;
        case ClientAuthType::kRequireAnyClientCert:
        case ClientAuthType::kRequireAndVerifyClientCert:
            break;
    }
    return GNUTLS_CERT_REQUIRE;
}

bool Verifies(ClientAuthType type)
{
    return type == ClientAuthType::kVerifyClientCertIfGiven ||
           type == ClientAuthType::kRequireAndVerifyClientCert;
}

/// Whether a client without a certificate is let in was decided with the request for it.
/// @return 0 to go on with the handshake.
int VerifyClient(gnutls_session_t session)
{
    unsigned count = 0;
    if (gnutls_certificate_get_peers(session, &count) == nullptr || count == 0) {
        return 0;
    }
    std::string purpose = GNUTLS_KP_TLS_WWW_CLIENT;
    gnutls_typed_vdata_st wanted = {};
    wanted.type = GNUTLS_DT_KEY_PURPOSE_OID;
    wanted.data = reinterpret_cast<unsigned char*>(purpose.data());
    unsigned status = 0;
    const int result = gnutls_certificate_verify_peers(session, &wanted, 1, &status);
    return result == GNUTLS_E_SUCCESS && status == 0 ? 0 : GNUTLS_E_CERTIFICATE_ERROR;
}

/// The key's text does not stay in memory that is given back.
class KeyText
{
public:
    explicit KeyText(const std::string& path) : text_(ReadWebFile(path)) {}
    KeyText(const KeyText&) = delete;
    KeyText& operator=(const KeyText&) = delete;
    ~KeyText() { explicit_bzero(text_.data(), text_.size()); }

    gnutls_datum_t Get() { return Datum(text_); }

private:
    std::string text_;
};

void LoadIdentity(gnutls_certificate_credentials_t credentials, const TlsConfig& tls)
{
    std::string certificate = ReadWebFile(tls.certFile);
    KeyText key(tls.keyFile);
    const gnutls_datum_t certificateDatum = Datum(certificate);
    const gnutls_datum_t keyDatum = key.Get();
    const std::string what = "certificate " + Text::PrintableAscii(tls.certFile) + " with key " +
                             Text::PrintableAscii(tls.keyFile);
    const int result = gnutls_certificate_set_x509_key_mem(credentials, &certificateDatum,
                                                           &keyDatum, GNUTLS_X509_FMT_PEM);
    if (result == GNUTLS_E_CERTIFICATE_KEY_MISMATCH) {
        throw UnmatchedKey(what + ": the key is another's; they have to be replaced together");
    }
    Check(result, what);
}

void LoadAuthorities(gnutls_certificate_credentials_t credentials, const std::string& path)
{
    std::string authorities = ReadWebFile(path);
    const gnutls_datum_t datum = Datum(authorities);
    const int count =
        gnutls_certificate_set_x509_trust_mem(credentials, &datum, GNUTLS_X509_FMT_PEM);
    Check(count, "client_ca_file " + Text::PrintableAscii(path));
    if (count == 0) {
        throw BadWebConfig("client_ca_file " + Text::PrintableAscii(path) +
                           " holds no certificate");
    }
}

}  // namespace

TlsContext::TlsContext(const TlsConfig& tls) : request_(RequestFor(tls.clientAuthType))
{
    gnutls_certificate_credentials_t credentials = nullptr;
    Check(gnutls_certificate_allocate_credentials(&credentials), "TLS");
    credentials_.reset(credentials);
    gnutls_priority_t priority = nullptr;
    Check(
        gnutls_priority_init(&priority, tls.onlyVersion13 ? kVersion13 : kVersions12And13, nullptr),
        "TLS");
    priority_.reset(priority);
    LoadIdentity(credentials, tls);
    if (!tls.clientCaFile.empty()) {
        LoadAuthorities(credentials, tls.clientCaFile);
    }
    if (Verifies(tls.clientAuthType)) {
        gnutls_certificate_set_verify_function(credentials, VerifyClient);
    }
}

bool TlsContext::SetUp(gnutls_session_t session) const
{
    gnutls_certificate_server_set_request(session, request_);
    return gnutls_credentials_set(session, GNUTLS_CRD_CERTIFICATE, credentials_.get()) ==
               GNUTLS_E_SUCCESS &&
           gnutls_priority_set(session, priority_.get()) == GNUTLS_E_SUCCESS;
}

}  // namespace Tulvo::Exporter
