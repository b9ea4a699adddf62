// SPDX-License-Identifier: Apache-2.0
// What a broken or hostile server can answer, each with its one result and log record.
#include <chrono>

#include "tests/vkt_https/https_fixture.h"

namespace Tulvo::Tests {
namespace {

using std::chrono::seconds;
using std::chrono::steady_clock;

struct Lie
{
    const char* name;
    TlsServer::Play play;
    VKTHttpsErrorCode code;
    const char* fragment;  ///< Of the log record.
};

std::string NameOf(const ::testing::TestParamInfo<Lie>& info)
{
    return info.param.name;
}

void PrintTo(const Lie& lie, std::ostream* out)
{
    *out << lie.name;
}

class HostileServer : public HttpsTest, public ::testing::WithParamInterface<Lie>
{
};

TEST_P(HostileServer, GetsItsResultAndLeavesTheOutputsAlone)
{
    Serve(GetParam().play);
    ExpectFailure(GetParam().code, GetParam().fragment);
    // Were the reply unbounded, this would be the 64 MiB that the server has in store. The sockets'
    // buffers hold some megabytes of what nobody reads.
    EXPECT_LT(server->BytesSent(), 16U * 1024 * 1024);
}

class SlowServer : public HostileServer
{
};

TEST_P(SlowServer, GetsASecondAndNoMore)
{
    Serve(GetParam().play);
    auto record = Record();
    record.connectTimeoutSeconds = 1;
    record.requestTimeoutSeconds = 1;
    Connect(record);
    const auto start = steady_clock::now();
    ExpectFailure(GetParam().code, GetParam().fragment);
    // Less than the server needs for its reply; far more than a second for a machine under load.
    EXPECT_LT(steady_clock::now() - start, seconds(20));
}

Lie Body(const char* name, const std::string& body, const char* fragment)
{
    return {name, Always(Reply("200 OK", body)), VKT_HTTPS_MALFORMED_REPLY, fragment};
}

Lie Status(const char* name, const std::string& statusLine, VKTHttpsErrorCode code,
           const char* fragment)
{
    return {name, Always(Reply(statusLine, "")), code, fragment};
}

/// The good body with one member's value replaced.
std::string With(const std::string& member, const std::string& value)
{
    const std::string good = kGoodBody;
    const auto start = good.find("\"" + member + "\": ") + member.size() + 4;
    const auto end = good.find_first_of(",}", start);
    return good.substr(0, start) + value + good.substr(end);
}

Lie Code(const char* name, const std::string& value)
{
    return Body(name, With("CompletionCode", value),
                "CompletionCode is not a whole number from 0 to 255");
}

Lie Data(const char* name, const std::string& value)
{
    return Body(name, With("ResponseData", value),
                "ResponseData is not a text of hexadecimal pairs");
}

TlsServer::Play AfterRequest(std::function<void(Peer&)> lie)
{
    return [lie = std::move(lie)](Peer& peer) {
        if (peer.Handshake() && peer.Read()) {
            lie(peer);
        }
    };
}

/// `reply` without its last `count` bytes.
std::string Cut(const std::string& reply, std::size_t count)
{
    return reply.substr(0, reply.size() - count);
}

std::string Nested(std::size_t depth)
{
    return std::string(depth, '[') + std::string(depth, ']');
}

const std::string kHeader = "HTTP/1.1 200 OK\r\nContent-Type: application/json\r\n";
const std::string kRedfishError =
    R"({"error":{"code":"Base.1.0.InternalError","message":"fan controller on fire"}})";

INSTANTIATE_TEST_SUITE_P(
    Ways, SlowServer,
    ::testing::Values(Lie{"NoHandshake", [](Peer& peer) { peer.WaitForClient(); },
                          VKT_HTTPS_TIMEOUT, "took too long"},
                      Lie{"NoReply", AfterRequest([](Peer& peer) { peer.WaitForClient(); }),
                          VKT_HTTPS_TIMEOUT, "took too long"},
                      Lie{"TricklesTheHeader",
                          AfterRequest([](Peer& peer) { peer.Trickle(GoodReply()); }),
                          VKT_HTTPS_TIMEOUT, "took too long"},
                      Lie{"TricklesTheBody", AfterRequest([](Peer& peer) {
                              peer.Send(kHeader + "Content-Length: 400\r\n\r\n");
                              peer.Trickle(std::string(400, ' '));
                          }),
                          VKT_HTTPS_TIMEOUT, "took too long"}),
    NameOf);

INSTANTIATE_TEST_SUITE_P(
    BreaksOff, HostileServer,
    ::testing::Values(
        Lie{"BeforeTheHandshake", [](Peer& peer) { peer.Break(); }, VKT_HTTPS_TLS_ERROR,
            "the TLS handshake failed"},
        Lie{"AfterTheHandshake", [](Peer& peer) { peer.Handshake(); }, VKT_HTTPS_CONNECT_FAILED,
            "without an answer"},
        Lie{"BeforeTheReply", Once(""), VKT_HTTPS_CONNECT_FAILED, "without an answer"},
        Lie{"WithAReset", AfterRequest([](Peer& peer) { peer.Reset(); }), VKT_HTTPS_CONNECT_FAILED,
            "without an answer"},
        Lie{"WithinTheStatusLine", Once("HTTP/1.1 2"), VKT_HTTPS_CONNECT_FAILED,
            "without an answer"},
        Lie{"WithinTheHeader", Once("HTTP/1.1 200 OK\r\nContent-Ty"), VKT_HTTPS_MALFORMED_REPLY,
            "broke off within the reply"},
        Lie{"AfterAHeaderLine", Once(kHeader), VKT_HTTPS_MALFORMED_REPLY,
            "broke off within the reply"},
        Lie{"WithinTheHeaderWithoutCloseNotify", AfterRequest([](Peer& peer) {
                peer.Send(kHeader);
                peer.Break();
            }),
            VKT_HTTPS_MALFORMED_REPLY, "broke off within the reply"},
        Lie{"WithinTheBody", Once(Cut(GoodReply(), 20)), VKT_HTTPS_MALFORMED_REPLY,
            "broke off within the reply"},
        Lie{"WithinAChunk", Once(kHeader + "Transfer-Encoding: chunked\r\n\r\n40\r\n{\"NetFn\""),
            VKT_HTTPS_MALFORMED_REPLY, "broke off within the reply"},
        Lie{"WithinABodyOfNoSaidLength", AfterRequest([](Peer& peer) {
                peer.Send(kHeader + "\r\n" + Cut(kGoodBody, 5));
                peer.Break();
            }),
            VKT_HTTPS_MALFORMED_REPLY, "not JSON from byte"},
        Lie{"WithinAnErrorPage", Once(Cut(Reply("404 Not Found", kRedfishError), 9)),
            VKT_HTTPS_HTTP_ERROR, "404"}),
    NameOf);

INSTANTIATE_TEST_SUITE_P(
    Endless, HostileServer,
    ::testing::Values(
        Lie{"ContentLength", AfterRequest([](Peer& peer) {
                peer.Send(kHeader + "Content-Length: 10737418240\r\n\r\n");
                peer.SendForever(std::string(16384, ' '));
            }),
            VKT_HTTPS_MALFORMED_REPLY, "too large"},
        Lie{"Chunks", AfterRequest([](Peer& peer) {
                peer.Send(kHeader + "Transfer-Encoding: chunked\r\n\r\n");
                peer.SendForever("1000\r\n" + std::string(0x1000, ' ') + "\r\n");
            }),
            VKT_HTTPS_MALFORMED_REPLY, "too large"},
        Lie{"BodyWithoutLength", AfterRequest([](Peer& peer) {
                peer.Send(kHeader + "\r\n");
                peer.SendForever(std::string(16384, ' '));
            }),
            VKT_HTTPS_MALFORMED_REPLY, "too large"},
        Lie{"HeaderFields", AfterRequest([](Peer& peer) {
                peer.Send(kHeader);
                peer.SendForever("X-Padding: " + std::string(1000, 'x') + "\r\n");
            }),
            VKT_HTTPS_MALFORMED_REPLY, "too large"},
        Lie{"HeaderLine", AfterRequest([](Peer& peer) {
                peer.Send(kHeader + "X-Padding: ");
                peer.SendForever(std::string(16384, 'x'));
            }),
            VKT_HTTPS_MALFORMED_REPLY, "too long"},
        Lie{"StatusLine", AfterRequest([](Peer& peer) {
                peer.Send("HTTP/1.1 200 ");
                peer.SendForever(std::string(16384, 'x'));
            }),
            VKT_HTTPS_MALFORMED_REPLY, "too long"},
        Lie{"InterimReplies",
            AfterRequest([](Peer& peer) { peer.SendForever("HTTP/1.1 100 Continue\r\n\r\n"); }),
            VKT_HTTPS_MALFORMED_REPLY, "too large"},
        Lie{"Trailers", AfterRequest([](Peer& peer) {
                peer.Send(kHeader + "Transfer-Encoding: chunked\r\n\r\n2\r\n{}\r\n0\r\n");
                peer.SendForever("X-Padding: " + std::string(1000, 'x') + "\r\n");
            }),
            VKT_HTTPS_MALFORMED_REPLY, "too large"},
        Body("AMillionDigits", With("ResponseData", "\"" + std::string(1000000, '0') + "\""),
             "too large"),
        Body("JustOverTheLimit", std::string(64 * 1024 + 1, ' '), "too large")),
    NameOf);

INSTANTIATE_TEST_SUITE_P(
    NotAnAnswer, HostileServer,
    ::testing::Values(
        Lie{"NotHttp", Once("SSH-2.0-OpenSSH_9.2\r\n"), VKT_HTTPS_MALFORMED_REPLY, "not HTTP"},
        Lie{"WrongContentType",
            Once("HTTP/1.1 200 OK\r\nContent-Type: text/plain\r\n\r\n" + std::string(kGoodBody)),
            VKT_HTTPS_MALFORMED_REPLY, "content type is not application/json"},
        Lie{"NoContentType", Once("HTTP/1.1 200 OK\r\n\r\n" + std::string(kGoodBody)),
            VKT_HTTPS_MALFORMED_REPLY, "content type is not application/json"},
        Lie{"Html",
            Once("HTTP/1.1 200 OK\r\nContent-Type: text/html\r\n\r\n<html>Please log in</html>"),
            VKT_HTTPS_MALFORMED_REPLY, "content type is not application/json"},
        Lie{"HtmlThatClaimsToBeJson", Always(Reply("200 OK", "<html>Please log in</html>")),
            VKT_HTTPS_MALFORMED_REPLY, "not JSON from byte 1 on"},
        Lie{"CompressedUnasked",
            Always(Reply("200 OK", "\x1f\x8b\x08", "Content-Encoding: gzip\r\n")),
            VKT_HTTPS_MALFORMED_REPLY, "not JSON from byte 1 on"},
        Lie{"EmptyBody", Always(Reply("200 OK", "")), VKT_HTTPS_NO_DATA, "empty body"},
        Body("TruncatedJson", Cut(kGoodBody, 1), "not JSON from byte"),
        Body("TwoAnswers", std::string(kGoodBody) + kGoodBody, "not JSON from byte"),
        Body("AnArray", "[" + std::string(kGoodBody) + "]", "no JSON object"),
        Body("DuplicateMember",
             R"({"NetFn":51,"NetFn":51,"Command":176,"CompletionCode":0,"ResponseData":""})",
             "a member twice"),
        Body("DeepNesting", Nested(30000), "nested too deep"),
        Body("DeepNestingInAMember", With("ResponseData", Nested(30000)), "nested too deep")),
    NameOf);

INSTANTIATE_TEST_SUITE_P(
    WrongMember, HostileServer,
    ::testing::Values(
        Code("CodeAboveAByte", "300"), Code("CodeNegative", "-1"), Code("CodeWithFraction", "1.5"),
        Code("CodeWithZeroFraction", "0.0"), Code("CodeAsText", "\"0\""),
        Code("CodeAsTruth", "true"), Code("CodeNull", "null"),
        Code("CodeBeyondAllIntegers", "99999999999999999999999"),
        Data("DataOfOddLength", "\"375\""), Data("DataWithANonDigit", "\"3g\""),
        Data("DataWithABlank", "\"37 58\""), Data("DataAsArray", "[55]"), Data("DataNull", "null"),
        Body("AnotherNetFn", With("NetFn", "7"), "NetFn is 7, but the request's answer has 51"),
        Body("TheRequestsNetFn", With("NetFn", "50"), "NetFn is 50"),
        Body("AnotherCommand", With("Command", "177"), "Command is 177"),
        Body("NetFnMissing", R"({"Command":176,"CompletionCode":0,"ResponseData":""})",
             "NetFn is missing"),
        Body("CodeMissing", R"({"NetFn":51,"Command":176,"ResponseData":""})",
             "CompletionCode is missing"),
        Body("NothingInIt", "{}", "NetFn is missing")),
    NameOf);

INSTANTIATE_TEST_SUITE_P(
    Status, HostileServer,
    ::testing::Values(
        Status("NoContent", "204 No Content", VKT_HTTPS_HTTP_ERROR, "answered 204"),
        Lie{"RedirectToAnotherHost",
            Always(Reply("307 Temporary Redirect", "", "Location: https://127.0.0.2:1/\r\n")),
            VKT_HTTPS_HTTP_ERROR, "redirect, which is not followed"},
        Status("BadRequest", "400 Bad Request", VKT_HTTPS_HTTP_ERROR, "answered 400"),
        Status("Unauthorized", "401 Unauthorized", VKT_HTTPS_AUTHENTICATION_FAILED,
               "check user name and password"),
        Status("Forbidden", "403 Forbidden", VKT_HTTPS_AUTHENTICATION_FAILED, "may not do this"),
        Status("NotFound", "404 Not Found", VKT_HTTPS_HTTP_ERROR, "does not offer IPMI over HTTPS"),
        Status("RequestTimeout", "408 Request Timeout", VKT_HTTPS_TIMEOUT, "answered 408"),
        Status("TooLarge", "413 Payload Too Large", VKT_HTTPS_HTTP_ERROR, "too much data"),
        Lie{"InternalErrorWithReason", Always(Reply("500 Internal Server Error", kRedfishError)),
            VKT_HTTPS_HTTP_ERROR, "fan controller on fire"},
        Status("Busy", "503 Service Unavailable", VKT_HTTPS_HTTP_ERROR, "busy"),
        Status("GatewayTimeout", "504 Gateway Timeout", VKT_HTTPS_TIMEOUT, "answered 504"),
        Status("Unheard", "799 Whatever", VKT_HTTPS_HTTP_ERROR, "answered 799")),
    NameOf);

}  // namespace

}  // namespace Tulvo::Tests
