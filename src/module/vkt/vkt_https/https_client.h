// SPDX-License-Identifier: Apache-2.0
/// @file
/// Exchanges HTTP messages with one server over one TLS connection, through libcurl.
#ifndef MODULE_VKT_VKT_HTTPS_HTTPS_CLIENT_H
#define MODULE_VKT_VKT_HTTPS_HTTPS_CLIENT_H

#include <curl/curl.h>

#include <array>
#include <memory>
#include <optional>
#include <string>

#include "common/connection/connection_info.h"
#include "module/vkt/vkt_https/curl_options.h"
#include "module/vkt/vkt_https/failure.h"
#include "module/vkt/vkt_https/http_message.h"
#include "module/vkt/vkt_https/reply_collector.h"
#include "module/vkt/vkt_https/server_proof.h"

namespace Tulvo::Https {

/// One server. The handle is made, and the configuration read, by the first exchange whose
/// connection record can be used.
///
/// A connection that the server has closed in the meantime is replaced without a failure, but a
/// body that was handed to the network once is never sent again.
class HttpsClient
{
public:
    /// @param info outlives this object.
    explicit HttpsClient(const TulvoConnection::ConnectionInfo& info) : info_(info) {}
    HttpsClient(const HttpsClient&) = delete;
    HttpsClient& operator=(const HttpsClient&) = delete;

    /// Sends `request` and waits for the reply.
    /// @return nothing when the reply's header came whole (and its body, if the status is 2xx).
    std::optional<Failure> Exchange(const HttpRequest& request, HttpReply& reply);

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

    std::optional<Failure> MakeHandle();
    std::optional<Failure> SetUp(CURL* handle);
    void SetCredentials(CurlOptions& options) const;
    void SetMethod(CurlOptions& options, const HttpRequest& request) const;
    std::optional<Failure> Perform(const HttpRequest& request, HttpReply& reply,
                                   CurlOptions& options);
    std::optional<Failure> Judge(CURLcode result, const ReplyCollector& collector,
                                 const HttpReply& reply) const;
    Failure Blame(CURLcode result, bool replyBegan) const;
    CURLcode CauseOf(CURLcode result) const;
    std::string Detail(CURLcode result) const;
    bool ConnectionIsUsable() const;

    const TulvoConnection::ConnectionInfo& info_;
    std::string origin_;
    ServerProof proof_;
    std::array<char, CURL_ERROR_SIZE> errorText_{};
    int socketError_ = 0;
    bool connectionIsSpent_ = false;
    bool serverIsRefused_ = false;
    // Last: libcurl writes into the members above until the handle is gone.
    std::unique_ptr<CURL, Close> handle_;
};

}  // namespace Tulvo::Https

#endif
