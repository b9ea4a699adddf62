// SPDX-License-Identifier: Apache-2.0
#include "module/vkt/vkt_inventory/impl/vkt_inventory_parse_response.h"
#include "tests/vkt_inventory/decoder_case.h"

namespace Tulvo::Tests {
namespace {

using namespace std::string_literals;

const char* const kNode = "ParseNodeStatus";
const Fields kNodeUntouched = {kBefore, kBefore, kBefore, "-77"};

const std::vector<DecoderCase> kNodeStatusCases = {
    {"ReadsANodeThatIsOff",
     {kFirst, 0, Hex("00 01 02 00")},
     VKT_INVENTORY_SUCCESS,
     {"Power OFF", "Half", "2", "0"},
     Entered(kNode)},
    {"ReadsANodeWithoutPermission",
     {kUnknown, 0, Hex("20 03 01 FF")},
     VKT_INVENTORY_SUCCESS,
     {"No Permission", "3", "1", "255"},
     Entered(kNode)},
    {"ReadsANodeInPowerFault",
     {kFirst, 0, Hex("40 FF 00 80")},
     VKT_INVENTORY_SUCCESS,
     {"Power Fault", "N/A", "0", "128"},
     Entered(kNode)},
    {"CallsAnyOtherPowerStateAFault",
     {kFirst, 0, Hex("10 00 FE 02")},
     VKT_INVENTORY_SUCCESS,
     {"Fault", "0", "254", "2"},
     Entered(kNode, {{1, "Wrong result"}})},
    {"CallsCombinedPowerBitsAFault",
     {kFirst, 0, Hex("C0 01 01 02")},
     VKT_INVENTORY_SUCCESS,
     {"Fault", "Half", "1", "2"},
     Entered(kNode, {{1, "Wrong result"}})},
    {"DropsTheFirstOfFiveBytesOnVkt2",
     {kVkt2, 0, Hex("55 80 02 FF 01")},
     VKT_INVENTORY_SUCCESS,
     {"Power ON", "Full", "N/A", "1"},
     Entered(kNode, Reframed("\x80 \x02 \xFF \x01 ", "0x80 0x2 0xff 0x1 "))},
    {"FailsOnFiveBytesOfAnyOtherType",
     {kFirst, 0, Hex("55 80 02 FF 01")},
     VKT_INVENTORY_FAILED,
     kNodeUntouched,
     Entered(kNode)},
    {"FailsOnFiveBytesOfAnUnknownType",
     {kUnknown, 0, Hex("55 80 02 FF 01")},
     VKT_INVENTORY_FAILED,
     kNodeUntouched,
     Entered(kNode)},
    {"FailsOnSixBytesOfVkt2",
     {kVkt2, 0, Hex("55 80 02 FF 01 00")},
     VKT_INVENTORY_FAILED,
     kNodeUntouched,
     Entered(kNode)},
    {"DumpsNothingWhenTheCompletionCodeOfVkt2IsNotZero",
     {kVkt2, 0xC1, Hex("55 80 02 FF 01")},
     VKT_INVENTORY_FAILED,
     kNodeUntouched,
     Entered(kNode)},
};
INSTANTIATE_TEST_SUITE_P(ParseNodeStatus, Decoder, Rows("ParseNodeStatus", kNodeStatusCases),
                         BehaviourOf);

const char* const kModule = "ParseVKTStatusImp";
const Fields kModuleUntouched = {"-77", "-77"};

const std::vector<DecoderCase> kVKTStatusCases = {
    {"ReadsNineSuppliesOfPlatformFD",
     {kVkt2, 0, Hex("FD 00 00 00 00 00 00 00 00 00 00 00 00 03")},
     VKT_INVENTORY_SUCCESS,
     {"253", "9"},
     Entered(kModule, {{3, "VKT Type: 0xfd"}})},
    {"ReadsNineSuppliesOfPlatformFC",
     {kVkt2, 0, Hex("FC 00 00 00 00 00 00 00 00 00 00 00 00 03")},
     VKT_INVENTORY_SUCCESS,
     {"252", "9"},
     Entered(kModule, {{3, "VKT Type: 0xfc"}})},
    {"ReadsSixSuppliesOfGenerationFour",
     {kVkt2, 0, Hex("FD 00 00 00 00 00 00 00 00 00 00 00 00 04")},
     VKT_INVENTORY_SUCCESS,
     {"253", "6"},
     Entered(kModule, {{3, "VKT Type: 0xfd"},
                       {2, "checked VKT2 Type is EGS, For EGS, set default value 6"}})},
    {"ReadsSixSuppliesOfAnyOtherGeneration",
     {kFirst, 0, Hex("FD 00 00 00 00 00 00 00 00 00 00 00 00 07")},
     VKT_INVENTORY_SUCCESS,
     {"253", "6"},
     Entered(kModule, {{3, "VKT Type: 0xfd"}})},
    {"ReadsTwoSuppliesOfPlatformFEWhateverItsGeneration",
     {kFirst, 0, Hex("FE 00 00 00 00 00 00 00 00 00 00 00 00 03")},
     VKT_INVENTORY_SUCCESS,
     {"254", "2"},
     Entered(kModule, {{3, "VKT Type: 0xfe"}})},
    {"TakesAnUnknownPlatformForTheDefault",
     {kFirst, 0, Hex("12 00 00 00 00 00 00 00 00 00 00 00 00 04")},
     VKT_INVENTORY_SUCCESS,
     {"254", "2"},
     Entered(kModule, {{3, "VKT Type: 0x12"}})},
    {"WritesANotedPlatformWithoutLeadingZeros",
     {kFirst, 0, Hex("00 00 00 00 00 00 00 00 00 00 00 00 00 00 99")},
     VKT_INVENTORY_SUCCESS,
     {"254", "2"},
     Entered(kModule, {{3, "VKT Type: 0x0"}})},
    {"SucceedsOnTenBytesButReadsNothing",
     {kFirst, 0, Hex("FD 00 00 00 00 00 00 00 00 00")},
     VKT_INVENTORY_SUCCESS,
     kModuleUntouched,
     Entered(kModule, {{2, "VKT Type is 0x0use default value"}})},
    {"ReadsNothingFromThirteenBytesOfVkt2",
     {kVkt2, 0, Hex("FD 00 00 00 00 00 00 00 00 00 00 00 03")},
     VKT_INVENTORY_SUCCESS,
     kModuleUntouched,
     Entered(kModule, {{2, "VKT Type is 0x1use default value"}})},
    {"HasNoDataInAnEmptyAnswerAndWritesTheCompletionCodeAsACharacter",
     {kUnknown, 0, {}},
     VKT_INVENTORY_NO_DATA,
     kModuleUntouched,
     Entered(kModule, {{2, "response is empty or completeCode: \0"s},
                       {2, "VKT Type is 0x2use default value"}})},
    {"HasNoDataWhenAnEmptyAnswerIsRefused",
     {kUnknown, 0x80, {}},
     VKT_INVENTORY_NO_DATA,
     kModuleUntouched,
     Entered(kModule, {{2, "response is empty or completeCode: \x80"},
                       {2, "VKT Type is 0x2use default value"}})},
    {"HasNoDataWhenAShortAnswerIsRefused",
     {kFirst, 0xC1, Hex("FD 00")},
     VKT_INVENTORY_NO_DATA,
     kModuleUntouched,
     Entered(kModule, {{2, "response is empty or completeCode: \xC1"},
                       {2, "VKT Type is 0x0use default value"}})},
    {"FillsTheRecordOfARefusedLongAnswerYetHasNoData",
     {kFirst, 0x41, Hex("FC 00 00 00 00 00 00 00 00 00 00 00 00 04")},
     VKT_INVENTORY_NO_DATA,
     {"252", "6"},
     Entered(kModule, {{2, "response is empty or completeCode: A"},
                       {3, "VKT Type: 0xfc"},
                       {2, "checked VKT2 Type is EGS, For EGS, set default value 6"}})},
};
INSTANTIATE_TEST_SUITE_P(ParseVKTStatusImp, Decoder, Rows("ParseVKTStatusImp", kVKTStatusCases),
                         BehaviourOf);

struct NodeCountCase
{
    std::int32_t platformId;
    std::uint64_t nodeCount;
    const char* line;
};

class ParseNodeCount : public ::testing::TestWithParam<NodeCountCase>
{
};

TEST_P(ParseNodeCount, IsThatOfThePlatform)
{
    Fakes::FakeLog log;
    VKTStatus status;
    status.platformId = GetParam().platformId;
    std::uint64_t nodeCount = 99;
    VKTInventoryParseResponse().ParseNodeCount(status, nodeCount);
    EXPECT_EQ(nodeCount, GetParam().nodeCount);
    EXPECT_EQ(log.Lines(), (LogLines{{4, GetParam().line}}));
}

INSTANTIATE_TEST_SUITE_P(
    Platforms, ParseNodeCount,
    ::testing::Values(NodeCountCase{0xFC, 12, " GetVKTStatus success, platformId =0xfc"},
                      NodeCountCase{0xFD, 12, " GetVKTStatus success, platformId =0xfd"},
                      NodeCountCase{0xFE, 4, " GetVKTStatus success, platformId =0xfe"},
                      NodeCountCase{0x10, 4, " GetVKTStatus success, platformId =0x10"},
                      NodeCountCase{-1, 4, " GetVKTStatus success, platformId =0xffffffff"}),
    [](const auto& row) { return "Row" + std::to_string(row.index); });

TEST(VKTInventoryParseResponse, StartsWithTheUnknownType)
{
    EXPECT_EQ(VKTInventoryParseResponse().vktType, 2);
}

}  // namespace
}  // namespace Tulvo::Tests
