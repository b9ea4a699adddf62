// SPDX-License-Identifier: Apache-2.0
#include "module/vkt/vkt_https/redfish_session.h"

#include <algorithm>
#include <nlohmann/json.hpp>
#include <utility>

#include "common/log/log.h"
#include "module/vkt/vkt_https/result_tables.h"

namespace Tulvo::Https {
namespace {

constexpr long kLongestDeletionSeconds = 2;
constexpr std::size_t kLongestToken = 4096;
constexpr std::size_t kLongestPath = 512;

// A token becomes part of a header line, so it must not be able to end that line.
bool IsToken(std::string_view text)
{
    return !text.empty() && text.size() <= kLongestToken &&
           std::all_of(text.begin(), text.end(), [](char c) { return c > ' ' && c <= '~'; });
}

bool IsSessionName(std::string_view text)
{
    constexpr std::string_view kUnreserved =
        "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789-._~";
    return !text.empty() && text != "." && text != ".." &&
           text.find_first_not_of(kUnreserved) == std::string_view::npos;
}

std::string_view WithoutOrigin(std::string_view location)
{
    const auto scheme = location.find("://");
    if (scheme == std::string_view::npos) {
        return location;
    }
    const auto path = location.find('/', scheme + 3);
    return path == std::string_view::npos ? std::string_view() : location.substr(path);
}

std::optional<Failure> LoginBody(const TulvoConnection::ConnectionInfo& info, SecretText& body)
{
    nlohmann::ordered_json login = {{"UserName", info.userName}, {"Password", info.password}};
    std::optional<Failure> failure;
    try {
        body.text = login.dump();
    } catch (const nlohmann::json::exception&) {
        // The exception's text quotes the password.
        failure = Failure{VKT_HTTPS_INTERNAL_ERROR, "user name or password is not UTF-8",
                          "write it in UTF-8, or use Basic authentication"};
    }
    Wipe(login["Password"].get_ref<std::string&>());
    return failure;
}

std::optional<Failure> CheckLogin(const HttpReply& reply)
{
    if (reply.status != kCreated) {
        return FailureOf(reply);
    }
    if (!IsToken(reply.sessionToken.text)) {
        return Failure{VKT_HTTPS_MALFORMED_REPLY,
                       "the server opened a session without a usable X-Auth-Token",
                       "use Basic authentication"};
    }
    return std::nullopt;
}

}  // namespace

std::optional<Failure> RedfishSession::Open(const CallLimit* limit, LogInPass* pass)
{
    if (!token_.text.empty()) {
        return std::nullopt;
    }
    if (limit == nullptr && Interruption::Raised()) {
        return Interrupted();
    }
    SecretText body;
    if (auto failure = LoginBody(info_, body)) {
        return failure;
    }
    HttpReply reply;
    counted_.emplace();
    auto failure = client_.Exchange({.path = std::string(kSessionsPath),
                                     .body = body.text,
                                     .limit = limit,
                                     .pass = pass,
                                     .canBeFinishedLater = limit != nullptr},
                                    reply);
    if (!failure) {
        failure = CheckLogin(reply);
        if (failure) {
            failure->mayHaveArrived = true;
        }
    }
    Take(reply);
    if (failure && limit == nullptr) {
        Close();
    }
    return failure;
}

// The header alone says that the module has a session now, even if the body is unusable.
void RedfishSession::Take(HttpReply& reply)
{
    if (reply.status == kCreated && IsToken(reply.sessionToken.text)) {
        token_ = std::move(reply.sessionToken);
        path_ = SessionPath(reply.location);
    }
}

void RedfishSession::Close(const CallLimit* limit) noexcept
{
    try {
        if (limit != nullptr && client_.IsUnfinished()) {
            HttpReply reply;
            static_cast<void>(client_.Finish(*limit, reply));
            Take(reply);
        }
        if (!token_.text.empty()) {
            Delete(limit);
            formerToken_ = std::move(token_);
        }
    } catch (...) {
        // Out of memory: the module ends the session by itself.
    }
    Abandon();
}

void RedfishSession::Abandon() noexcept
{
    Wipe(token_.text);
    counted_.reset();
}

void RedfishSession::Delete(const CallLimit* limit)
{
    HttpReply reply;
    std::optional<Failure> failure =
        Failure{VKT_HTTPS_MALFORMED_REPLY, "it has no usable Location"};
    if (!path_.empty()) {
        failure = client_.Exchange({.method = Method::kDelete,
                                    .path = path_,
                                    .sessionToken = token_.text,
                                    .longestSeconds = kLongestDeletionSeconds,
                                    .limit = limit},
                                   reply);
        // A session that the module no longer knows is gone as well.
        const bool gone =
            reply.status / 100 == 2 || reply.status == kUnauthorized || reply.status == kNotFound;
        if (!failure && !gone) {
            failure = FailureOf(reply);
        }
    }
    if (failure) {
        const SecretText escaped = PasswordInLogin(info_.password);
        Log(2, __FILE__, __LINE__).Stream()
            << client_.Origin() << ": the session was not deleted: "
            << Describe(*failure, {token_.text, formerToken_.text, info_.password, escaped.text})
            << ". The module ends it after its own time limit.";
    }
}

SecretText PasswordInLogin(const std::string& password)
{
    nlohmann::json text = password;
    SecretText quoted{text.dump(-1, ' ', false, nlohmann::json::error_handler_t::replace)};
    Wipe(text.get_ref<std::string&>());
    return SecretText{quoted.text.substr(1, quoted.text.size() - 2)};
}

std::string SessionPath(std::string_view location)
{
    std::string_view path = WithoutOrigin(location);
    if (path.ends_with('/')) {
        path.remove_suffix(1);
    }
    const bool below = path.starts_with(kSessionsPath) && path.size() <= kLongestPath &&
                       path.substr(kSessionsPath.size()).starts_with('/') &&
                       IsSessionName(path.substr(kSessionsPath.size() + 1));
    return below ? std::string(path) : "";
}

}  // namespace Tulvo::Https
