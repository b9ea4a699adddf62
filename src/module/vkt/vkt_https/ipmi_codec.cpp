// SPDX-License-Identifier: Apache-2.0
#include "module/vkt/vkt_https/ipmi_codec.h"

#include <strings.h>

#include <array>
#include <nlohmann/json.hpp>

#include "common/text/hexadecimal.h"
#include "module/vkt/vkt_https/strict_json.h"

namespace Tulvo::Https {
namespace {

using nlohmann::json;

constexpr std::uint8_t kHighestNetFn = 62;

// A number with a fraction or an exponent is none of these, whatever its value: 1.0 is no byte.
bool IsByte(const json& value)
{
    return value.is_number_unsigned() && value.get<std::uint64_t>() <= 0xFF;
}

bool IsHexPairs(const json& value)
{
    return value.is_string() && Text::AreHexPairs(value.get_ref<const std::string&>());
}

struct MemberCheck
{
    const char* name;
    bool (*fits)(const json& value);
    const char* expected;
};

constexpr std::array kMembers = {
    MemberCheck{"NetFn", IsByte, "a whole number from 0 to 255"},
    MemberCheck{"Command", IsByte, "a whole number from 0 to 255"},
    MemberCheck{"CompletionCode", IsByte, "a whole number from 0 to 255"},
    MemberCheck{"ResponseData", IsHexPairs, "a text of hexadecimal pairs"},
};

std::optional<std::string> WrongMember(const json& object)
{
    for (const MemberCheck& member : kMembers) {
        const auto found = object.find(member.name);
        if (found == object.end()) {
            return std::string(member.name) + " is missing";
        }
        if (!member.fits(*found)) {
            return std::string(member.name) + " is not " + member.expected;
        }
    }
    return std::nullopt;
}

std::optional<std::string> Mismatch(const char* name, unsigned answered, unsigned expected)
{
    if (answered == expected) {
        return std::nullopt;
    }
    return std::string(name) + " is " + std::to_string(answered) +
           ", but the request's answer has " + std::to_string(expected);
}

std::optional<std::string> WrongAnswer(const IPMICOMMAND& request, const json& object)
{
    if (auto problem = Mismatch("NetFn", object["NetFn"].get<unsigned>(), request.netFn + 1U)) {
        return problem;
    }
    return Mismatch("Command", object["Command"].get<unsigned>(), request.cmd);
}

std::optional<std::string> FindProblem(const IPMICOMMAND& request, std::string_view contentType,
                                       std::string_view body, json& object)
{
    if (!IsJson(contentType)) {
        return "its content type is not application/json";
    }
    if (auto problem = ParseStrictJson(body, object)) {
        return problem;
    }
    if (!object.is_object()) {
        return "it is no JSON object";
    }
    if (auto problem = WrongMember(object)) {
        return problem;
    }
    return WrongAnswer(request, object);
}

}  // namespace

std::optional<Failure> EncodeIpmiRequest(const IPMICOMMAND& request, std::string& body)
{
    if (request.netFn % 2 != 0 || request.netFn > kHighestNetFn) {
        return Failure{VKT_HTTPS_INTERNAL_ERROR,
                       "network function " + std::to_string(request.netFn) + " is no request's",
                       "use an even one from 0 to 62"};
    }
    const nlohmann::ordered_json members = {{"NetFn", request.netFn},
                                            {"Lun", 0},
                                            {"Command", request.cmd},
                                            {"RequestData", Text::ToHexPairs(request.data)}};
    body = members.dump();
    return std::nullopt;
}

std::optional<Failure> DecodeIpmiReply(const IPMICOMMAND& request, std::string_view contentType,
                                       std::string_view body, IpmiReply& reply)
{
    if (body.empty()) {
        return Failure{VKT_HTTPS_NO_DATA, "the server answered 200 with an empty body"};
    }
    json object;
    if (const auto problem = FindProblem(request, contentType, body, object)) {
        return Failure{VKT_HTTPS_MALFORMED_REPLY,
                       "the server's reply is no IPMI answer: " + *problem,
                       "check that address and port are the module's"};
    }
    reply.data = Text::FromHexPairs(object["ResponseData"].get_ref<const std::string&>());
    reply.completionCode = object["CompletionCode"].get<std::uint8_t>();
    return std::nullopt;
}

bool IsJson(std::string_view contentType)
{
    constexpr std::string_view kJson = "application/json";
    if (contentType.size() < kJson.size() ||
        strncasecmp(contentType.data(), kJson.data(), kJson.size()) != 0) {
        return false;
    }
    const std::string_view rest = contentType.substr(kJson.size());
    const auto next = rest.find_first_not_of(" \t");
    return next == std::string_view::npos || rest[next] == ';';
}

}  // namespace Tulvo::Https
