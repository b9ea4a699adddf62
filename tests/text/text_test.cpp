// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include <string>
#include <string_view>
#include <vector>

#include "common/text/base64.h"
#include "common/text/hexadecimal.h"
#include "common/text/host.h"
#include "common/text/printable.h"

namespace Tulvo::Text {
namespace {

using namespace std::string_literals;

struct Case
{
    std::string given;
    std::string expected;
};

TEST(PrintableAscii, WritesEverythingElseAsBytes)
{
    const std::vector<Case> cases = {
        {"", ""},
        {" ~", " ~"},
        {"\x1F\x7F", "\\x1f\\x7f"},
        {"a\nb\tc\0"s, "a\\x0ab\\x09c\\x00"},
        {"caf\xC3\xA9", "caf\\xc3\\xa9"},
        {"\x1B[31m", "\\x1b[31m"},
    };
    for (const Case& one : cases) {
        EXPECT_EQ(PrintableAscii(one.given), one.expected);
    }
}

TEST(PrintableAscii, SaysThatItLeftSomethingOut)
{
    EXPECT_EQ(PrintableAscii("abcd", 4), "abcd");
    EXPECT_EQ(PrintableAscii("abcde", 4), "abcd...");
}

TEST(PrintableText, KeepsLinesAndLettersOfAnyLanguage)
{
    const std::vector<Case> cases = {
        {"a\nb\tc", "a\nb\tc"},
        {"caf\xC3\xA9 \xE2\x82\xAC \xF0\x9F\x98\x80", "caf\xC3\xA9 \xE2\x82\xAC \xF0\x9F\x98\x80"},
        {"\xC2\x9B", "\\xc2\\x9b"},                    // a control character of two bytes
        {"\xC0\xAF", "\\xc0\\xaf"},                    // overlong
        {"\xED\xA0\x80", "\\xed\\xa0\\x80"},           // a surrogate
        {"\xF4\x90\x80\x80", "\\xf4\\x90\\x80\\x80"},  // above U+10FFFF
        {"\xE2\x82", "\\xe2\\x82"},                    // cut
        {"\r\x1B\0"s, "\\x0d\\x1b\\x00"},
    };
    for (const Case& one : cases) {
        EXPECT_EQ(PrintableText(one.given), one.expected);
    }
}

TEST(HexPairs, GoBothWays)
{
    const std::vector<std::uint8_t> bytes = {0x00, 0x0A, 0x5F, 0xA0, 0xFF};
    EXPECT_EQ(ToHexPairs(bytes), "000a5fa0ff");
    EXPECT_EQ(FromHexPairs("000a5fA0Ff"), bytes);
    EXPECT_EQ(ToHexPairs({}), "");
    EXPECT_TRUE(FromHexPairs("").empty());
}

TEST(HexPairs, AreDigitsInPairs)
{
    for (const std::string_view pairs : {"", "00", "aF09"}) {
        EXPECT_TRUE(AreHexPairs(pairs)) << pairs;
    }
    for (const std::string_view other : {"0", "0g", "0x", " 00", "00 ", "a@", "`0", "/:"}) {
        EXPECT_FALSE(AreHexPairs(other)) << other;
    }
}

// The vectors of RFC 4648.
TEST(Base64, IsPaddedAndOnOneLine)
{
    const std::vector<Case> cases = {
        {"", ""},
        {"f", "Zg=="},
        {"fo", "Zm8="},
        {"foo", "Zm9v"},
        {"foob", "Zm9vYg=="},
        {"fooba", "Zm9vYmE="},
        {"foobar", "Zm9vYmFy"},
    };
    for (const Case& one : cases) {
        EXPECT_EQ(ToBase64(one.given), one.expected);
    }
    EXPECT_EQ(ToBase64(std::string(60, '\0')), std::string(80, 'A'));
}

TEST(Host, HasBracketsWhereAPortFollowsColons)
{
    const std::vector<Case> hosts = {
        {"::1", "[::1]"},   {"fe80::1%eth0", "[fe80::1%eth0]"},
        {"[::1]", "[::1]"}, {"10.0.0.5", "10.0.0.5"},
        {"enc1", "enc1"},   {"", ""},
    };
    for (const Case& one : hosts) {
        EXPECT_EQ(WithBrackets(one.given), one.expected);
    }
}

TEST(Host, HasNoBracketsForTheResolver)
{
    const std::vector<Case> hosts = {
        {"[::1]", "::1"}, {"::1", "::1"},   {"[]", "[]"},
        {"[::1", "[::1"}, {"enc1", "enc1"}, {"", ""},
    };
    for (const Case& one : hosts) {
        EXPECT_EQ(WithoutBrackets(one.given), one.expected);
    }
}

}  // namespace
}  // namespace Tulvo::Text
