// SPDX-License-Identifier: Apache-2.0
/// @file
/// What one exchange sends and what it brings back.
#ifndef MODULE_VKT_VKT_HTTPS_HTTP_MESSAGE_H
#define MODULE_VKT_VKT_HTTPS_HTTP_MESSAGE_H

#include <string>
#include <string_view>

#include "common/failure/call_limit.h"
#include "common/failure/log_in_gate.h"
#include "module/vkt/vkt_https/secret_text.h"

namespace Tulvo::Https {

/// Where a raw IPMI request goes.
inline constexpr std::string_view kIpmiActionPath =
    "/redfish/v1/Managers/1/Actions/Oem/VKTManager.SendIpmiCommand";

/// Where a session is opened; one session's own path lies below it.
inline constexpr std::string_view kSessionsPath = "/redfish/v1/SessionService/Sessions";

/// Statuses that are told apart in more than one place.
inline constexpr long kOk = 200;
inline constexpr long kCreated = 201;
inline constexpr long kUnauthorized = 401;
inline constexpr long kForbidden = 403;
inline constexpr long kNotFound = 404;

enum class Method
{
    kPost,
    kDelete,
};

/// A request; the texts that it refers to must outlive the exchange.
struct HttpRequest
{
    Method method = Method::kPost;
    std::string path{};               ///< From "/" on.
    std::string_view body{};          ///< JSON; for Method::kPost only.
    std::string_view sessionToken{};  ///< Value for X-Auth-Token; empty for none.
    long longestSeconds = 0;          ///< Shorter limit than the record's; 0 for none.
    bool isInterruptible = false;     ///< Ends early when the program does.
    /// Stands, where there is one, before all of the record's times and the program's end.
    const CallLimit* limit = nullptr;
    /// With a limit: gives leave, once connected, before anything is sent; null for none.
    LogInPass* pass = nullptr;
    /// Of a kept connection that dies before the reply begins, the body is sent again on a new one.
    bool mayBeRepeated = false;
    /// With a limit: once it was sent, its reply may be waited for further after the limit.
    bool canBeFinishedLater = false;
};

/// A reply whose header came whole. The body may be cut short unless `status` is 2xx.
struct HttpReply
{
    long status = 0;
    std::string contentType;
    std::string location;
    std::string retryAfter;
    std::string challenges;  ///< Of a 401: the ways to log in, each with its parameters.
    SecretText sessionToken;
    std::string body;
};

}  // namespace Tulvo::Https

#endif
