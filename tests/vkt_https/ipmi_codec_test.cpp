// SPDX-License-Identifier: Apache-2.0
#include "module/vkt/vkt_https/ipmi_codec.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>

namespace Tulvo::Https {
namespace {

using ::testing::HasSubstr;
using ::testing::Test;
using ::testing::Values;
using ::testing::WithParamInterface;
using Bytes = std::vector<std::uint8_t>;

const IPMICOMMAND kRequest{0xB0, {0x05, 0x00}, 0x32};

TEST(EncodeIpmiRequest, WritesNumbersInDecimalAndDataInLowerCasePairs)
{
    std::string body;
    EXPECT_FALSE(EncodeIpmiRequest({0xFF, {0x00, 0xAB, 0x0C}, 0x3E}, body));
    EXPECT_EQ(body, R"({"NetFn":62,"Lun":0,"Command":255,"RequestData":"00ab0c"})");
}

TEST(EncodeIpmiRequest, NoDataIsAnEmptyText)
{
    std::string body;
    EXPECT_FALSE(EncodeIpmiRequest({0x00, {}, 0x00}, body));
    EXPECT_EQ(body, R"({"NetFn":0,"Lun":0,"Command":0,"RequestData":""})");
}

class NotARequest : public Test, public WithParamInterface<int>
{
};

TEST_P(NotARequest, IsRefused)
{
    std::string body = "untouched";
    const auto failure = EncodeIpmiRequest({0xB0, {}, static_cast<std::uint8_t>(GetParam())}, body);
    ASSERT_TRUE(failure);
    EXPECT_EQ(failure->code, VKT_HTTPS_INTERNAL_ERROR);
    EXPECT_EQ(body, "untouched");
}

INSTANTIATE_TEST_SUITE_P(NetworkFunctions, NotARequest, Values(1, 0x33, 63, 64, 254, 255));

std::optional<Failure> Decode(const std::string& body, IpmiReply& reply)
{
    return DecodeIpmiReply(kRequest, "application/json", body, reply);
}

TEST(DecodeIpmiReply, TakesDataInEitherCase)
{
    IpmiReply reply;
    EXPECT_FALSE(Decode(
        R"({"NetFn":51,"Command":176,"CompletionCode":255,"ResponseData":"00aFFa09"})", reply));
    EXPECT_EQ(reply.data, (Bytes{0x00, 0xAF, 0xFA, 0x09}));
    EXPECT_EQ(reply.completionCode, 0xFF);
}

TEST(DecodeIpmiReply, OrderAndBlanksDoNotMatter)
{
    IpmiReply reply;
    EXPECT_FALSE(
        Decode("\r\n{ \"ResponseData\" : \"01\",\t\"CompletionCode\":0, \"Command\":176,"
               "\"NetFn\":51 }\n",
               reply));
    EXPECT_EQ(reply.data, Bytes{0x01});
}

TEST(DecodeIpmiReply, AnnotationsArePassedOver)
{
    IpmiReply reply;
    EXPECT_FALSE(
        Decode(R"({"@odata.type":"#x","@Message.ExtendedInfo":[{"Message":"ok"},{"Message":"ok"}],
                           "NetFn":51,"Command":176,"CompletionCode":0,"ResponseData":"01"})",
               reply));
    EXPECT_EQ(reply.data, Bytes{0x01});
}

TEST(DecodeIpmiReply, DuplicateMemberDeepInsideIsRefused)
{
    IpmiReply reply;
    const auto failure = Decode(R"({"Oem":[{"a":1,"b":2,"a":3}],"NetFn":51,"Command":176,
                                   "CompletionCode":0,"ResponseData":"01"})",
                                reply);
    ASSERT_TRUE(failure);
    EXPECT_THAT(failure->what, HasSubstr("a member twice"));
}

TEST(DecodeIpmiReply, SixteenLevelsAreNotTooDeepSeventeenAre)
{
    const auto nested = [](int levels) {
        return R"({"NetFn":51,"Command":176,"CompletionCode":0,"ResponseData":"","Oem":)" +
               std::string(static_cast<std::size_t>(levels - 1), '[') +
               std::string(static_cast<std::size_t>(levels - 1), ']') + "}";
    };
    IpmiReply reply;
    EXPECT_FALSE(Decode(nested(16), reply));
    EXPECT_TRUE(Decode(nested(17), reply));
}

TEST(DecodeIpmiReply, EveryShorterBodyIsRefusedAndChangesNothing)
{
    const std::string body =
        R"({"NetFn":51,"Command":176,"CompletionCode":0,"ResponseData":"3758325a"})";
    for (std::size_t length = 0; length < body.size(); ++length) {
        IpmiReply reply{{0xEE}, 0xEE};
        const auto failure = Decode(body.substr(0, length), reply);
        ASSERT_TRUE(failure) << length;
        EXPECT_EQ(failure->code, length == 0 ? VKT_HTTPS_NO_DATA : VKT_HTTPS_MALFORMED_REPLY);
        EXPECT_EQ(reply.data, Bytes{0xEE}) << length;
        EXPECT_EQ(reply.completionCode, 0xEE) << length;
    }
}

struct ContentType
{
    const char* text;
    bool isJson;
};

void PrintTo(const ContentType& row, std::ostream* out)
{
    *out << row.text;
}

class ContentTypes : public Test, public WithParamInterface<ContentType>
{
};

TEST_P(ContentTypes, AreJsonOrNot)
{
    EXPECT_EQ(IsJson(GetParam().text), GetParam().isJson) << GetParam().text;
}

INSTANTIATE_TEST_SUITE_P(
    Texts, ContentTypes,
    Values(ContentType{"application/json", true}, ContentType{"Application/JSON", true},
           ContentType{"application/json;charset=utf-8", true},
           ContentType{"application/json ; odata.metadata=minimal", true},
           ContentType{"application/json ", true}, ContentType{"", false},
           ContentType{"application/jso", false}, ContentType{"application/jsonp", false},
           ContentType{"application/json+x", false}, ContentType{"application/json x", false},
           ContentType{"text/json", false}, ContentType{"text/html", false}));

}  // namespace
}  // namespace Tulvo::Https
