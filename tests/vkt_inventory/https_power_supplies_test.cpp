// SPDX-License-Identifier: Apache-2.0
// Power supplies over HTTPS: loops over slots, and what they do when one of them fails.
#include "tests/vkt_inventory/backend.h"
#include "tests/vkt_inventory/fields.h"

namespace Tulvo::Tests {
namespace {

using ::testing::IsEmpty;

const Bytes kFans = Hex("10 27 05 01");
const Fields kFansOf1 = {"PSU1", "10000", "5", "", "", "Abnormal"};
const Fields kFansOf2 = {"PSU2", "10000", "5", "", "", "Abnormal"};
const Fields kFanSpeedBefore = Untouched(6);

class HttpsFanSpeed : public Https
{
protected:
    Outcome Ask()
    {
        return OutcomeOf<std::vector<PSUFanSpeed>>(
            [this](auto& fans) { return inventory->GetPSUFanSpeed(fans); });
    }
};

TEST_F(HttpsFanSpeed, AsksEverySlotAndAppends)
{
    Build();
    service.Answers(kFans, 2);
    const Outcome outcome = Ask();
    EXPECT_EQ(outcome.result, VKT_INVENTORY_SUCCESS);
    EXPECT_EQ(outcome.fields, kFanSpeedBefore + kFansOf1 + kFansOf2);
    EXPECT_EQ(journal.Of({"https", "sleep"}),
              (Lines{"https 1 send 32 A5 01", "https 1 send 32 A5 02"}));
}

TEST_F(HttpsFanSpeed, AsksNineSlotsOfALargeEnclosure)
{
    Build(VKT_TYPE_VKT2, kLargeEnclosure);
    service.Answers(Hex("00 E8 03 02 00 00 00 02"), 9);
    EXPECT_EQ(Ask().result, VKT_INVENTORY_SUCCESS);
    EXPECT_EQ(journal.Requests().size(), 9U);
    EXPECT_EQ(journal.Requests().back(), "32 A5 09");
}

TEST_F(HttpsFanSpeed, HidesTheFailureOfALowerSlot)
{
    Build();
    service.Refuses(0xC1);
    service.Answers(kFans);
    const Outcome outcome = Ask();
    EXPECT_EQ(outcome.result, VKT_INVENTORY_SUCCESS);
    EXPECT_EQ(outcome.fields, kFanSpeedBefore + kFansOf2);
}

TEST_F(HttpsFanSpeed, ReportsTheFailureOfTheLastSlotAndKeepsTheOthers)
{
    Build();
    service.Answers(kFans);
    service.Refuses(0xC1);
    const Outcome outcome = Ask();
    EXPECT_EQ(outcome.result, VKT_INVENTORY_FAILED);
    EXPECT_EQ(outcome.fields, kFanSpeedBefore + kFansOf1);
}

TEST_F(HttpsFanSpeed, KeepsEarlierSlotsWhenAnExchangeFails)
{
    Build();
    service.Answers(kFans);
    service.Fails(VKT_HTTPS_TIMEOUT);
    const Outcome outcome = Ask();
    EXPECT_EQ(outcome.result, VKT_INVENTORY_TRANSPORT_ERROR);
    EXPECT_EQ(outcome.fields, kFanSpeedBefore + kFansOf1);
    EXPECT_EQ(OwnLines(),
              (LogLines{{1, "Failed to get the vkt PSU fan speed through https, ret = 3"}}));
}

TEST_F(HttpsFanSpeed, SucceedsWithoutSlotsAndSendsNothing)
{
    BuildUnread();
    const Outcome outcome = Ask();
    EXPECT_EQ(outcome.result, VKT_INVENTORY_SUCCESS);
    EXPECT_EQ(outcome.fields, kFanSpeedBefore);
    EXPECT_THAT(journal.Of({"https", "log"}), IsEmpty());
}

const Bytes kVersion = Hex("03 01");
const Bytes kManufacture = Hex("04") + Chars("ACME");
const Bytes kPosition = Hex("01 0A");
const Fields kFirmwareOf1 = {"PSU1", "PSUACME10a", "1.03", "1", "Power Supply 1"};
const Fields kFirmwareOf2 = {"PSU2", "PSUACME10a", "1.03", "2", "Power Supply 2"};
const Fields kFirmwareBefore = Untouched(5);

class HttpsFirmware : public Https
{
protected:
    Outcome Ask()
    {
        return OutcomeOf<std::vector<PSUFwInfo>>(
            [this](auto& firmware) { return inventory->GetPSUFwInfo(firmware); });
    }
};

TEST_F(HttpsFirmware, ReadsVersionsThenManufacturersThenPositions)
{
    Build();
    service.Answers(kVersion, 2);
    service.Answers(kManufacture, 2);
    service.Answers(kPosition, 2);
    const Outcome outcome = Ask();
    EXPECT_EQ(outcome.result, VKT_INVENTORY_SUCCESS);
    EXPECT_EQ(outcome.fields, kFirmwareBefore + kFirmwareOf1 + kFirmwareOf2);
    EXPECT_EQ(journal.Requests(),
              (Lines{"06 52 0F D0 02 FC", "06 52 0D D0 02 FC", "06 52 0F D0 05 99",
                     "06 52 0D D0 05 99", "06 52 0F D0 20 F0", "06 52 0D D0 20 F0"}));
    EXPECT_EQ(OwnLines(), (LogLines{{4, "Power Supply 1 PSU1 1 1.03 PSUACME10a"},
                                    {4, "Power Supply 2 PSU2 2 1.03 PSUACME10a"}}));
}

TEST_F(HttpsFirmware, ReadsTheRegistersOfAVkt2ByItsOwnCommand)
{
    Build(VKT_TYPE_VKT2);
    service.Answers(kVersion, 2);
    service.Answers(Chars("ACMEX"), 2);
    service.Answers(kPosition, 2);
    EXPECT_EQ(Ask().fields, kFirmwareBefore + kFirmwareOf1 + kFirmwareOf2);
    EXPECT_EQ(journal.Requests(), (Lines{"32 92 01 02 FC", "32 92 02 02 FC", "32 92 01 05 99",
                                         "32 92 02 05 99", "32 92 01 20 F0", "32 92 02 20 F0"}));
}

TEST_F(HttpsFirmware, DropsASlotWhoseVersionFailsEvenTheLast)
{
    Build();
    service.Answers(kVersion);
    service.Refuses(0xC1);
    service.Answers(kManufacture, 2);
    service.Answers(kPosition, 2);
    const Outcome outcome = Ask();
    EXPECT_EQ(outcome.result, VKT_INVENTORY_SUCCESS);
    EXPECT_EQ(outcome.fields, kFirmwareBefore + kFirmwareOf1);
    EXPECT_EQ(OwnLines(), (LogLines{{4, "Power Supply 1 PSU1 1 1.03 PSUACME10a"},
                                    {4, "PSU slot 2 has no PSU module."}}));
}

TEST_F(HttpsFirmware, DropsALowerSlotWhosePositionFails)
{
    Build();
    service.Answers(kVersion, 2);
    service.Answers(kManufacture, 2);
    service.Answers(Hex("01"));
    service.Answers(kPosition);
    const Outcome outcome = Ask();
    EXPECT_EQ(outcome.result, VKT_INVENTORY_SUCCESS);
    EXPECT_EQ(outcome.fields, kFirmwareBefore + kFirmwareOf2);
    EXPECT_EQ(OwnLines(), (LogLines{{4, "PSU slot 1 has no PSU module."},
                                    {4, "Power Supply 2 PSU2 2 1.03 PSUACME10a"}}));
}

TEST_F(HttpsFirmware, FailsWhenThePositionOfTheLastSlotFails)
{
    Build();
    service.Answers(kVersion, 2);
    service.Answers(kManufacture, 2);
    service.Answers(kPosition);
    service.Refuses(0xC1);
    const Outcome outcome = Ask();
    EXPECT_EQ(outcome.result, VKT_INVENTORY_FAILED);
    EXPECT_EQ(outcome.fields, kFirmwareBefore);
}

/// How many exchanges go well before one fails.
struct LostCase
{
    int goodVersions;
    int goodManufacturers;
    const char* record;
};

TEST_F(HttpsFirmware, EndsWhenAnExchangeFails)
{
    for (const LostCase& row : std::vector<LostCase>{
             {1, 0, "Failed to get the vkt PSU version through https, ret = 6"},
             {2, 1, "Failed to get the vkt PSUManufacture through https, ret = 6"},
             {2, 2, "Failed to get the vkt PSU position through https, ret = 6"}}) {
        Build();
        service.Answers(kVersion, row.goodVersions);
        service.Answers(kManufacture, row.goodManufacturers);
        service.Fails(VKT_HTTPS_CONNECT_FAILED);
        const Outcome outcome = Ask();
        EXPECT_EQ(outcome.result, VKT_INVENTORY_CONNECT_FAILED);
        EXPECT_EQ(outcome.fields, kFirmwareBefore);
        EXPECT_EQ(OwnLines(), (LogLines{{1, row.record}}));
    }
}

TEST_F(HttpsFirmware, HasNoDataWithoutSlotsAndSendsNothing)
{
    BuildUnread();
    const Outcome outcome = Ask();
    EXPECT_EQ(outcome.result, VKT_INVENTORY_NO_DATA);
    EXPECT_EQ(outcome.fields, kFirmwareBefore);
    EXPECT_THAT(journal.Of({"https", "log"}), IsEmpty());
}

}  // namespace
}  // namespace Tulvo::Tests
