// SPDX-License-Identifier: Apache-2.0
// The two operations that ask up to six times. What follows a try that was not carried differs by
// transport and stands in the tests of each.
#include "tests/vkt_inventory/backend.h"
#include "tests/vkt_inventory/fields.h"

namespace Tulvo::Tests {
namespace {

using namespace std::string_literals;

LogLines Tries(const std::string& announcement, int count)
{
    LogLines tries;
    for (int number = 1; number <= count; ++number) {
        tries.push_back(
            {3, announcement + std::to_string(number) + (number == 1 ? " time" : " times")});
    }
    return tries;
}

LogLines StatusTries(int count)
{
    return Tries("Try to get VKT status, retry ", count);
}

LogLines SelectTries(int count)
{
    return Tries("Try to get PSU status, start retry ", count);
}

const LogLine kStatusRead = {3, "Succeeded get VKT Status"};
const LogLine kSelected = {3, "Succeeded select PSU "};

class ModuleStatus : public EveryTransport
{
protected:
    Outcome Ask()
    {
        return OutcomeOf<VKTStatus>(
            [this](VKTStatus& status) { return inventory->GetVKTStatus(status); });
    }
};

INSTANTIATE_TEST_SUITE_P(Over, ModuleStatus, ::testing::Values(kDirect, kHttps), NameOf);

TEST_P(ModuleStatus, IsReadAtTheFirstTry)
{
    Build();
    Answers(kLargeEnclosure);
    const Outcome outcome = Ask();
    EXPECT_EQ(outcome.result, VKT_INVENTORY_SUCCESS);
    EXPECT_EQ(outcome.fields, (Fields{"253", "9"}));
    EXPECT_EQ(journal.Requests(), (Lines{"32 A8"}));
    EXPECT_EQ(OwnLinesButTraffic(), StatusTries(1) + LogLines{kStatusRead});
    EXPECT_EQ(sleep.milliseconds, 0U);
}

TEST_P(ModuleStatus, IsAskedForAgainAfterAPauseWhileItIsTooShortOrRefused)
{
    Build();
    Answers(kShortStatus);
    Refuses(0xC0, kLargeEnclosure);
    Answers(kLargeEnclosure);
    const Outcome outcome = Ask();
    EXPECT_EQ(outcome.result, VKT_INVENTORY_SUCCESS);
    EXPECT_EQ(outcome.fields, (Fields{"253", "9"}));
    EXPECT_EQ(journal.Of({"sleep"}), Lines(2, "sleep 3000"));
    EXPECT_EQ(log.Lines(3), (StatusTries(3) + LogLines{kStatusRead, {3, "VKT Type: 0xfd"}}));
}

TEST_P(ModuleStatus, HasNoDataAfterSixTriesAndPausesWhenTheModuleRefuses)
{
    Build();
    Refuses(0xC1, {}, 6);
    const Outcome outcome = Ask();
    EXPECT_EQ(outcome.result, VKT_INVENTORY_NO_DATA);
    EXPECT_EQ(outcome.fields, (Fields{"-77", "-77"}));
    EXPECT_EQ(journal.Of({"sleep"}), Lines(6, "sleep 3000"));
    EXPECT_EQ(log.Lines(2), (LogLines{{2, "response is empty or completeCode: \xC1"},
                                      {2, "VKT Type is 0x0use default value"}}));
}

TEST_P(ModuleStatus, IsWhatTheLastOfSixTriesSays)
{
    Build();
    Answers(kShortStatus, 5);
    Refuses(0xC1, Status(0xFC, 3));
    const Outcome outcome = Ask();
    EXPECT_EQ(outcome.result, VKT_INVENTORY_NO_DATA);
    EXPECT_EQ(outcome.fields, (Fields{"252", "9"}));
    EXPECT_EQ(journal.Of({"sleep"}), Lines(6, "sleep 3000"));
    EXPECT_EQ(log.Lines(3), StatusTries(6) + (LogLines{{3, "VKT Type: 0xfc"}}));
}

TEST_P(ModuleStatus, SucceedsAndLeavesTheRecordAloneWhenItStaysShort)
{
    Build();
    Answers(kShortStatus, 6);
    const Outcome outcome = Ask();
    EXPECT_EQ(outcome.result, VKT_INVENTORY_SUCCESS);
    EXPECT_EQ(outcome.fields, (Fields{"-77", "-77"}));
    EXPECT_EQ(sleep.milliseconds, 18000U);
}

TEST_P(ModuleStatus, ReadLaterChangesNeitherCountsNorPlatform)
{
    Build();
    Answers(kLargeEnclosure);
    EXPECT_EQ(Ask().fields, (Fields{"253", "9"}));
    EXPECT_EQ(inventory->GetNodeNub(), 4U);
    Answers({}, 3);
    ChassisPowerCon consumption;
    inventory->GetChassisPowerConsumption(consumption);
    std::vector<PSUFanSpeed> fans;
    inventory->GetPSUFanSpeed(fans);
    EXPECT_EQ(journal.Requests(), (Lines{"32 A8", "32 98 05", "32 A5 01", "32 A5 02"}));
}

using Selection = EveryTransport;
INSTANTIATE_TEST_SUITE_P(Over, Selection, ::testing::Values(kDirect, kHttps), NameOf);

TEST_P(Selection, SucceedsAtTheFirstTry)
{
    Build();
    Answers(kAccepted);
    EXPECT_EQ(inventory->SelectPSU(2), VKT_INVENTORY_SUCCESS);
    EXPECT_EQ(journal.Requests(), (Lines{"32 F4 00 02"}));
    EXPECT_EQ(OwnLinesButTraffic(), SelectTries(1) + LogLines{kSelected});
    EXPECT_EQ(OwnLines(), log.Lines());
}

TEST_P(Selection, SucceedsAtTheThirdTryAfterTwoPauses)
{
    Build();
    Refuses(0xC0, kAccepted);
    Answers({});
    Answers(kAccepted);
    EXPECT_EQ(inventory->SelectPSU(1), VKT_INVENTORY_SUCCESS);
    EXPECT_EQ(journal.Requests(), Lines(3, "32 F4 00 01"));
    EXPECT_EQ(journal.Of({"sleep"}), Lines(2, "sleep 3000"));
    EXPECT_EQ(log.Lines(3), SelectTries(3) + LogLines{kSelected});
}

/// What six tries meet that the module does not confirm.
struct UnconfirmedCase
{
    std::uint8_t completionCode;
    Bytes firstFive;
    std::uint8_t lastCompletionCode;
    Bytes last;
    VKTInventoryErrorCode result;
    LogLines warnings;
};

const std::vector<UnconfirmedCase> kUnconfirmed = {
    {0, Hex("00 00"), 0, Hex("00 00"), VKT_INVENTORY_SUCCESS, {}},
    {0xC1, {}, 0, Hex("00 00"), VKT_INVENTORY_SUCCESS, {}},
    {0x80,
     kAccepted,
     0x80,
     kAccepted,
     VKT_INVENTORY_NO_DATA,
     {{2, "response is empty or completionCode: \x80"}}},
    {0, {}, 0, {}, VKT_INVENTORY_NO_DATA, {{2, "response is empty or completionCode: \0"s}}},
};

TEST_P(Selection, IsWhatTheLastOfSixTriesSaysWhenTheModuleDoesNotConfirm)
{
    for (const UnconfirmedCase& row : kUnconfirmed) {
        Build();
        Refuses(row.completionCode, row.firstFive, 5);
        Refuses(row.lastCompletionCode, row.last);
        EXPECT_EQ(inventory->SelectPSU(1), row.result);
        EXPECT_EQ(journal.Of({"sleep"}), Lines(6, "sleep 3000"));
        EXPECT_EQ(log.Lines(3), SelectTries(6));
        EXPECT_EQ(log.Lines(2), row.warnings);
    }
}

/// A request of SelectPSU by generation and platform.
struct SelectCase
{
    VKTIype type;
    Bytes status;
    int psu;
    const char* request;
};

const std::vector<SelectCase> kSelections = {
    {VKT_TYPE_FIRST_GENERATION, kSmallEnclosure, 5, "32 F4 00 03"},
    {VKT_TYPE_FIRST_GENERATION, kLargeEnclosure, -1, "32 F4 00 FF"},
    {VKT_TYPE_VKT2, kSmallEnclosure, 5, "32 F4 00"},
    {VKT_TYPE_VKT2, kSmallEnclosure, 2, "32 F4 00 02"},
    {VKT_TYPE_VKT2, kLargeEnclosure, 5, "32 F4 00 05"},
    {VKT_TYPE_VKT2, kLargeEnclosure, 12, "32 F4 00"},
    {VKT_TYPE_VKT2, Status(0xFC, 3), 5, "32 F4 00 05"},
    {VKT_TYPE_VKT2, Status(0xFC, 3), 12, "32 F4 00"},
};

TEST_P(Selection, SendsWhatGenerationAndPlatformTake)
{
    for (const SelectCase& row : kSelections) {
        Build(row.type, row.status);
        Answers(kAccepted);
        EXPECT_EQ(inventory->SelectPSU(row.psu), VKT_INVENTORY_SUCCESS);
        EXPECT_EQ(journal.Requests(), (Lines{row.request}));
    }
}

}  // namespace
}  // namespace Tulvo::Tests
