// SPDX-License-Identifier: Apache-2.0
/// @file
/// Libcurl without a network: in a program that links this, requests of libcurl's multi interface
/// go to a server that is played in the same thread, on the played clock. What of libcurl neither
/// sends nor receives is its own.
///
/// It does what libcurl 7.88 does for HTTP/1.1 over TLS as far as vkt_https can see: one kept
/// connection, libcurl's own second try on a kept connection that has died, the callbacks and their
/// order, and the results.
#ifndef FUZZ_PLAYED_CURL_H
#define FUZZ_PLAYED_CURL_H

#include <curl/curl.h>
#include <openssl/x509.h>

#include <chrono>
#include <cstddef>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace Tulvo::Fuzz {

/// How long something takes; nothing: it never comes.
using Takes = std::optional<std::chrono::milliseconds>;

/// What comes of a new connection and its TLS handshake.
struct PlayedConnection
{
    Takes takes = std::chrono::milliseconds(0);
    CURLcode result = CURLE_OK;
    bool handshakeBegins = true;
    int systemError = 0;              ///< With CURLE_COULDNT_CONNECT.
    bool asksForCertificate = false;  ///< Of its client.
    bool alert = false;               ///< One side sends one.
    std::shared_ptr<X509> certificate = {};
    int verdict = X509_V_OK;  ///< On the certificate.
    std::string detail = {};  ///< In libcurl's words.
};

struct PlayedRequest
{
    std::string method;
    std::string url;
    std::vector<std::string> fields;  ///< Of the header.
    std::string body;
    std::string user;      ///< With Basic authentication.
    std::string password;  ///< Likewise.
};

struct PlayedReply
{
    Takes takes = std::chrono::milliseconds(0);
    std::vector<std::string> interim;  ///< Header of a reply with status 100, before this one.
    long status = 200;
    std::vector<std::string> header;  ///< With status line, empty line and line ends.
    std::vector<std::string> body;    ///< In the pieces in which it arrives.
    std::vector<std::string> trailers;
    std::size_t arrives = static_cast<std::size_t>(-1);  ///< So many of all these.
    bool fallsSilent = false;                            ///< After them.
    CURLcode result = CURLE_OK;                          ///< After them.
    bool closes = false;  ///< The connection, which ends the body, when all is done.
};

/// Plays one server; what it does is asked in this order for every request.
class PlayedServer
{
public:
    virtual ~PlayedServer() = default;
    /// A request is begun, whatever comes of it.
    virtual void Begin(const std::string& method, const std::string& url) = 0;
    /// Where there is no connection to use.
    virtual PlayedConnection Connect() = 0;
    /// Whether the connection lives long enough for the request to be written.
    virtual bool TakesRequest() = 0;
    virtual PlayedReply Answer(const PlayedRequest& request) = 0;
    /// The reply's header has been taken whole.
    virtual void HeaderArrived() = 0;
    /// Libcurl takes what has arrived for a whole reply with this body.
    virtual void ReplyArrived(const std::string& body) = 0;
};

/// As long as it lives, libcurl's requests go to `server`. Outlives every handle, and lives within
/// a PlayedClock.
class PlayedCurl
{
public:
    explicit PlayedCurl(PlayedServer& server);
    ~PlayedCurl();
    PlayedCurl(const PlayedCurl&) = delete;
    PlayedCurl& operator=(const PlayedCurl&) = delete;
};

}  // namespace Tulvo::Fuzz

#endif
