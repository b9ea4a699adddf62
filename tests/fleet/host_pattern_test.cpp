// SPDX-License-Identifier: Apache-2.0
#include "fleet/host_pattern.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <chrono>
#include <filesystem>
#include <fstream>
#include <string>
#include <variant>
#include <vector>

namespace {

using namespace Tulvo::Fleet;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::SizeIs;

using Words = std::vector<std::string>;

Hosts Expanded(const Words& patterns, const Words& without = {})
{
    const auto expanded = ExpandHosts(patterns, without);
    const auto* const mistake = std::get_if<Mistake>(&expanded);
    EXPECT_EQ(mistake, nullptr) << mistake->message;
    return mistake == nullptr ? std::get<Hosts>(expanded) : Hosts{};
}

std::string MistakeIn(const Words& patterns, const Words& without = {})
{
    const auto expanded = ExpandHosts(patterns, without);
    const auto* const mistake = std::get_if<Mistake>(&expanded);
    return mistake == nullptr ? "no mistake" : mistake->message;
}

struct Meaning
{
    std::string pattern;
    Words hosts;
};

class HostPattern : public testing::TestWithParam<Meaning>
{
};

TEST_P(HostPattern, NamesHostsInTheOrderInWhichTheyAreWritten)
{
    EXPECT_EQ(Expanded({GetParam().pattern}), GetParam().hosts);
}

INSTANTIATE_TEST_SUITE_P(
    Table, HostPattern,
    testing::Values(
        Meaning{"enc1", {"enc1"}}, Meaning{"enc1,gw", {"enc1", "gw"}},
        Meaning{"enc[1-3]", {"enc1", "enc2", "enc3"}},
        Meaning{"enc[009-011]", {"enc009", "enc010", "enc011"}},
        Meaning{"enc[10,1-2]", {"enc10", "enc1", "enc2"}},
        Meaning{"enc[0-10/5]", {"enc0", "enc5", "enc10"}}, Meaning{"enc[0-9/5]", {"enc0", "enc5"}},
        Meaning{"[8-10]", {"8", "9", "10"}},
        Meaning{"r[1-2]-enc[01-02]", {"r1-enc01", "r1-enc02", "r2-enc01", "r2-enc02"}},
        Meaning{"10.0.3.[1-2]", {"10.0.3.1", "10.0.3.2"}},
        Meaning{"enc[1-2].example.com:8443", {"enc1.example.com:8443", "enc2.example.com:8443"}},
        Meaning{"127.0.0.1:[9001-9002]", {"127.0.0.1:9001", "127.0.0.1:9002"}},
        Meaning{"[2001:db8::1]:623", {"[2001:db8::1]:623"}},
        Meaning{"[2001:db8::1],[::1]:[1-2]", {"[2001:db8::1]", "[::1]:1", "[::1]:2"}},
        Meaning{"2001:db8::[1-2]", {"2001:db8::1", "2001:db8::2"}},
        Meaning{"fe80::1%eth0", {"fe80::1%eth0"}}, Meaning{"enc_[1-2]", {"enc_1", "enc_2"}},
        // Digits beside the brackets belong to the numbers.
        Meaning{"r1[1-2]", {"r11", "r12"}}, Meaning{"r[1-2]5", {"r15", "r25"}},
        Meaning{"r[9-11]5", {"r95", "r105", "r115"}}, Meaning{"r1[1-3/2]", {"r11", "r13"}},
        // A host named twice is one.
        Meaning{"enc[1-2],enc[2-3],enc1", {"enc1", "enc2", "enc3"}},
        Meaning{"enc[1,01]", {"enc1", "enc01"}}));

TEST(HostPatterns, AreTakenTogetherLessThoseThatAreExcluded)
{
    EXPECT_THAT(Expanded({"enc[1-3]", "gw", "enc2"}), ElementsAre("enc1", "enc2", "enc3", "gw"));
    EXPECT_THAT(Expanded({"enc[1-4]"}, {"enc[2-3]", "other"}), ElementsAre("enc1", "enc4"));
    EXPECT_THAT(Expanded({"enc[1-2]"}, {"enc[1-2]"}), SizeIs(0));
    EXPECT_THAT(Expanded({}), SizeIs(0));
}

struct Slip
{
    std::string pattern;
    std::string place;  ///< Which character, from 1.
    std::string what;
};

class HostPatternSlip : public testing::TestWithParam<Slip>
{
};

TEST_P(HostPatternSlip, IsNamedWithPatternAndPlace)
{
    const std::string message = MistakeIn({GetParam().pattern});
    EXPECT_THAT(message, testing::StartsWith("host pattern \"" + GetParam().pattern +
                                             "\", character " + GetParam().place + ": "));
    EXPECT_THAT(message, HasSubstr(GetParam().what));
}

INSTANTIATE_TEST_SUITE_P(
    Table, HostPatternSlip,
    testing::Values(
        Slip{"", "1", "is empty"}, Slip{"enc1,", "6", "is empty"}, Slip{",enc1", "1", "is empty"},
        Slip{"a,,b", "3", "is empty"}, Slip{"enc[1-3", "4", "'[' has no ']'"},
        Slip{"enc1-3]", "7", "']' has no '['"}, Slip{"enc[1-3]]", "9", "']' has no '['"},
        Slip{"enc[[1-3]]", "5", "within brackets"}, Slip{"enc[]", "4", "range is empty"},
        Slip{"enc[1,]", "4", "range is empty"}, Slip{"enc[3-1]", "4", "ends before it begins"},
        Slip{"enc[01-100]", "4", "differ in width"}, Slip{"enc[1-010]", "4", "differ in width"},
        Slip{"r0[9-11]", "3", "differ in width"}, Slip{"r[0-10]5", "2", "differ in width"},
        Slip{"enc[1-3/0]", "4", "a step that cannot be"},
        Slip{"enc[5/2]", "4", "a step that cannot be"}, Slip{"enc[1-3/]", "4", "lacks a number"},
        Slip{"r[1-3/2]5", "2", "behind a range with a step"},
        Slip{"r[1-2][3-4]", "2", "two ranges need a text"},
        Slip{"enc[a-b]", "4", "no range of numbers"}, Slip{"enc[-1-3]", "4", "lacks a number"},
        Slip{"enc[1-2-3]", "4", "no range of numbers"},
        Slip{"enc[1_0-12]", "4", "no range of numbers"},
        Slip{"enc[ 1-2]", "4", "no range of numbers"},
        Slip{"enc[1-9999999999999999999]", "4", "too large"},
        Slip{"enc1 enc2", "5", "a comma separates"}, Slip{"enc[1-9]!enc3", "9", "by commas only"},
        Slip{"enc[1-9]&enc3", "9", "by commas only"}, Slip{"a,enc^b", "6", "names a file"},
        Slip{"@rack1", "1", "neither a user nor a group"},
        Slip{"admin@enc1", "6", "neither a user nor a group"}, Slip{"enc*", "4", "as a range"},
        Slip{"enc{1..3}", "4", "as a range"}, Slip{"https://enc1", "7", "a name or an address"},
        Slip{"enc1:", "1", "no port"}, Slip{"enc1:0", "1", "no port"},
        Slip{"enc1:65536", "1", "no port"}, Slip{"gw,enc1:http", "4", "no port"},
        Slip{":623", "1", "is empty"}, Slip{"enc1:1:2", "1", "neither an IPv6 address"},
        Slip{"[::g]:623", "1", "no IPv6 address"}, Slip{"[::1]x", "1", "no IPv6 address"},
        Slip{"2001:db8::[1-2]:623:1:2:3:4:5", "1", "neither an IPv6 address"},
        Slip{"enc[1-100001]", "4", "more than 100000 hosts"},
        Slip{"enc[0-999999999999999999]", "4", "more than 100000 hosts"},
        Slip{"a[1-999]b[1-999]", "10", "more than 100000 hosts"},
        Slip{"enc1[0-99999999999999]", "5", "more than 100000 hosts"},
        Slip{"a[1-999999]b[1-999999]c[1-999999]d[1-999999]", "2", "more than 100000 hosts"},
        Slip{"^", "1", "lacks its file"}, Slip{"^/no/such/file", "1", "No such file"}));

TEST(HostPatterns, MayNameOneHundredThousandHostsAndNoMore)
{
    EXPECT_THAT(Expanded({"enc[1-100000]", "enc[1-100000]"}), SizeIs(kMostHosts));
    EXPECT_THAT(MistakeIn({"enc[1-100000]", "gw"}), HasSubstr("more than 100000 hosts"));
    EXPECT_THAT(MistakeIn({"enc1"}, {"enc[1-100001]"}), HasSubstr("more than 100000 hosts"));
}

TEST(HostPatterns, OfHostileSizeEndSoon)
{
    const std::string huge = std::string(1U << 20U, 'a');
    EXPECT_THAT(MistakeIn({huge}), HasSubstr("too long"));
    EXPECT_THAT(MistakeIn({"enc[1-100000]" + huge}), HasSubstr("too long"));
    std::string again = "enc[1-100000]";
    for (int i = 0; i < 1000; ++i) {
        again += ",enc[1-100000]";
    }
    EXPECT_THAT(MistakeIn({again}), HasSubstr("more than 100000 hosts"));
    std::string places;
    for (int i = 0; i < 100000; ++i) {
        places += "a[1]";
    }
    EXPECT_THAT(MistakeIn({places}), HasSubstr("too long"));
}

TEST(HostPatterns, ShowNoControlCharacterInAMessage)
{
    EXPECT_THAT(MistakeIn({"enc\x1b[31m"}),
                testing::AllOf(HasSubstr("\\x1b"), testing::Not(HasSubstr("\x1b"))));
    EXPECT_THAT(MistakeIn({"b\xc3\xbc"}), HasSubstr("the byte \\xc3"));
}

class HostFile : public testing::Test
{
protected:
    ~HostFile() override { std::filesystem::remove(path_); }
    void Write(const std::string& text) const { std::ofstream(path_) << text; }
    const std::string path_ = testing::TempDir() + "hosts." + std::to_string(getpid()) + ".txt";
};

TEST_F(HostFile, HasAPatternALine)
{
    Write("# rack 1\nenc[1-2]\n\n  gw:8443\t\r\nenc1\nlast");
    EXPECT_THAT(Expanded({"first,^" + path_ + ",enc3"}),
                ElementsAre("first", "enc1", "enc2", "gw:8443", "last", "enc3"));
    EXPECT_THAT(Expanded({"enc[1-5]"}, {"^" + path_}), ElementsAre("enc3", "enc4", "enc5"));
}

TEST_F(HostFile, HasItsMistakesNamedByLine)
{
    Write("enc1\nenc[3-1]\n");
    EXPECT_EQ(MistakeIn({"^" + path_}),
              path_ +
                  ", line 2: host pattern \"enc[3-1]\", character 4: the range \"3-1\" ends "
                  "before it begins");
    Write("^" + path_ + "\n");
    EXPECT_THAT(MistakeIn({"^" + path_}), HasSubstr("a file of patterns cannot be named here"));
}

TEST_F(HostFile, MustNameAHost)
{
    Write("# nobody\n");
    EXPECT_THAT(MistakeIn({"^" + path_}), HasSubstr("names no host"));
}

TEST_F(HostFile, MayNotBeLargerThanTenMebibytes)
{
    Write(std::string((10U << 20U) + 1, '\n'));
    EXPECT_THAT(MistakeIn({"^" + path_}), HasSubstr("more than 10485760 bytes"));
}

TEST_F(HostFile, CanBeRefused)
{
    const auto expanded = ExpandHosts({"^" + path_}, {}, HostFiles::kRefused);
    ASSERT_TRUE(std::holds_alternative<Mistake>(expanded));
    EXPECT_THAT(std::get<Mistake>(expanded).message, HasSubstr("cannot be named here"));
}

TEST(HostPatterns, AreToldFromOneHost)
{
    for (const char* const pattern :
         {"enc[1-2]", "enc[1]", "a,b", "^-", "[1-2]", "[::1]:[1-2]", "[::1],b"}) {
        EXPECT_TRUE(IsPattern(pattern)) << pattern;
    }
    for (const char* const host : {"enc1", "enc1:623", "[::1]", "[::1]:623", "2001:db8::1", ""}) {
        EXPECT_FALSE(IsPattern(host)) << host;
    }
}

TEST(HostsWithPort, AreDivided)
{
    struct Row
    {
        const char* name;
        const char* host;
        std::uint16_t port;
    };
    for (const Row& row :
         {Row{"enc1", "enc1", 0}, Row{"enc1:65535", "enc1", 65535}, Row{"[::1]:623", "::1", 623},
          Row{"[::1]", "::1", 0}, Row{"::1", "::1", 0}, Row{"10.0.0.1:1", "10.0.0.1", 1}}) {
        const auto divided = SplitPort(row.name);
        ASSERT_TRUE(divided) << row.name;
        EXPECT_EQ(divided->host, row.host);
        EXPECT_EQ(divided->port, row.port);
    }
    for (const char* const wrong : {"", ":1", "a:", "a:b", "[", "[]", "[::1", "[a]:1", "a:1:2"}) {
        EXPECT_FALSE(SplitPort(wrong)) << wrong;
    }
}

}  // namespace
