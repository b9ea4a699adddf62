// SPDX-License-Identifier: Apache-2.0
#include "module/vkt/vkt_https/result_tables.h"

#include <algorithm>
#include <array>
#include <limits>
#include <nlohmann/json.hpp>
#include <string>

#include "module/vkt/vkt_https/strict_json.h"

namespace Tulvo::Https {
namespace {

struct CurlMeaning
{
    CURLcode result;
    VKTHttpsErrorCode code;
    const char* what;
    const char* advice;
};

constexpr const char* kUntrusted = "the server's certificate is not trusted";
constexpr const char* kNoTls = "the TLS handshake failed";
constexpr const char* kNotHttp = "the server's reply is not HTTP";
constexpr const char* kTooLarge = "the server's reply is too large";

constexpr const char* kHowToTrust =
    "name the file of its authority in HTTPS_CA_FILE, or pin its key with HTTPS_PINNED_KEY";
constexpr const char* kCheckTls =
    "check that this is the module's HTTPS port and that it offers TLS 1.2 or newer";
constexpr const char* kCheckServer = "check that address and port are the module's";
constexpr const char* kCheckReach = "check address, port and network";
constexpr const char* kTryAgain = "try again; if it stays so, look at the module's own log";

constexpr std::array kCurlMeanings = {
    CurlMeaning{CURLE_COULDNT_RESOLVE_HOST, VKT_HTTPS_CONNECT_FAILED, "the name was not found",
                "check the address and this host's name service"},
    CurlMeaning{CURLE_COULDNT_CONNECT, VKT_HTTPS_CONNECT_FAILED, "no connection to the server",
                kCheckReach},
    CurlMeaning{CURLE_OPERATION_TIMEDOUT, VKT_HTTPS_TIMEOUT, "the server took too long",
                "try again, or allow more time"},
    CurlMeaning{CURLE_PEER_FAILED_VERIFICATION, VKT_HTTPS_TLS_ERROR, kUntrusted, kHowToTrust},
    CurlMeaning{CURLE_SSL_ISSUER_ERROR, VKT_HTTPS_TLS_ERROR, kUntrusted, kHowToTrust},
    CurlMeaning{CURLE_SSL_INVALIDCERTSTATUS, VKT_HTTPS_TLS_ERROR, kUntrusted, kHowToTrust},
    CurlMeaning{
        CURLE_SSL_PINNEDPUBKEYNOTMATCH, VKT_HTTPS_TLS_ERROR,
        "the server's key is not the pinned one",
        "if the module got a new key, correct HTTPS_PINNED_KEY; else someone is in between"},
    CurlMeaning{CURLE_SSL_CACERT_BADFILE, VKT_HTTPS_TLS_ERROR,
                "the file of trusted authorities cannot be used",
                "HTTPS_CA_FILE must name a readable file of PEM certificates"},
    CurlMeaning{CURLE_SSL_CONNECT_ERROR, VKT_HTTPS_TLS_ERROR, kNoTls, kCheckTls},
    CurlMeaning{CURLE_SSL_CERTPROBLEM, VKT_HTTPS_TLS_ERROR, kNoTls, kCheckTls},
    CurlMeaning{CURLE_SSL_CIPHER, VKT_HTTPS_TLS_ERROR, kNoTls, kCheckTls},
    CurlMeaning{CURLE_USE_SSL_FAILED, VKT_HTTPS_TLS_ERROR, kNoTls, kCheckTls},
    CurlMeaning{CURLE_WEIRD_SERVER_REPLY, VKT_HTTPS_MALFORMED_REPLY, kNotHttp, kCheckServer},
    CurlMeaning{CURLE_UNSUPPORTED_PROTOCOL, VKT_HTTPS_MALFORMED_REPLY, kNotHttp, kCheckServer},
    CurlMeaning{CURLE_BAD_CONTENT_ENCODING, VKT_HTTPS_MALFORMED_REPLY, kNotHttp, kCheckServer},
    // What libcurl says to a header line that is longer than its buffer may become.
    CurlMeaning{CURLE_OUT_OF_MEMORY, VKT_HTTPS_MALFORMED_REPLY,
                "a header line of the server's reply is too long, or memory ran out here",
                kCheckServer},
    CurlMeaning{CURLE_FILESIZE_EXCEEDED, VKT_HTTPS_MALFORMED_REPLY, kTooLarge, kCheckServer},
    CurlMeaning{CURLE_WRITE_ERROR, VKT_HTTPS_MALFORMED_REPLY, kTooLarge, kCheckServer},
};

// All of these say that the connection ended early; libcurl names them by where it noticed. The
// last two are what a refused repetition ends with.
constexpr std::array kBrokenOff = {
    CURLE_GOT_NOTHING,  CURLE_SEND_ERROR,       CURLE_RECV_ERROR,
    CURLE_PARTIAL_FILE, CURLE_SEND_FAIL_REWIND, CURLE_ABORTED_BY_CALLBACK,
};

constexpr CurlMeaning kCutReply = {CURLE_OK, VKT_HTTPS_MALFORMED_REPLY,
                                   "the connection broke off within the reply", kTryAgain};

constexpr CurlMeaning kLocalFault = {CURLE_OK, VKT_HTTPS_INTERNAL_ERROR, "a fault on this side",
                                     "check memory and the installed libcurl"};

constexpr CurlMeaning kNoAnswer = {
    CURLE_OK, VKT_HTTPS_CONNECT_FAILED,
    "the server closed the connection without an answer; the request may have been executed and "
    "was not repeated",
    kTryAgain};

struct StatusMeaning
{
    long first;
    long last;
    VKTHttpsErrorCode code;
    const char* what;
    const char* advice;
};

constexpr StatusMeaning kStatusMeanings[] = {
    {300, 399, VKT_HTTPS_HTTP_ERROR, "a redirect, which is not followed", kCheckServer},
    {400, 400, VKT_HTTPS_HTTP_ERROR, "it does not understand the request", kCheckServer},
    {401, 401, VKT_HTTPS_AUTHENTICATION_FAILED, "the log-in is refused",
     "check user name and password"},
    {403, 403, VKT_HTTPS_AUTHENTICATION_FAILED, "the user may not do this",
     "use a user with administrator privilege"},
    {404, 404, VKT_HTTPS_HTTP_ERROR, "it does not offer IPMI over HTTPS",
     "check that address and port are the module's, or use RMCP+"},
    {408, 408, VKT_HTTPS_TIMEOUT, "it did not get the request in time", "try again"},
    {413, 413, VKT_HTTPS_HTTP_ERROR, "the request has too much data", "send less"},
    {503, 503, VKT_HTTPS_HTTP_ERROR, "it is busy", "try again later"},
    {504, 504, VKT_HTTPS_TIMEOUT, "the module behind it did not answer", "try again"},
    {0, std::numeric_limits<long>::max(), VKT_HTTPS_HTTP_ERROR, "not the expected status",
     kTryAgain},
};

/// The message of a Redfish error object; empty when the body is none.
std::string ErrorMessage(const HttpReply& reply)
{
    nlohmann::json body;
    if (ParseStrictJson(reply.body, body)) {
        return "";
    }
    const auto message = nlohmann::json::json_pointer("/error/message");
    return body.contains(message) && body[message].is_string() ? body[message].get<std::string>()
                                                               : "";
}

const CurlMeaning& MeaningOf(CURLcode result, bool replyBegan)
{
    if (IsBrokenOff(result)) {
        return replyBegan ? kCutReply : kNoAnswer;
    }
    const auto* found =
        std::find_if(kCurlMeanings.begin(), kCurlMeanings.end(),
                     [result](const CurlMeaning& meaning) { return meaning.result == result; });
    return found == kCurlMeanings.end() ? kLocalFault : *found;
}

}  // namespace

bool IsBrokenOff(CURLcode result)
{
    return std::find(kBrokenOff.begin(), kBrokenOff.end(), result) != kBrokenOff.end();
}

Failure FailureOf(CURLcode result, bool replyBegan)
{
    const CurlMeaning& meaning = MeaningOf(result, replyBegan);
    return {meaning.code, meaning.what, meaning.advice, curl_easy_strerror(result), result};
}

Failure FailureOf(const HttpReply& reply)
{
    const auto* meaning = std::find_if(
        std::begin(kStatusMeanings), std::end(kStatusMeanings), [&reply](const StatusMeaning& row) {
            return row.first <= reply.status && reply.status <= row.last;
        });
    return {meaning->code,
            "the server answered " + std::to_string(reply.status) + ": " + meaning->what,
            meaning->advice,
            ErrorMessage(reply),
            CURLE_OK,
            0,
            reply.status,
            reply.retryAfter,
            reply.challenges,
            true};
}

}  // namespace Tulvo::Https
