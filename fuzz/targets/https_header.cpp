// SPDX-License-Identifier: Apache-2.0
#include <algorithm>
#include <cctype>

#include "fuzz/input_reader.h"
#include "fuzz/require.h"
#include "fuzz/targets/targets.h"
#include "module/vkt/vkt_https/redfish_session.h"
#include "module/vkt/vkt_https/reply_collector.h"
#include "module/vkt/vkt_https/result_tables.h"

namespace Tulvo::Fuzz {

namespace {

using Https::HttpReply;
using Https::ReplyCollector;

constexpr std::string_view kSecret = "T0p-s3cret";
constexpr std::string_view kBlank = " \t\r\n";

bool IsTrimmed(std::string_view text)
{
    return text.empty() || (kBlank.find(text.front()) == std::string_view::npos &&
                            kBlank.find(text.back()) == std::string_view::npos);
}

bool TakeHeaders(ReplyCollector& collector, InputReader& reader)
{
    while (!reader.AtEnd() && !collector.HeaderIsWhole()) {
        const std::string line = reader.Line();
        const ExactText exact({line.begin(), line.end()});
        if (!collector.TakeHeader(exact.View())) {
            return false;
        }
    }
    return true;
}

/// In pieces, as libcurl hands it over.
void TakeBody(ReplyCollector& collector, InputReader& reader)
{
    constexpr std::size_t kPiece = 100;
    while (!reader.AtEnd()) {
        const ExactText piece(reader.Some(kPiece));
        if (!collector.TakeBody(piece.View())) {
            return;
        }
    }
}

void RequireSessionPath(std::string_view location)
{
    const std::string path = Https::SessionPath(location);
    if (path.empty()) {
        return;
    }
    Require(path.starts_with(std::string(Https::kSessionsPath) + '/') && path.size() <= 512,
            "a session's path lies below that of all sessions");
    const std::string_view name = std::string_view(path).substr(Https::kSessionsPath.size() + 1);
    Require(name != "." && name != ".." &&
                std::all_of(name.begin(), name.end(),
                            [](char c) {
                                return std::isalnum(static_cast<unsigned char>(c)) != 0 ||
                                       std::string_view("-._~").find(c) != std::string_view::npos;
                            }),
            "a session's name can stand in a URL and leads nowhere else");
    Require(location.find(path) != std::string_view::npos, "a path is part of its location");
    Require(Https::SessionPath(path) == path, "a session's path is its own");
}

void RequireGoodDescription(const HttpReply& reply)
{
    const std::string line = Describe(FailureOf(reply), {kSecret, reply.sessionToken.text});
    Require(std::all_of(line.begin(), line.end(), [](char c) { return c >= ' ' && c <= '~'; }),
            "a failure is described in one printable line");
    Require(line.size() < 500, "a description can be read");
    Require(line.find(kSecret) == std::string::npos, "a description tells no secret");
}

}  // namespace

void RunHttpsHeader(Input input)
{
    InputReader reader(input);
    HttpReply reply;
    reply.status = 100 + 2 * reader.Byte();
    ReplyCollector collector(reply);
    if (TakeHeaders(collector, reader)) {
        TakeBody(collector, reader);
    }
    Require(reply.body.size() <= Https::kLargestBody, "a body has a limit");
    Require(IsTrimmed(reply.contentType) && IsTrimmed(reply.location) &&
                IsTrimmed(reply.sessionToken.text),
            "a field's value has no blanks around it");
    RequireSessionPath(reply.location);
    RequireGoodDescription(reply);
}

// The input is a byte for the status, header lines, an empty line, and the body.
std::vector<Bytes> HttpsHeaderSeeds()
{
    const std::string sessions(Https::kSessionsPath);
    return {
        AsBytes("\x32HTTP/1.1 200 OK\r\nContent-Type: application/json\r\n\r\n{}"),
        AsBytes("\x32HTTP/1.1 100 Continue\r\n\r\nHTTP/1.1 201 Created\r\nX-Auth-Token: abc\r\n"
                "Location: " +
                sessions + "/1\r\n\r\n{}"),
        AsBytes("\x32HTTP/1.1 201 Created\r\nlocation:https://10.0.0.5:443" + sessions +
                "/9a.b-c~/ \r\nx-auth-token:\t0\r\n\r\n"),
        AsBytes("\x96HTTP/1.1 401 Unauthorized\r\n\r\n"
                R"({"error":{"code":"Base.1.0","message":"\u001b[31m no T0p-s3cret"}})"),
        AsBytes("\xca"
                "HTTP/1.1 503 Service Unavailable\r\nRetry-After: 1\r\n\r\n"
                R"({"error":{"code":"Base.1.0","message":"busy","@Message.ExtendedInfo":[{}]}})"),
    };
}

}  // namespace Tulvo::Fuzz
