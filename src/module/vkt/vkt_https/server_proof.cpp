// SPDX-License-Identifier: Apache-2.0
#include "module/vkt/vkt_https/server_proof.h"

#include <openssl/evp.h>
#include <openssl/ssl.h>
#include <openssl/x509.h>

#include <array>
#include <cstdint>
#include <span>
#include <string_view>
#include <utility>

#include "common/text/base64.h"
#include "module/vkt/vkt_https/tls_suites.h"

namespace Tulvo::Https {
namespace {

int ProofSlot()
{
    static const int slot = SSL_CTX_get_ex_new_index(0, nullptr, nullptr, nullptr, nullptr);
    return slot;
}

std::string PinOf(const X509* certificate)
{
    unsigned char* key = nullptr;
    const int size = i2d_X509_PUBKEY(X509_get_X509_PUBKEY(certificate), &key);
    if (size <= 0) {
        return "";
    }
    std::array<std::uint8_t, EVP_MAX_MD_SIZE> digest{};
    unsigned digestSize = 0;
    EVP_Digest(key, static_cast<std::size_t>(size), digest.data(), &digestSize, EVP_sha256(),
               nullptr);
    OPENSSL_free(key);
    return "sha256//" + Text::ToBase64(std::span(digest).first(digestSize));
}

/// The certificate of the server that the handle's present connection leads to; null without one.
const X509* CertificateOf(CURL* handle)
{
    curl_tlssessioninfo* session = nullptr;
    if (curl_easy_getinfo(handle, CURLINFO_TLS_SSL_PTR, &session) != CURLE_OK ||
        session->backend != CURLSSLBACKEND_OPENSSL || session->internals == nullptr) {
        return nullptr;
    }
    return SSL_get0_peer_certificate(static_cast<const SSL*>(session->internals));
}

std::shared_ptr<const X509> Shared(X509* certificate)
{
    X509_up_ref(certificate);
    return {certificate, X509_free};
}

bool IsAmong(std::string_view pins, std::string_view pin)
{
    const auto end = pins.find(';');
    return pins.substr(0, end) == pin ||
           (end != std::string_view::npos && IsAmong(pins.substr(end + 1), pin));
}

bool RunsOnOpenSsl()
{
    const char* tls = curl_version_info(CURLVERSION_NOW)->ssl_version;
    return tls != nullptr && std::string_view(tls).starts_with("OpenSSL");
}

}  // namespace

ServerProof* ServerProof::ProofOf(const SSL* tls)
{
    return static_cast<ServerProof*>(SSL_CTX_get_ex_data(SSL_get_SSL_CTX(tls), ProofSlot()));
}

bool ServerProof::Guard(CURL* handle, const std::string& pins, std::function<bool()> mayLeave)
{
    if (!RunsOnOpenSsl()) {
        return false;
    }
    handle_ = handle;
    pins_ = pins;
    mayLeave_ = std::move(mayLeave);
    CurlOptions options(handle);
    options.Set(CURLOPT_SSL_CTX_FUNCTION, &PrepareContext).Set(CURLOPT_SSL_CTX_DATA, this);
    // Not CURLOPT_PINNEDPUBLICKEY, which passes over a server that shows no certificate.
    options.Set(CURLOPT_PREREQFUNCTION, &BeforeRequest).Set(CURLOPT_PREREQDATA, this);
    return options.Refusal() == CURLE_OK;
}

void ServerProof::Forget()
{
    pin_.clear();
    distrust_.clear();
    notes_ = {};
    keyIsRefused_ = false;
}

CURLcode ServerProof::PrepareContext(CURL*, void* context, void* self)
try {
    ++static_cast<ServerProof*>(self)->handshakes_;
    auto* const tls = static_cast<SSL_CTX*>(context);
    if (!DropUnsafeSuites(tls)) {
        return CURLE_SSL_CIPHER;
    }
    if (SSL_CTX_set_ex_data(tls, ProofSlot(), self) == 1) {
        SSL_CTX_set_verify(tls, SSL_CTX_get_verify_mode(tls), &NoteCertificate);
        SSL_CTX_set_client_cert_cb(tls, &NoteDemand);
        SSL_CTX_set_info_callback(tls, &NoteAlert);
    }
    return CURLE_OK;
} catch (...) {
    return CURLE_OUT_OF_MEMORY;  // No exception may pass through libcurl's C code.
}

// Called for every certificate of the chain with OpenSSL's own verdict, which is handed back.
int ServerProof::NoteCertificate(int verdict, X509_STORE_CTX* chain)
{
    const auto* tls =
        static_cast<SSL*>(X509_STORE_CTX_get_ex_data(chain, SSL_get_ex_data_X509_STORE_CTX_idx()));
    ServerProof* const proof = ProofOf(tls);
    try {
        X509* const own = X509_STORE_CTX_get0_cert(chain);
        proof->pin_ = PinOf(own);
        if (!proof->notes_.certificate) {
            proof->notes_.certificate = Shared(own);
        }
        if (verdict == 0) {
            X509* const wrong = X509_STORE_CTX_get_current_cert(chain);
            proof->notes_.verdict = X509_STORE_CTX_get_error(chain);
            proof->notes_.distrusted = wrong == nullptr || X509_cmp(wrong, own) == 0
                                           ? proof->notes_.certificate
                                           : Shared(wrong);
            proof->distrust_ = X509_verify_cert_error_string(X509_STORE_CTX_get_error(chain));
        }
    } catch (...) {
        proof->Forget();
    }
    return verdict;
}

// Called when the server asks for a certificate of its client. There is none to give.
int ServerProof::NoteDemand(SSL* tls, X509** /*certificate*/, EVP_PKEY** /*key*/)
{
    ProofOf(tls)->notes_.asksForCertificate = true;
    return 0;
}

void ServerProof::NoteAlert(const SSL* tls, int where, int alert)
{
    constexpr int kDescription = 0xFF;
    if ((where & SSL_CB_ALERT) != 0 && (alert & kDescription) != SSL_AD_CLOSE_NOTIFY) {
        ProofOf(tls)->notes_.alert = true;
    }
}

// libcurl calls this for every request, between the connection and its first byte.
int ServerProof::BeforeRequest(void* self, char*, char*, int, int)
{
    auto* const proof = static_cast<ServerProof*>(self);
    try {
        if (!proof->pins_.empty()) {
            proof->CompareKey();
        }
        return !proof->keyIsRefused_ && proof->mayLeave_() ? CURL_PREREQFUNC_OK
                                                           : CURL_PREREQFUNC_ABORT;
    } catch (...) {
        return CURL_PREREQFUNC_ABORT;  // Out of memory: not compared is refused.
    }
}

void ServerProof::CompareKey()
{
    pin_.clear();
    distrust_.clear();
    keyIsRefused_ = true;
    if (const X509* const certificate = CertificateOf(handle_)) {
        pin_ = PinOf(certificate);
        keyIsRefused_ = !IsAmong(pins_, pin_);
    }
}

}  // namespace Tulvo::Https
