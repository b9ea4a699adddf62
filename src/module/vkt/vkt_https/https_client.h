// SPDX-License-Identifier: Apache-2.0
/// @file
/// Exchanges HTTP messages with one server over one TLS connection, through libcurl.
#ifndef MODULE_VKT_VKT_HTTPS_HTTPS_CLIENT_H
#define MODULE_VKT_VKT_HTTPS_HTTPS_CLIENT_H

#include <curl/curl.h>

#include <array>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "common/connection/connection_info.h"
#include "module/vkt/vkt_https/curl_options.h"
#include "module/vkt/vkt_https/failure.h"
#include "module/vkt/vkt_https/http_message.h"
#include "module/vkt/vkt_https/reply_collector.h"
#include "module/vkt/vkt_https/request_body.h"
#include "module/vkt/vkt_https/request_headers.h"
#include "module/vkt/vkt_https/server_proof.h"
#include "module/vkt/vkt_https/tls_trust.h"
#include "module/vkt/vkt_https/transfer_loop.h"

namespace Tulvo::Https {

/// Finds out who vouches for the server at `origin`, or why nobody can.
using TrustSource =
    std::function<std::optional<Failure>(std::string_view origin, ServerTrust& trust)>;

/// One server. The handle is made, and the source of trust asked, by the first exchange whose
/// connection record can be used.
///
/// A connection that the server has closed in the meantime is replaced without a failure, but a
/// body that was handed to the network once is never sent again.
///
/// Either all requests of an object have a limit, or none has.
class HttpsClient
{
public:
    /// @param info outlives this object.
    HttpsClient(const TulvoConnection::ConnectionInfo& info, TrustSource findTrust)
        : info_(info), findTrust_(std::move(findTrust))
    {
    }
    HttpsClient(const HttpsClient&) = delete;
    HttpsClient& operator=(const HttpsClient&) = delete;

    /// Sends `request` and waits for the reply.
    /// @return nothing when the reply's header came whole (and its body, if the status is 2xx).
    std::optional<Failure> Exchange(const HttpRequest& request, HttpReply& reply);

    /// Says why no exchange is possible, whatever the server does.
    std::optional<Failure> Prepare();

    /// Looks the server's name up for all connections to come, on one of a bounded number of
    /// threads; without it libcurl starts one a connection.
    std::optional<Failure> LookUpServer(const CallLimit& limit);

    /// Looks the server up and connects, until it has shown its key; nothing is requested then or
    /// later.
    std::optional<Failure> ShakeHands(const CallLimit& limit);

    /// Whether a request that can be finished later was sent, and its reply not waited for.
    bool IsUnfinished() const { return isUnfinished_; }

    /// Waits for the reply to it once more, and gives it up when it does not come.
    std::optional<Failure> Finish(const CallLimit& limit, HttpReply& reply);

    /// What the server showed of its key in the last exchange; empty if nothing.
    const std::string& ServerKey() const { return proof_.Pin(); }

    /// What else was seen of the server in it.
    const ServerProof& Proof() const { return proof_; }

    /// Connections on which a TLS handshake was begun.
    std::uint64_t Handshakes() const { return proof_.Handshakes(); }

    /// Whether the next exchange can use the connection of the last one.
    bool ConnectionIsUsable() const;

    /// Has the next exchange open a new connection: what else arrives on the present one cannot be
    /// trusted to belong to that exchange.
    void LeaveConnection() { connectionIsSpent_ = true; }

    /// Forgets connection and settings without a byte to the server: in a child made by fork() they
    /// are its parent's. What libcurl holds of them stays allocated, for fork() may have come upon
    /// another thread in the midst of changing it.
    void Abandon();

    /// `https://host:port`, once an exchange has been tried.
    const std::string& Origin() const { return origin_; }

private:
    struct Close
    {
        void operator()(CURL* handle) const { curl_easy_cleanup(handle); }
    };

    struct FreeList
    {
        void operator()(curl_slist* list) const { curl_slist_free_all(list); }
    };

    std::optional<Failure> SetUp(CURL* handle);
    void SetCredentials(CurlOptions& options) const;
    void SetMethod(CurlOptions& options, const HttpRequest& request) const;
    void SetTimes(CurlOptions& options, const HttpRequest& request) const;
    CURLcode Perform(const HttpRequest& request, CurlOptions& options);
    CURLcode Continue(const CallLimit& limit, bool canBeFinishedLater);
    std::optional<Failure> End(CURLcode result, HttpReply& reply);
    std::optional<Failure> Judge(CURLcode result) const;
    bool ReplyIsRefusal() const;
    long Number(CURLINFO info) const;
    Failure Blame(CURLcode result, bool replyBegan) const;
    CURLcode CauseOf(CURLcode result) const;
    std::string Detail(CURLcode result) const;
    int SystemError() const;

    /// A request on its way, and what came of its reply.
    struct Transfer
    {
        explicit Transfer(const HttpRequest& request)
            : body(request.body, request.mayBeRepeated), headers(request), pass(request.pass)
        {
            if (request.limit != nullptr) {
                limit = *request.limit;
            }
        }

        bool GetLeave() { return pass == nullptr || pass->Enter(limit.until, limit.stop); }

        RequestBody body;
        RequestHeaders headers;
        HttpReply reply{};
        ReplyCollector collector{reply};
        LogInPass* pass;  ///< Null once the caller has been told of the outcome.
        CallLimit limit{};
    };

    const TulvoConnection::ConnectionInfo& info_;
    TrustSource findTrust_;
    std::string origin_;
    ServerProof proof_;
    std::array<char, CURL_ERROR_SIZE> errorText_{};
    int socketError_ = 0;
    bool connectionIsSpent_ = false;
    bool serverIsRefused_ = false;
    bool isUnfinished_ = false;
    std::unique_ptr<Transfer> transfer_;
    TransferLoop loop_;
    std::unique_ptr<curl_slist, FreeList> addresses_;
    // Last: libcurl uses the members above until the handle is gone.
    std::unique_ptr<CURL, Close> handle_;
};

}  // namespace Tulvo::Https

#endif
