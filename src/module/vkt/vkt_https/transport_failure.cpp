// SPDX-License-Identifier: Apache-2.0
#include "module/vkt/vkt_https/transport_failure.h"

#include <strings.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <system_error>

#include "module/vkt/vkt_https/http_message.h"
#include "module/vkt/vkt_https/result_tables.h"
#include "module/vkt/vkt_https/tls_failure.h"

namespace Tulvo::Https {
namespace {

struct ResultRow
{
    CURLcode result;
    Cause cause;
    const char* advice;  ///< Null: the failure's own.
};

constexpr const char* kTrustOrPin =
    "make sure that this is the module; then name its authority's file, or pin its key";

constexpr const char* kCheckTls = "look at the module's own log";

constexpr std::array kResults = {
    ResultRow{CURLE_COULDNT_RESOLVE_HOST, Cause::kUnreachable, nullptr},
    ResultRow{CURLE_COULDNT_CONNECT, Cause::kUnreachable, nullptr},
    ResultRow{CURLE_PEER_FAILED_VERIFICATION, Cause::kNotTrusted, kTrustOrPin},
    ResultRow{CURLE_SSL_ISSUER_ERROR, Cause::kNotTrusted, kTrustOrPin},
    ResultRow{CURLE_SSL_INVALIDCERTSTATUS, Cause::kNotTrusted, kTrustOrPin},
    ResultRow{CURLE_SSL_PINNEDPUBKEYNOTMATCH, Cause::kNotTrusted,
              "if the module got a new key, pin that; else someone is in between"},
    ResultRow{CURLE_SSL_CONNECT_ERROR, Cause::kNotTrusted, kCheckTls},
    ResultRow{CURLE_SSL_CACERT_BADFILE, Cause::kLocal, "name a readable file of PEM certificates"},
};

/// Of failures without a status and without a row above.
struct CodeRow
{
    VKTHttpsErrorCode code;
    Cause withResult;
    Cause withoutResult;  ///< Found before anything was sent, or after all was received.
};

constexpr std::array kCodes = {
    CodeRow{VKT_HTTPS_TLS_ERROR, Cause::kNotTrusted, Cause::kLocal},
    CodeRow{VKT_HTTPS_TIMEOUT, Cause::kTimedOut, Cause::kTimedOut},
    CodeRow{VKT_HTTPS_MALFORMED_REPLY, Cause::kMalformedAnswer, Cause::kMalformedAnswer},
    CodeRow{VKT_HTTPS_NO_DATA, Cause::kMalformedAnswer, Cause::kMalformedAnswer},
    CodeRow{VKT_HTTPS_CONNECT_FAILED, Cause::kUnreachable, Cause::kLocal},
};

struct StatusRow
{
    long first;
    long last;
    Cause cause;
    const char* what;    ///< Null: the failure's own.
    const char* advice;  ///< Null: the failure's own.
};

constexpr const char* kNoIpmi = "it does not offer IPMI over HTTPS";
constexpr const char* kCheckModule = "check that address and port are the module's, or use RMCP+";

constexpr std::array kStatuses = {
    StatusRow{300, 399, Cause::kNoSuchModule, nullptr, nullptr},
    StatusRow{401, 401, Cause::kRefused, nullptr, nullptr},
    StatusRow{403, 403, Cause::kRefused, nullptr, nullptr},
    StatusRow{404, 404, Cause::kNoSuchModule, nullptr, nullptr},
    StatusRow{405, 405, Cause::kNoSuchModule, kNoIpmi, kCheckModule},
    StatusRow{408, 408, Cause::kTimedOut, nullptr, nullptr},
    StatusRow{429, 429, Cause::kBusy, "it has too many requests", "try again later"},
    StatusRow{501, 501, Cause::kNoSuchModule, kNoIpmi, kCheckModule},
    StatusRow{503, 503, Cause::kBusy, nullptr, nullptr},
    StatusRow{504, 504, Cause::kTimedOut, nullptr, nullptr},
};

constexpr StatusRow kAnyOtherStatus = {0, 0, Cause::kMalformedAnswer, nullptr, nullptr};

constexpr const char* kOnlyDigest =
    "the server answered 401: it offers Digest authentication only, which is not spoken here";
constexpr const char* kInsteadOfDigest = "allow sessions or Basic on the module, or use RMCP+";

constexpr std::array kOutOfResources = {EMFILE, ENFILE, ENOBUFS, ENOMEM};

const StatusRow& RowOf(long status)
{
    const auto* found = std::find_if(
        kStatuses.begin(), kStatuses.end(),
        [status](const StatusRow& row) { return row.first <= status && status <= row.last; });
    return found == kStatuses.end() ? kAnyOtherStatus : *found;
}

const ResultRow* RowOf(CURLcode result)
{
    const auto* found =
        std::find_if(kResults.begin(), kResults.end(),
                     [result](const ResultRow& row) { return row.result == result; });
    return found == kResults.end() ? nullptr : found;
}

bool ClosedWithoutAnswer(const Failure& failure)
{
    return failure.code == VKT_HTTPS_CONNECT_FAILED && IsBrokenOff(failure.result);
}

/// Where the next comma outside of quotes is, else the end.
std::size_t EndOfElement(std::string_view list)
{
    bool quoted = false;
    for (std::size_t at = 0; at < list.size(); ++at) {
        if (quoted && list[at] == '\\') {
            ++at;
        } else if (list[at] == '"') {
            quoted = !quoted;
        } else if (list[at] == ',' && !quoted) {
            return at;
        }
    }
    return list.size();
}

/// A scheme stands at the beginning of an element; the elements behind it may be its parameters.
bool Offers(std::string_view challenges, std::string_view scheme)
{
    while (!challenges.empty()) {
        const std::size_t end = EndOfElement(challenges);
        std::string_view element = challenges.substr(0, end);
        element.remove_prefix(std::min(element.find_first_not_of(" \t"), element.size()));
        const std::string_view name = element.substr(0, element.find_first_of(" \t"));
        if (name.size() == scheme.size() &&
            strncasecmp(name.data(), scheme.data(), scheme.size()) == 0) {
            return true;
        }
        challenges.remove_prefix(std::min(end + 1, challenges.size()));
    }
    return false;
}

bool OffersOnlyDigest(const Failure& failure)
{
    return failure.status == kUnauthorized && Offers(failure.challenges, "Digest") &&
           !Offers(failure.challenges, "Basic");
}

bool NobodyListens(const Failure& failure)
{
    return failure.result == CURLE_COULDNT_CONNECT && failure.systemError == ECONNREFUSED;
}

std::string What(const Failure& failure)
{
    if (ClosedWithoutAnswer(failure)) {
        return "the server closed the connection without an answer";
    }
    if (failure.result == CURLE_COULDNT_CONNECT) {
        return NobodyListens(failure) ? "nothing listens on that port"
                                      : "the server cannot be reached";
    }
    const char* const what = RowOf(failure.status).what;
    return what == nullptr ? failure.what
                           : "the server answered " + std::to_string(failure.status) + ": " + what;
}

/// Libcurl tells times and ports where that would make equal failures differ.
std::string Detail(const Failure& failure)
{
    if (failure.result == CURLE_COULDNT_CONNECT) {
        const bool saysAll = failure.systemError == 0 || NobodyListens(failure);
        return saysAll ? "" : std::generic_category().message(failure.systemError);
    }
    const bool saysNothing = failure.result == CURLE_OPERATION_TIMEDOUT ||
                             failure.result == CURLE_SSL_PINNEDPUBKEYNOTMATCH ||
                             IsBrokenOff(failure.result);
    return saysNothing ? "" : failure.detail;
}

std::string Advice(const Failure& failure)
{
    if (NobodyListens(failure)) {
        return "check address and port, or wait if the module is starting";
    }
    const ResultRow* const result = RowOf(failure.result);
    const char* const advice = result != nullptr ? result->advice : RowOf(failure.status).advice;
    return advice == nullptr ? failure.advice : advice;
}

}  // namespace

Cause CauseOf(const Failure& failure)
{
    if (failure.status != 0) {
        return RowOf(failure.status).cause;
    }
    if (std::find(kOutOfResources.begin(), kOutOfResources.end(), failure.systemError) !=
        kOutOfResources.end()) {
        return Cause::kLocal;
    }
    if (const ResultRow* const result = RowOf(failure.result)) {
        return result->cause;
    }
    const auto* found = std::find_if(kCodes.begin(), kCodes.end(), [&failure](const CodeRow& row) {
        return row.code == failure.code;
    });
    if (found == kCodes.end()) {
        return Cause::kLocal;
    }
    return failure.result == CURLE_OK ? found->withoutResult : found->withResult;
}

Tulvo::Failure Tell(const Failure& failure, const std::string& origin, const std::string& host,
                    const ServerProof& proof, const std::vector<std::string_view>& secrets)
{
    const std::string start = origin.empty() ? "" : origin + ": ";
    if (auto explained = ExplainTls(failure, proof, host)) {
        explained->message = start + explained->message;
        return *explained;
    }
    if (OffersOnlyDigest(failure)) {
        return {Cause::kRefused, start + kOnlyDigest, kInsteadOfDigest, {}};
    }
    const Cause cause = CauseOf(failure);
    const std::string told = Describe({.what = What(failure), .detail = Detail(failure)}, secrets);
    std::string advice = Advice(failure);
    if (cause == Cause::kNotTrusted && !proof.Pin().empty()) {
        advice += "; the server's key is " + proof.Pin();
    }
    return {cause, start + told, advice, {}};
}

}  // namespace Tulvo::Https
