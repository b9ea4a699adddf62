// SPDX-License-Identifier: Apache-2.0
// A program may install any global locale; texts are for machines and stay what they are.
#include <gtest/gtest.h>

#include <locale>
#include <vector>

#include "module/vkt/vkt_inventory/impl/vkt_inventory_parse_response.h"
#include "tests/vkt_inventory/decoder_case.h"

namespace Tulvo::Tests {
namespace {

/// Parts every digit from the next.
class EveryDigitApart : public std::numpunct<char>
{
protected:
    char do_thousands_sep() const override { return '\''; }
    std::string do_grouping() const override { return "\1"; }
};

/// Takes the letter Z for white space.
class ZIsSpace : public std::ctype<char>
{
public:
    ZIsSpace() : std::ctype<char>(Table()) {}

private:
    static const mask* Table()
    {
        static const std::vector<mask> table = [] {
            std::vector<mask> masks(classic_table(), classic_table() + table_size);
            masks['Z'] = space;
            return masks;
        }();
        return table.data();
    }
};

/// A global locale for as long as it lives.
class GlobalLocale
{
public:
    template <class Facet>
    explicit GlobalLocale(Facet* facet)
        : before_(std::locale::global(std::locale(std::locale::classic(), facet)))
    {
    }
    GlobalLocale(const GlobalLocale&) = delete;
    GlobalLocale& operator=(const GlobalLocale&) = delete;
    ~GlobalLocale() { std::locale::global(before_); }

private:
    std::locale before_;
};

class Grouping : public ::testing::Test
{
protected:
    Fakes::FakeLog log;
    GlobalLocale locale{new EveryDigitApart};
};

TEST_F(Grouping, LeavesDecimalTextsAlone)
{
    EXPECT_EQ(Decode("ParseChassisPowerConsumption", {kFirst, 0, Hex("D2 04 FF FF 10 27")}).fields,
              (Fields{"1234", "65535", "10000"}));
    EXPECT_EQ(Decode("ParsePSUFanSpeed", {kFirst, 0, Hex("10 27 FF 02"), 12}).fields,
              (Fields{"PSU12", "10000", "255", kBefore, kBefore, "Normal"}));
    EXPECT_EQ(Decode("ParseNodeStatus", {kFirst, 0, Hex("80 64 FE 01")}).fields,
              (Fields{"Power ON", "100", "254", "1"}));
}

TEST_F(Grouping, LeavesHexadecimalTextsAlone)
{
    EXPECT_EQ(Decode("ParseGetFirmwareVersion", {kFirst, 0, Hex("1B 23 00 00 00 41")}).fields,
              (Fields{"A-1b.23"}));
    EXPECT_EQ(Decode("ParsePSUVersion", {kFirst, 0, Hex("0A 12")}).fields, (Fields{"12.0a"}));
    EXPECT_EQ(Decode("ParsePSUPosition", {kFirst, 0, Hex("AB CD")}).fields, (Fields{"abcd"}));
}

TEST_F(Grouping, LeavesTheCompletionCodeInAFailureTextAlone)
{
    Decode("ParseName", {kFirst, 0xC1, {}});
    EXPECT_EQ(log.Lines(1), (LogLines{{1, "Get vkt name failed with error code:193"}}));
}

TEST_F(Grouping, LeavesDumpsAlone)
{
    Decode("ParseName", {kVkt2, 0, Hex("00 00 41 FF")});
    EXPECT_EQ(log.Lines(), Framed("ParseName", Reframed("A \xFF ", "0x41 0xff ")));
}

TEST_F(Grouping, LeavesTheModuleNoticesAlone)
{
    Decode("ParseVKTStatusImp", {kFirst, 0, Hex("FD 00 00 00 00 00 00 00 00 00 00 00 00 03")});
    EXPECT_EQ(log.Lines(3), (LogLines{{3, "VKT Type: 0xfd"}}));
    Decode("ParseVKTStatusImp", {static_cast<VKTIype>(77), 0, Hex("FD")});
    EXPECT_EQ(log.Lines(2), (LogLines{{2, "VKT Type is 0x4duse default value"}}));
}

TEST_F(Grouping, LeavesTheNodeCountTraceAlone)
{
    std::uint64_t nodeCount = 0;
    VKTInventoryParseResponse().ParseNodeCount(VKTStatus(), nodeCount);
    EXPECT_EQ(log.Lines(), (LogLines{{4, " GetVKTStatus success, platformId =0xfe"}}));
}

TEST_F(Grouping, LeavesThePowerSupplyFailureAlone)
{
    Decode("ParsePSUStatus", {kFirst, 0xC1, Hex("00 00 00 00 00 00 00 00 00 00 00"), 1});
    EXPECT_EQ(log.Lines().back().text,
              "The gotted PSU psu_status is :\n\nGet PSU statue failed with completionCode is 193, "
              "response.size() is 11");
}

TEST(GlobalClassification, DecidesWhatIsTrimmedFromASerialNumber)
{
    const GlobalLocale locale(new ZIsSpace);
    EXPECT_EQ(Decode("ParseGetSerialNumber", {kFirst, 0, Chars("Z J3Z0 ZZ")}).fields,
              (Fields{"J3Z0"}));
}

TEST(GlobalClassification, DoesNotDecideWhatIsPrintable)
{
    const GlobalLocale locale(new ZIsSpace);
    EXPECT_EQ(Decode("ParseName", {kFirst, 0, Chars("AZB")}).fields, (Fields{"AZB"}));
    EXPECT_EQ(Decode("ParseMachineType", {kFirst, 0, Chars("7X2Z")}).fields, (Fields{"7X2Z"}));
}

}  // namespace
}  // namespace Tulvo::Tests
