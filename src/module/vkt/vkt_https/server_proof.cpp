// SPDX-License-Identifier: Apache-2.0
#include "module/vkt/vkt_https/server_proof.h"

#include <openssl/evp.h>
#include <openssl/ssl.h>
#include <openssl/x509.h>

#include <array>
#include <cstdint>
#include <span>

#include "common/text/base64.h"

namespace Tulvo::Https {
namespace {

int ProofSlot()
{
    static const int slot = SSL_CTX_get_ex_new_index(0, nullptr, nullptr, nullptr, nullptr);
    return slot;
}

std::string PinOf(X509* certificate)
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

// Called for every certificate of the chain with OpenSSL's own verdict, which is handed back.
int NoteProof(int verdict, X509_STORE_CTX* chain)
{
    const auto* tls =
        static_cast<SSL*>(X509_STORE_CTX_get_ex_data(chain, SSL_get_ex_data_X509_STORE_CTX_idx()));
    auto* proof = static_cast<ServerProof*>(SSL_CTX_get_ex_data(SSL_get_SSL_CTX(tls), ProofSlot()));
    try {
        proof->pin = PinOf(X509_STORE_CTX_get0_cert(chain));
        if (verdict == 0) {
            proof->distrust = X509_verify_cert_error_string(X509_STORE_CTX_get_error(chain));
        }
    } catch (...) {
        *proof = {};
    }
    return verdict;
}

CURLcode WatchContext(CURL*, void* context, void* proof)
{
    auto* tls = static_cast<SSL_CTX*>(context);
    if (SSL_CTX_set_ex_data(tls, ProofSlot(), proof) == 1) {
        SSL_CTX_set_verify(tls, SSL_CTX_get_verify_mode(tls), NoteProof);
    }
    return CURLE_OK;
}

bool RunsOnOpenSsl()
{
    const char* tls = curl_version_info(CURLVERSION_NOW)->ssl_version;
    return tls != nullptr && std::string(tls).find("OpenSSL") == 0;
}

}  // namespace

void WatchServerProof(CURL* handle, ServerProof& proof)
{
    if (RunsOnOpenSsl()) {
        CurlOptions(handle)
            .Set(CURLOPT_SSL_CTX_FUNCTION, &WatchContext)
            .Set(CURLOPT_SSL_CTX_DATA, &proof);
    }
}

}  // namespace Tulvo::Https
