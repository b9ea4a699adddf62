// SPDX-License-Identifier: Apache-2.0
/// @file
/// What a server shows of itself, and whether its key is a pinned one.
#ifndef MODULE_VKT_VKT_HTTPS_SERVER_PROOF_H
#define MODULE_VKT_VKT_HTTPS_SERVER_PROOF_H

#include <curl/curl.h>
#include <openssl/types.h>

#include <cstdint>
#include <functional>
#include <memory>
#include <string>

#include "module/vkt/vkt_https/curl_options.h"

namespace Tulvo::Https {

/// What a handshake showed beside the server's key, for whoever explains why it failed.
struct HandshakeNotes
{
    std::shared_ptr<const X509> certificate{};  ///< The server's own; null if it showed none.
    /// The one of its chain that OpenSSL does not trust; null if there is none.
    std::shared_ptr<const X509> distrusted{};
    int verdict = 0;                  ///< Why, as X509_V_ERR_...
    bool asksForCertificate = false;  ///< Of its client.
    bool alert = false;  ///< One side told the other that it does not accept what came.
};

class ServerProof
{
public:
    ServerProof() = default;
    ServerProof(const ServerProof&) = delete;
    ServerProof& operator=(const ServerProof&) = delete;

    /// Has every connection of `handle` offer safe suites only, and note what the server shows.
    /// With `pins`, several separated by semicolons, no request leaves before the key of the server
    /// at the other end of its connection was found among them, be the connection new, resumed or
    /// kept. Nor does one leave for which `mayLeave`, asked after that, says no. This object must
    /// outlive the handle.
    /// @return false when libcurl runs on another TLS library than OpenSSL, on which none of this
    ///         can be done, or does not take an option.
    bool Guard(CURL* handle, const std::string& pins, std::function<bool()> mayLeave);

    /// Forgets what was noted, before a new request.
    void Forget();

    /// `sha256//BASE64` of the server's public key, for a person who compares it with the module's
    /// own display and pins it; empty if it showed none.
    const std::string& Pin() const { return pin_; }
    /// Why OpenSSL does not trust the certificate; empty if it does.
    const std::string& Distrust() const { return distrust_; }
    /// Of the handshake since Forget(), if there was one.
    const HandshakeNotes& Notes() const { return notes_; }
    /// Handshakes that were begun.
    std::uint64_t Handshakes() const { return handshakes_; }
    /// The request did not leave, since the server's key is none of the pinned ones.
    bool KeyIsRefused() const { return keyIsRefused_; }

private:
    static ServerProof* ProofOf(const SSL* tls);
    static CURLcode PrepareContext(CURL* handle, void* context, void* self);
    static int NoteCertificate(int verdict, X509_STORE_CTX* chain);
    static int NoteDemand(SSL* tls, X509** certificate, EVP_PKEY** key);
    static void NoteAlert(const SSL* tls, int where, int alert);
    static int BeforeRequest(void* self, char* serverAddress, char* ownAddress, int serverPort,
                             int ownPort);
    void CompareKey();

    CURL* handle_ = nullptr;
    std::string pins_;
    std::function<bool()> mayLeave_;
    std::string pin_;
    std::string distrust_;
    HandshakeNotes notes_;
    bool keyIsRefused_ = false;
    std::uint64_t handshakes_ = 0;
};

}  // namespace Tulvo::Https

#endif
