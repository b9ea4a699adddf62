// SPDX-License-Identifier: Apache-2.0
#include "module/vkt/vkt_https/reply_collector.h"

#include <strings.h>

#include <array>
#include <string>

namespace Tulvo::Https {
namespace {

struct Field
{
    std::string_view name;
    std::string& (*target)(HttpReply& reply);
};

constexpr std::array kFields = {
    Field{"Content-Type", [](HttpReply& reply) -> std::string& { return reply.contentType; }},
    Field{"Location", [](HttpReply& reply) -> std::string& { return reply.location; }},
    Field{"Retry-After", [](HttpReply& reply) -> std::string& { return reply.retryAfter; }},
    Field{"X-Auth-Token", [](HttpReply& reply) -> std::string& { return reply.sessionToken.text; }},
};

bool SameName(std::string_view left, std::string_view right)
{
    return left.size() == right.size() && strncasecmp(left.data(), right.data(), left.size()) == 0;
}

std::string_view Trimmed(std::string_view text)
{
    constexpr std::string_view kBlank = " \t\r\n";
    const auto first = text.find_first_not_of(kBlank);
    if (first == std::string_view::npos) {
        return {};
    }
    return text.substr(first, text.find_last_not_of(kBlank) - first + 1);
}

}  // namespace

bool ReplyCollector::TakeHeader(std::string_view line)
{
    headerBytes_ += line.size();
    if (headerBytes_ > kLargestHeader) {
        return false;
    }
    if (line.starts_with("HTTP/")) {
        headerIsWhole_ = false;  // An interim reply came before this one.
    } else if (Trimmed(line).empty()) {
        headerIsWhole_ = true;
    } else if (!headerIsWhole_) {
        TakeField(line);
    }
    return true;
}

void ReplyCollector::TakeField(std::string_view line)
{
    const auto colon = line.find(':');
    if (colon == std::string_view::npos) {
        return;
    }
    for (const Field& field : kFields) {
        if (SameName(line.substr(0, colon), field.name)) {
            field.target(reply_) = Trimmed(line.substr(colon + 1));
        }
    }
    // A server may offer each in a field of its own.
    if (SameName(line.substr(0, colon), "WWW-Authenticate")) {
        reply_.challenges += (reply_.challenges.empty() ? "" : ", ");
        reply_.challenges += Trimmed(line.substr(colon + 1));
    }
}

bool ReplyCollector::TakeBody(std::string_view piece)
{
    if (piece.size() > kLargestBody - reply_.body.size()) {
        return false;
    }
    reply_.body += piece;
    return true;
}

}  // namespace Tulvo::Https
