// SPDX-License-Identifier: Apache-2.0
// Power supplies: loops over slots, and what they do when one of them fails.
#include "tests/vkt_inventory/backend.h"
#include "tests/vkt_inventory/fields.h"

namespace Tulvo::Tests {
namespace {

using ::testing::IsEmpty;

const Bytes kFans = Hex("10 27 05 01");
const Fields kFansOf1 = {"PSU1", "10000", "5", "", "", "Abnormal"};
const Fields kFansOf2 = {"PSU2", "10000", "5", "", "", "Abnormal"};
const Fields kFanSpeedBefore = Untouched(6);

Outcome AskFanSpeed(VKTInventory& inventory)
{
    return OutcomeOf<std::vector<PSUFanSpeed>>(
        [&](auto& fans) { return inventory.GetPSUFanSpeed(fans); });
}

using FanSpeed = EveryTransport;
INSTANTIATE_TEST_SUITE_P(Over, FanSpeed, ::testing::Values(kDirect, kHttps), NameOf);

TEST_P(FanSpeed, AsksEverySlotAndAppends)
{
    Build();
    Answers(kFans, 2);
    const Outcome outcome = AskFanSpeed(*inventory);
    EXPECT_EQ(outcome.result, VKT_INVENTORY_SUCCESS);
    EXPECT_EQ(outcome.fields, kFanSpeedBefore + kFansOf1 + kFansOf2);
    EXPECT_EQ(journal.Requests(), (Lines{"32 A5 01", "32 A5 02"}));
    EXPECT_THAT(journal.Of({"sleep"}), IsEmpty());
}

TEST_P(FanSpeed, AsksNineSlotsOfALargeEnclosureAndSixOfAnEgs)
{
    const Bytes fansOfVkt2 = Hex("00 E8 03 02 00 00 00 02");
    Build(VKT_TYPE_VKT2, kLargeEnclosure);
    Answers(fansOfVkt2, 9);
    EXPECT_EQ(AskFanSpeed(*inventory).result, VKT_INVENTORY_SUCCESS);
    EXPECT_EQ(journal.Requests(), (Lines{"32 A5 01", "32 A5 02", "32 A5 03", "32 A5 04", "32 A5 05",
                                         "32 A5 06", "32 A5 07", "32 A5 08", "32 A5 09"}));
    Build(VKT_TYPE_VKT2, Status(0xFC, 4));
    Answers(fansOfVkt2, 6);
    EXPECT_EQ(AskFanSpeed(*inventory).result, VKT_INVENTORY_SUCCESS);
    EXPECT_EQ(journal.Requests().size(), 6U);
}

TEST_P(FanSpeed, HidesTheFailureOfALowerSlot)
{
    Build();
    Refuses(0xC1);
    Answers(kFans);
    const Outcome outcome = AskFanSpeed(*inventory);
    EXPECT_EQ(outcome.result, VKT_INVENTORY_SUCCESS);
    EXPECT_EQ(outcome.fields, kFanSpeedBefore + kFansOf2);
}

/// The one difference: over HTTPS the last slot decides.
TEST_P(FanSpeed, ReportsTheFailureOfTheLastSlotOverHttpsOnlyAndKeepsTheOthers)
{
    Build();
    for (const auto& [completionCode, answer] :
         {std::pair<std::uint8_t, Bytes>(0xC1, {}), {0, Hex("10 27 05")}}) {
        Answers(kFans);
        Refuses(completionCode, answer);
        const Outcome outcome = AskFanSpeed(*inventory);
        EXPECT_EQ(outcome.result, IsHttps() ? VKT_INVENTORY_FAILED : VKT_INVENTORY_SUCCESS);
        EXPECT_EQ(outcome.fields, kFanSpeedBefore + kFansOf1);
    }
}

TEST_P(FanSpeed, KeepsEarlierSlotsWhenARequestIsNotCarried)
{
    Build();
    Answers(kFans);
    CannotBeReached();
    const Outcome outcome = AskFanSpeed(*inventory);
    EXPECT_EQ(outcome.result, VKT_INVENTORY_CONNECT_FAILED);
    EXPECT_EQ(outcome.fields, kFanSpeedBefore + kFansOf1);
    EXPECT_EQ(OwnLinesButTraffic(),
              (LogLines{{1, IsHttps() ? "Failed to get the vkt PSU fan speed through https, ret = 6"
                                      : "connect failed with error:1"}}));
}

TEST_P(FanSpeed, StopsAtTheFirstSlotThatCannotBeAsked)
{
    Build();
    CannotBeReached();
    const Outcome outcome = AskFanSpeed(*inventory);
    EXPECT_EQ(outcome.result, VKT_INVENTORY_CONNECT_FAILED);
    EXPECT_EQ(outcome.fields, kFanSpeedBefore);
}

TEST_P(FanSpeed, SucceedsWithoutSlotsAndSendsNothing)
{
    BuildUnread();
    const Outcome outcome = AskFanSpeed(*inventory);
    EXPECT_EQ(outcome.result, VKT_INVENTORY_SUCCESS);
    EXPECT_EQ(outcome.fields, kFanSpeedBefore);
    EXPECT_THAT(Deeds(), IsEmpty());
    EXPECT_THAT(log.Lines(), IsEmpty());
}

const Bytes kVersion = Hex("03 01");
const Bytes kManufacture = Hex("04") + Chars("ACME");
const Bytes kPosition = Hex("01 0A");
const Fields kFirmwareOf1 = {"PSU1", "PSUACME10a", "1.03", "1", "Power Supply 1"};
const Fields kFirmwareOf2 = {"PSU2", "PSUACME10a", "1.03", "2", "Power Supply 2"};
const Fields kFirmwareBefore = Untouched(5);
const LogLine kTraceOf1 = {4, "Power Supply 1 PSU1 1 1.03 PSUACME10a"};
const LogLine kTraceOf2 = {4, "Power Supply 2 PSU2 2 1.03 PSUACME10a"};

/// How the three reads of firmware information go, and what becomes of them.
struct FirmwareCase
{
    const char* behaviour;
    VKTIype type;
    std::vector<Bytes> answers;  ///< An empty one is refused.
    bool isLost;                 ///< The request after the answers is not carried.
    VKTInventoryErrorCode result;
    Fields fields;  ///< Behind those from before.
    LogLines direct;
    LogLines https;
};

const std::vector<FirmwareCase> kFirmwareCases = {
    {"ReadsVersionsThenManufacturersThenPositions",
     VKT_TYPE_FIRST_GENERATION,
     {kVersion, kVersion, kManufacture, kManufacture, kPosition, kPosition},
     false,
     VKT_INVENTORY_SUCCESS,
     kFirmwareOf1 + kFirmwareOf2,
     {kTraceOf1, kTraceOf2},
     {kTraceOf1, kTraceOf2}},
    {"ReadsTheRegistersOfAVkt2",
     VKT_TYPE_VKT2,
     {kVersion, kVersion, Chars("ACMEX"), Chars("ACMEX"), kPosition, kPosition},
     false,
     VKT_INVENTORY_SUCCESS,
     kFirmwareOf1 + kFirmwareOf2,
     {kTraceOf1, kTraceOf2},
     {kTraceOf1, kTraceOf2}},
    {"DropsASlotWhoseVersionFailsEvenTheLast",
     VKT_TYPE_FIRST_GENERATION,
     {kVersion, {}, kManufacture, kManufacture, kPosition, kPosition},
     false,
     VKT_INVENTORY_SUCCESS,
     kFirmwareOf1,
     {kTraceOf1, {4, "PSU slot 2 has no PSU module."}},
     {kTraceOf1, {4, "PSU slot 2 has no PSU module."}}},
    {"DropsALowerSlotWhosePositionFails",
     VKT_TYPE_FIRST_GENERATION,
     {kVersion, kVersion, kManufacture, kManufacture, Hex("01"), kPosition},
     false,
     VKT_INVENTORY_SUCCESS,
     kFirmwareOf2,
     {{4, "PSU slot 1 has no PSU module."}, kTraceOf2},
     {{4, "PSU slot 1 has no PSU module."}, kTraceOf2}},
    {"FailsWhenThePositionOfTheLastSlotFails",
     VKT_TYPE_FIRST_GENERATION,
     {kVersion, kVersion, kManufacture, kManufacture, kPosition, {}},
     false,
     VKT_INVENTORY_FAILED,
     {},
     {},
     {}},
    {"HasNoDataAndAsksNoPositionsWhenTheTypeOfTheModuleIsUnknown",
     VKT_TYPE_UNKNOWN,
     {kVersion, kVersion, kManufacture, kManufacture},
     false,
     VKT_INVENTORY_NO_DATA,
     {},
     {},
     {}},
    {"LeavesTheManufacturerOutWhenItsAnswerIsShort",
     VKT_TYPE_FIRST_GENERATION,
     {kVersion, kVersion, Hex("04") + Chars("ACM"), kManufacture, kPosition, kPosition},
     false,
     VKT_INVENTORY_SUCCESS,
     Fields{"PSU1", "PSU10a", "1.03", "1", "Power Supply 1"} + kFirmwareOf2,
     {{4, "Power Supply 1 PSU1 1 1.03 PSU10a"}, kTraceOf2},
     {{4, "Power Supply 1 PSU1 1 1.03 PSU10a"}, kTraceOf2}},
    {"EndsWhenAVersionCannotBeAsked",
     VKT_TYPE_FIRST_GENERATION,
     {kVersion},
     true,
     VKT_INVENTORY_CONNECT_FAILED,
     {},
     {{1, "connect failed with error:1"}, {1, "Failed to send IPMI command with returns 2"}},
     {{1, "Failed to get the vkt PSU version through https, ret = 6"}}},
    {"EndsWhenAManufacturerCannotBeAsked",
     VKT_TYPE_FIRST_GENERATION,
     {kVersion, kVersion, kManufacture},
     true,
     VKT_INVENTORY_CONNECT_FAILED,
     {},
     {{1, "connect failed with error:1"}, {1, "Failed to send IPMI command with returns 2"}},
     {{1, "Failed to get the vkt PSUManufacture through https, ret = 6"}}},
    // Over RMCP+ a position has no record of its own.
    {"EndsWhenAPositionCannotBeAsked",
     VKT_TYPE_FIRST_GENERATION,
     {kVersion, kVersion, kManufacture, kManufacture},
     true,
     VKT_INVENTORY_CONNECT_FAILED,
     {},
     {{1, "connect failed with error:1"}},
     {{1, "Failed to get the vkt PSU position through https, ret = 6"}}},
};

/// The requests of the six reads, in their order.
const Lines kReads = {"06 52 0F D0 02 FC", "06 52 0D D0 02 FC", "06 52 0F D0 05 99",
                      "06 52 0D D0 05 99", "06 52 0F D0 20 F0", "06 52 0D D0 20 F0"};
const Lines kReadsOfVkt2 = {"32 92 01 02 FC", "32 92 02 02 FC", "32 92 01 05 99",
                            "32 92 02 05 99", "32 92 01 20 F0", "32 92 02 20 F0"};

using Firmware = EveryTransport;
INSTANTIATE_TEST_SUITE_P(Over, Firmware, ::testing::Values(kDirect, kHttps), NameOf);

TEST_P(Firmware, IsJoinedFromThreeReadsOfEverySlot)
{
    for (const FirmwareCase& row : kFirmwareCases) {
        SCOPED_TRACE(row.behaviour);
        Build(row.type);
        for (const Bytes& answer : row.answers) {
            Refuses(answer.empty() ? 0xC1 : 0, answer);
        }
        CannotBeReached(row.isLost ? 1 : 0);
        const Outcome outcome = OutcomeOf<std::vector<PSUFwInfo>>(
            [&](auto& firmware) { return inventory->GetPSUFwInfo(firmware); });
        EXPECT_EQ(outcome.result, row.result);
        EXPECT_EQ(outcome.fields, kFirmwareBefore + row.fields);
        EXPECT_EQ(OwnLinesButTraffic(), IsHttps() ? row.https : row.direct);
        const Lines& reads = row.type == VKT_TYPE_VKT2 ? kReadsOfVkt2 : kReads;
        const auto sent =
            static_cast<std::ptrdiff_t>(row.answers.size() + (row.isLost && IsHttps() ? 1 : 0));
        EXPECT_EQ(journal.Requests(), Lines(reads.begin(), reads.begin() + sent));
    }
}

TEST_P(Firmware, HasNoDataWithoutSlotsAndSendsNothing)
{
    BuildUnread();
    const Outcome outcome = OutcomeOf<std::vector<PSUFwInfo>>(
        [&](auto& firmware) { return inventory->GetPSUFwInfo(firmware); });
    EXPECT_EQ(outcome.result, VKT_INVENTORY_NO_DATA);
    EXPECT_EQ(outcome.fields, kFirmwareBefore);
    EXPECT_THAT(Deeds(), IsEmpty());
    EXPECT_THAT(log.Lines(), IsEmpty());
}

using StatusBits = EveryTransport;
INSTANTIATE_TEST_SUITE_P(Over, StatusBits, ::testing::Values(kDirect, kHttps), NameOf);

TEST_P(StatusBits, AreSizedByTheSlotsEvenWhenTheAnswerIsShort)
{
    Build(VKT_TYPE_VKT2, kLargeEnclosure);
    Answers(Hex("00 00 00 00 00"));
    std::vector<PSUStatus> supplies;
    EXPECT_EQ(inventory->GetPSUStatus(supplies), VKT_INVENTORY_FAILED);
    EXPECT_EQ(supplies.size(), 9U);
    EXPECT_EQ(journal.Requests(), (Lines{"32 91"})) << "one request tells of all supplies";
}

}  // namespace
}  // namespace Tulvo::Tests
