// SPDX-License-Identifier: Apache-2.0
#include <algorithm>
#include <nlohmann/json.hpp>

#include "common/text/hexadecimal.h"
#include "fuzz/input_reader.h"
#include "fuzz/played_answers.h"
#include "fuzz/require.h"
#include "fuzz/targets/targets.h"
#include "module/vkt/vkt_https/ipmi_codec.h"

namespace Tulvo::Fuzz {

namespace {

using nlohmann::json;

const Https::IpmiReply kBefore{{0xEE, 0xEE}, 0xEE};
constexpr std::string_view kJson = "application/json";

bool Same(const Https::IpmiReply& left, const Https::IpmiReply& right)
{
    return left.data == right.data && left.completionCode == right.completionCode;
}

std::string LowerCase(std::string text)
{
    std::transform(text.begin(), text.end(), text.begin(), [](char character) {
        return character >= 'A' && character <= 'F' ? static_cast<char>(character + 32) : character;
    });
    return text;
}

bool IsNumber(const json& value, unsigned number)
{
    return value.is_number_unsigned() && value.get<std::uint64_t>() == number;
}

std::string BodyOf(const IPMICOMMAND& request, const Https::IpmiReply& reply)
{
    return json{{"NetFn", request.netFn + 1},
                {"Command", request.cmd},
                {"CompletionCode", reply.completionCode},
                {"ResponseData", Text::ToHexPairs(reply.data)}}
        .dump();
}

void RequireRefusal(const Https::Failure& failure, std::string_view body,
                    const Https::IpmiReply& reply)
{
    const auto expected = body.empty() ? VKT_HTTPS_NO_DATA : VKT_HTTPS_MALFORMED_REPLY;
    Require(failure.code == expected, "only an empty body is no data, all else is malformed");
    Require(Same(reply, kBefore), "a refused reply leaves the output alone");
    Require(failure.what.size() < 200 && failure.detail.empty(), "a failure quotes no body");
}

void RequireWhatTheBodySays(const IPMICOMMAND& request, std::string_view contentType,
                            std::string_view body, const Https::IpmiReply& reply)
{
    const json object = json::parse(body);
    Require(Https::IsJson(contentType), "only JSON is accepted");
    Require(IsNumber(object.at("NetFn"), request.netFn + 1U), "the answer is to the request");
    Require(IsNumber(object.at("Command"), request.cmd), "the answer is to the command");
    Require(IsNumber(object.at("CompletionCode"), reply.completionCode), "the code is the body's");
    Require(LowerCase(object.at("ResponseData")) == Text::ToHexPairs(reply.data),
            "the data are the body's");
}

void RequireAcceptance(const IPMICOMMAND& request, const Https::IpmiReply& sent)
{
    Https::IpmiReply received = kBefore;
    const auto failure = Https::DecodeIpmiReply(request, kJson, BodyOf(request, sent), received);
    Require(!failure && Same(received, sent), "a good reply arrives as it was sent");
}

}  // namespace

void RunHttpsReply(Input input)
{
    InputReader reader(input);
    const IPMICOMMAND request{reader.Byte(), {}, static_cast<std::uint8_t>(reader.Byte() % 32 * 2)};
    std::string contentType = reader.Line();
    const Bytes rest = reader.Rest();
    const ExactText body(rest);
    if (contentType.ends_with('\n')) {
        contentType.pop_back();
    }

    Https::IpmiReply reply = kBefore;
    if (const auto failure = DecodeIpmiReply(request, contentType, body.View(), reply)) {
        RequireRefusal(*failure, body.View(), reply);
    } else {
        RequireWhatTheBodySays(request, contentType, body.View(), reply);
    }
    RequireAcceptance(request, {rest, request.cmd});
}

// The input is a byte for the command, one for the network function, the content type as a line,
// and the body.
std::vector<Bytes> HttpsReplySeeds()
{
    std::vector<Bytes> seeds;
    for (const PlayedAnswer& played : PlayedAnswers()) {
        const IPMICOMMAND& request = played.request;
        const std::string body =
            BodyOf(request, {played.answer.bytes, played.answer.completionCode});
        seeds.push_back(Bytes{request.cmd, static_cast<std::uint8_t>(request.netFn / 2)} +
                        AsBytes(std::string(kJson) + '\n' + body));
    }
    return seeds;
}

}  // namespace Tulvo::Fuzz
