// SPDX-License-Identifier: Apache-2.0
// Power supplies over RMCP+: loops over slots, and what they do when one of them fails.
#include "tests/vkt_inventory/backend.h"
#include "tests/vkt_inventory/fields.h"

namespace Tulvo::Tests {
namespace {

using ::testing::IsEmpty;

const Bytes kFans = Hex("10 27 05 01");
const Fields kFansOf1 = {"PSU1", "10000", "5", "", "", "Abnormal"};
const Fields kFansOf2 = {"PSU2", "10000", "5", "", "", "Abnormal"};
const Fields kFanSpeedBefore = Untouched(6);

class DirectFanSpeed : public Direct
{
protected:
    Outcome Ask()
    {
        return OutcomeOf<std::vector<PSUFanSpeed>>(
            [this](auto& fans) { return inventory->GetPSUFanSpeed(fans); });
    }
};

TEST_F(DirectFanSpeed, AsksEverySlotInASessionOfItsOwnAndAppends)
{
    Build();
    vkt.Answers(kFans, 2);
    const Outcome outcome = Ask();
    EXPECT_EQ(outcome.result, VKT_INVENTORY_SUCCESS);
    EXPECT_EQ(outcome.fields, kFanSpeedBefore + kFansOf1 + kFansOf2);
    EXPECT_EQ(journal.Of({"client", "sleep"}), Exchange(3, "32 A5 01") + Exchange(4, "32 A5 02"));
}

TEST_F(DirectFanSpeed, AsksNineSlotsOfALargeEnclosureAndSixOfAnEgs)
{
    Build(VKT_TYPE_VKT2, kLargeEnclosure);
    vkt.Answers({}, 9);
    EXPECT_EQ(Ask().result, VKT_INVENTORY_SUCCESS);
    EXPECT_EQ(journal.Requests(), (Lines{"32 A5 01", "32 A5 02", "32 A5 03", "32 A5 04", "32 A5 05",
                                         "32 A5 06", "32 A5 07", "32 A5 08", "32 A5 09"}));
    Build(VKT_TYPE_VKT2, Status(0xFC, 4));
    vkt.Answers({}, 6);
    EXPECT_EQ(Ask().result, VKT_INVENTORY_SUCCESS);
    EXPECT_EQ(journal.Requests().size(), 6U);
}

TEST_F(DirectFanSpeed, DropsASlotThatCannotBeDecodedAndStillSucceeds)
{
    Build();
    vkt.Refuses(0xC1);
    vkt.Answers(kFans);
    EXPECT_EQ(Ask().fields, kFanSpeedBefore + kFansOf2);
    vkt.Answers(kFans);
    vkt.Truncates(kFans, 3);
    const Outcome lastSlotShort = Ask();
    EXPECT_EQ(lastSlotShort.result, VKT_INVENTORY_SUCCESS);
    EXPECT_EQ(lastSlotShort.fields, kFanSpeedBefore + kFansOf1);
}

TEST_F(DirectFanSpeed, KeepsEarlierSlotsWhenTheConnectionIsLost)
{
    Build();
    vkt.Answers(kFans);
    vkt.RefusesSession(CONNECTION_REFUSED);
    const Outcome outcome = Ask();
    EXPECT_EQ(outcome.result, VKT_INVENTORY_CONNECT_FAILED);
    EXPECT_EQ(outcome.fields, kFanSpeedBefore + kFansOf1);
    EXPECT_EQ(log.Lines(1), (LogLines{{1, "connect failed with error:2"}}));
}

TEST_F(DirectFanSpeed, StopsAtTheFirstSlotWithoutAConnection)
{
    Build();
    vkt.RefusesSession(CONNECTION_FAILED);
    const Outcome outcome = Ask();
    EXPECT_EQ(outcome.result, VKT_INVENTORY_CONNECT_FAILED);
    EXPECT_EQ(outcome.fields, kFanSpeedBefore);
    EXPECT_EQ(journal.Of({"client"}), FutileAttempts(3, 1));
}

TEST_F(DirectFanSpeed, SucceedsWithoutSlotsAndSendsNothing)
{
    BuildUnread();
    const Outcome outcome = Ask();
    EXPECT_EQ(outcome.result, VKT_INVENTORY_SUCCESS);
    EXPECT_EQ(outcome.fields, kFanSpeedBefore);
    EXPECT_THAT(journal.Of({"client", "log"}), IsEmpty());
}

const Bytes kVersion = Hex("03 01");
const Bytes kManufacture = Hex("04") + Chars("ACME");
const Bytes kPosition = Hex("01 0A");
const Fields kFirmwareOf1 = {"PSU1", "PSUACME10a", "1.03", "1", "Power Supply 1"};
const Fields kFirmwareOf2 = {"PSU2", "PSUACME10a", "1.03", "2", "Power Supply 2"};
const Fields kFirmwareBefore = Untouched(5);

class DirectFirmware : public Direct
{
protected:
    Outcome Ask()
    {
        return OutcomeOf<std::vector<PSUFwInfo>>(
            [this](auto& firmware) { return inventory->GetPSUFwInfo(firmware); });
    }

    /// The query's own records, without those of requests and answers.
    LogLines OwnLinesButTraffic() const
    {
        LogLines lines = OwnLines();
        std::erase_if(lines, [](const LogLine& line) {
            return line.text.starts_with("Send impi") || line.text.starts_with("Response=");
        });
        return lines;
    }
};

TEST_F(DirectFirmware, ReadsVersionsThenManufacturersThenPositions)
{
    Build();
    vkt.Answers(kVersion, 2);
    vkt.Answers(kManufacture, 2);
    vkt.Answers(kPosition, 2);
    const Outcome outcome = Ask();
    EXPECT_EQ(outcome.result, VKT_INVENTORY_SUCCESS);
    EXPECT_EQ(outcome.fields, kFirmwareBefore + kFirmwareOf1 + kFirmwareOf2);
    EXPECT_EQ(journal.Of({"client"}),
              Exchange(3, "06 52 0F D0 02 FC") + Exchange(4, "06 52 0D D0 02 FC") +
                  Exchange(5, "06 52 0F D0 05 99") + Exchange(6, "06 52 0D D0 05 99") +
                  Exchange(7, "06 52 0F D0 20 F0") + Exchange(8, "06 52 0D D0 20 F0"));
    EXPECT_EQ(OwnLinesButTraffic(), (LogLines{{4, "Power Supply 1 PSU1 1 1.03 PSUACME10a"},
                                              {4, "Power Supply 2 PSU2 2 1.03 PSUACME10a"}}));
}

TEST_F(DirectFirmware, ReadsTheRegistersOfAVkt2ByItsOwnCommand)
{
    Build(VKT_TYPE_VKT2);
    vkt.Answers(kVersion, 2);
    vkt.Answers(Chars("ACMEX"), 2);
    vkt.Answers(kPosition, 2);
    EXPECT_EQ(Ask().fields, kFirmwareBefore + kFirmwareOf1 + kFirmwareOf2);
    EXPECT_EQ(journal.Requests(), (Lines{"32 92 01 02 FC", "32 92 02 02 FC", "32 92 01 05 99",
                                         "32 92 02 05 99", "32 92 01 20 F0", "32 92 02 20 F0"}));
}

TEST_F(DirectFirmware, DropsASlotWhoseVersionFailsEvenTheLast)
{
    Build();
    vkt.Answers(kVersion);
    vkt.Refuses(0xC1);
    vkt.Answers(kManufacture, 2);
    vkt.Answers(kPosition, 2);
    const Outcome outcome = Ask();
    EXPECT_EQ(outcome.result, VKT_INVENTORY_SUCCESS);
    EXPECT_EQ(outcome.fields, kFirmwareBefore + kFirmwareOf1);
    EXPECT_EQ(OwnLinesButTraffic(), (LogLines{{4, "Power Supply 1 PSU1 1 1.03 PSUACME10a"},
                                              {4, "PSU slot 2 has no PSU module."}}));
}

TEST_F(DirectFirmware, DropsALowerSlotWhosePositionFails)
{
    Build();
    vkt.Answers(kVersion, 2);
    vkt.Answers(kManufacture, 2);
    vkt.Truncates(kPosition, 1);
    vkt.Answers(kPosition);
    const Outcome outcome = Ask();
    EXPECT_EQ(outcome.result, VKT_INVENTORY_SUCCESS);
    EXPECT_EQ(outcome.fields, kFirmwareBefore + kFirmwareOf2);
    EXPECT_EQ(OwnLinesButTraffic(), (LogLines{{4, "PSU slot 1 has no PSU module."},
                                              {4, "Power Supply 2 PSU2 2 1.03 PSUACME10a"}}));
}

TEST_F(DirectFirmware, FailsWhenThePositionOfTheLastSlotFails)
{
    Build();
    vkt.Answers(kVersion, 2);
    vkt.Answers(kManufacture, 2);
    vkt.Answers(kPosition);
    vkt.Refuses(0xC1);
    const Outcome outcome = Ask();
    EXPECT_EQ(outcome.result, VKT_INVENTORY_FAILED);
    EXPECT_EQ(outcome.fields, kFirmwareBefore);
    EXPECT_THAT(OwnLinesButTraffic(), IsEmpty());
}

TEST_F(DirectFirmware, HasNoDataWhenNobodyKnowsTheTypeOfTheModule)
{
    Build(VKT_TYPE_UNKNOWN);
    vkt.Answers(kVersion, 2);
    vkt.Answers(kManufacture, 2);
    const Outcome outcome = Ask();
    EXPECT_EQ(outcome.result, VKT_INVENTORY_NO_DATA);
    EXPECT_EQ(outcome.fields, kFirmwareBefore);
    EXPECT_EQ(journal.Requests().size(), 4U) << "positions are not asked for";
}

TEST_F(DirectFirmware, LeavesTheManufacturerOutWhenItsAnswerIsShort)
{
    Build();
    vkt.Answers(kVersion, 2);
    vkt.Truncates(kManufacture, 4);
    vkt.Answers(kManufacture);
    vkt.Answers(kPosition, 2);
    const Outcome outcome = Ask();
    EXPECT_EQ(outcome.result, VKT_INVENTORY_SUCCESS);
    const Fields withoutManufacturer = {"PSU1", "PSU10a", "1.03", "1", "Power Supply 1"};
    EXPECT_EQ(outcome.fields, kFirmwareBefore + withoutManufacturer + kFirmwareOf2);
}

TEST_F(DirectFirmware, EndsWhenTheConnectionIsLostAmongTheVersions)
{
    Build();
    vkt.Answers(kVersion);
    vkt.RefusesSession(CONNECTION_REFUSED);
    const Outcome outcome = Ask();
    EXPECT_EQ(outcome.result, VKT_INVENTORY_CONNECT_FAILED);
    EXPECT_EQ(outcome.fields, kFirmwareBefore);
    EXPECT_EQ(OwnLinesButTraffic(), (LogLines{{1, "connect failed with error:2"},
                                              {1, "Failed to send IPMI command with returns 2"}}));
}

TEST_F(DirectFirmware, EndsWhenTheConnectionIsLostAmongTheManufacturers)
{
    Build();
    vkt.Answers(kVersion, 2);
    vkt.RefusesSession(CONNECTION_FAILED);
    EXPECT_EQ(Ask().result, VKT_INVENTORY_CONNECT_FAILED);
    EXPECT_EQ(OwnLinesButTraffic(), (LogLines{{1, "connect failed with error:1"},
                                              {1, "Failed to send IPMI command with returns 2"}}));
}

TEST_F(DirectFirmware, EndsWithoutARecordOfItsOwnWhenTheConnectionIsLostAmongThePositions)
{
    Build();
    vkt.Answers(kVersion, 2);
    vkt.Answers(kManufacture, 2);
    vkt.RefusesSession(CONNECTION_FAILED);
    const Outcome outcome = Ask();
    EXPECT_EQ(outcome.result, VKT_INVENTORY_CONNECT_FAILED);
    EXPECT_EQ(outcome.fields, kFirmwareBefore);
    EXPECT_EQ(OwnLinesButTraffic(), (LogLines{{1, "connect failed with error:1"}}));
}

TEST_F(DirectFirmware, HasNoDataWithoutSlotsAndSendsNothing)
{
    BuildUnread();
    const Outcome outcome = Ask();
    EXPECT_EQ(outcome.result, VKT_INVENTORY_NO_DATA);
    EXPECT_EQ(outcome.fields, kFirmwareBefore);
    EXPECT_THAT(journal.Of({"client", "log"}), IsEmpty());
}

TEST_F(Direct, SizesPowerSupplyStatusesByTheSlotsEvenWhenTheAnswerIsShort)
{
    Build(VKT_TYPE_VKT2, kLargeEnclosure);
    vkt.Answers(Hex("00 00 00 00 00"));
    std::vector<PSUStatus> supplies;
    EXPECT_EQ(inventory->GetPSUStatus(supplies), VKT_INVENTORY_FAILED);
    EXPECT_EQ(supplies.size(), 9U);
    EXPECT_EQ(journal.Requests(), (Lines{"32 91"})) << "one request tells of all supplies";
}

}  // namespace
}  // namespace Tulvo::Tests
