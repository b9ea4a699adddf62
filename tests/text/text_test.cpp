// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include <string>
#include <string_view>
#include <vector>

#include "common/text/base64.h"
#include "common/text/hexadecimal.h"
#include "common/text/host.h"
#include "common/text/printable.h"
#include "common/text/words.h"

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
        {"plain ~ text", "plain ~ text"},
        {"line\nand tab\tstay", "line\nand tab\tstay"},
        {"a\0b"s, "a\\x00b"},
        {"\x01\x08\x0b\x0c\x1f", "\\x01\\x08\\x0b\\x0c\\x1f"},
        {"over\rwritten", "over\\x0dwritten"},
        {"\x1b[31mred", "\\x1b[31mred"},
        {"\x7f", "\\x7f"},
        // Two, three and four bytes: the first and last characters of each length stay.
        {"\xc2\xa0\xc3\xa9\xdf\xbf", "\xc2\xa0\xc3\xa9\xdf\xbf"},
        {"\xe0\xa0\x80\xe2\x82\xac\xef\xbf\xbf", "\xe0\xa0\x80\xe2\x82\xac\xef\xbf\xbf"},
        {"\xf0\x90\x80\x80\xf4\x8f\xbf\xbf", "\xf0\x90\x80\x80\xf4\x8f\xbf\xbf"},
        // C1 controls drive terminals too: U+009B starts a control sequence.
        {"\xc2\x80\xc2\x85\xc2\x9b\xc2\x9f", "\\xc2\\x80\\xc2\\x85\\xc2\\x9b\\xc2\\x9f"},
        {"\x9b"
         "31m",
         "\\x9b"
         "31m"},
        // Stray continuation, overlong forms, a surrogate, beyond U+10FFFF, impossible bytes.
        {"\x80\xbf", "\\x80\\xbf"},
        {"\xc0\xaf\xc1\x81", "\\xc0\\xaf\\xc1\\x81"},
        {"\xe0\x9f\xbf", "\\xe0\\x9f\\xbf"},
        {"\xf0\x8f\xbf\xbf", "\\xf0\\x8f\\xbf\\xbf"},
        {"\xed\xa0\x80", "\\xed\\xa0\\x80"},
        {"\xf4\x90\x80\x80", "\\xf4\\x90\\x80\\x80"},
        {"\xf5\xfe\xff", "\\xf5\\xfe\\xff"},
        // Cut short, by the end or by another character.
        {"\xc3", "\\xc3"},
        {"\xe2\x82", "\\xe2\\x82"},
        {"\xf0\x9f\x98", "\\xf0\\x9f\\x98"},
        {"\xc3"
         "A",
         "\\xc3"
         "A"},
        {"\xe2\x82"
         "A",
         "\\xe2\\x82"
         "A"},
        {"\xe2\x82\x1b", "\\xe2\\x82\\x1b"},
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

TEST(Words, AreThoseThatANameIsMadeOf)
{
    EXPECT_EQ("power off warning", InWords("powerOffWarning"));
    EXPECT_EQ("caps", InWords("caps"));
    EXPECT_EQ("", InWords(""));
}

}  // namespace
}  // namespace Tulvo::Text
