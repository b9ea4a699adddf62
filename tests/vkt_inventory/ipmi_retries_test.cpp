// SPDX-License-Identifier: Apache-2.0
// The two operations that ask again over RMCP+: a pause follows every try, carried or not.
#include "tests/vkt_inventory/backend.h"
#include "tests/vkt_inventory/fields.h"

namespace Tulvo::Tests {
namespace {

using namespace std::string_literals;

const LogLines kStatusTries = {
    {3, "Try to get VKT status, retry 1 time"},  {3, "Try to get VKT status, retry 2 times"},
    {3, "Try to get VKT status, retry 3 times"}, {3, "Try to get VKT status, retry 4 times"},
    {3, "Try to get VKT status, retry 5 times"}, {3, "Try to get VKT status, retry 6 times"},
};
const LogLine kStatusRead = {3, "Succeeded get VKT Status"};

LogLines First(const LogLines& lines, std::ptrdiff_t count)
{
    return {lines.begin(), lines.begin() + count};
}

class DirectStatus : public Direct
{
protected:
    Outcome Ask()
    {
        return OutcomeOf<VKTStatus>(
            [this](VKTStatus& status) { return inventory->GetVKTStatus(status); });
    }
};

TEST_F(DirectStatus, IsReadAtTheFirstTry)
{
    Build();
    vkt.Answers(kLargeEnclosure);
    const Outcome outcome = Ask();
    EXPECT_EQ(outcome.result, VKT_INVENTORY_SUCCESS);
    EXPECT_EQ(outcome.fields, (Fields{"253", "9"}));
    EXPECT_EQ(journal.Of({"client", "sleep"}), Exchange(3, "32 A8"));
    EXPECT_EQ(log.LinesOf("ipmi_impl"),
              (LogLines{kStatusTries[0],
                        {4, "Send impi cmd suceess: FN=0x32 cmd=0xa8 data="},
                        {4, "Response=\xFD \0 \0 \0 \0 \0 \0 \0 \0 \0 \0 \0 \0 \x03 "s},
                        {4, "Response=0xfd 0x0 0x0 0x0 0x0 0x0 0x0 0x0 0x0 0x0 0x0 0x0 0x0 0x3 "},
                        kStatusRead}));
}

TEST_F(DirectStatus, IsAskedForAgainAfterAPauseWhileItIsTooShortRefusedOrUnreachable)
{
    Build();
    vkt.Answers(kShortStatus);
    vkt.Refuses(0xC0, kLargeEnclosure);
    vkt.RefusesSession(CONNECTION_REFUSED);
    vkt.Drops();
    vkt.Answers(kLargeEnclosure);
    const Outcome outcome = Ask();
    EXPECT_EQ(outcome.result, VKT_INVENTORY_SUCCESS);
    EXPECT_EQ(outcome.fields, (Fields{"253", "9"}));
    const Lines pause = {"sleep 3000"};
    EXPECT_EQ(journal.Of({"client", "sleep"}),
              Exchange(3, "32 A8") + pause + Exchange(4, "32 A8") + pause + FutileAttempts(5, 1) +
                  pause + Exchange(6, "32 A8") + pause + Exchange(7, "32 A8"));
    EXPECT_EQ(log.Lines(3),
              (First(kStatusTries, 5) + LogLines{kStatusRead, {3, "VKT Type: 0xfd"}}));
    EXPECT_EQ(log.Lines(1), (LogLines{{1, "connect failed with error:2"}}));
}

TEST_F(DirectStatus, HasNoDataAfterSixTriesAndPausesWhenTheModuleIsUnreachable)
{
    Build();
    vkt.RefusesSession(CONNECTION_FAILED, 6);
    const Outcome outcome = Ask();
    EXPECT_EQ(outcome.result, VKT_INVENTORY_NO_DATA);
    EXPECT_EQ(outcome.fields, (Fields{"-77", "-77"}));
    EXPECT_EQ(journal.Of({"sleep"}), Lines(6, "sleep 3000"));
    EXPECT_EQ(journal.Of({"sleep", "log"}).back(), "log 2 VKT Type is 0x0use default value");
    const LogLine lost = {1, "connect failed with error:1"};
    EXPECT_EQ(OwnLines(),
              (LogLines{kStatusTries[0], lost, kStatusTries[1], lost, kStatusTries[2], lost,
                        kStatusTries[3], lost, kStatusTries[4], lost, kStatusTries[5], lost}));
    EXPECT_EQ(log.LinesOf("parse_response"),
              Entered("ParseVKTStatusImp", {{2, "response is empty or completeCode: \xFF"},
                                            {2, "VKT Type is 0x0use default value"}}));
}

const LogLines kSelectTries = {
    {3, "Try to get PSU status, start retry 1 time"},
    {3, "Try to get PSU status, start retry 2 times"},
    {3, "Try to get PSU status, start retry 3 times"},
    {3, "Try to get PSU status, start retry 4 times"},
    {3, "Try to get PSU status, start retry 5 times"},
    {3, "Try to get PSU status, start retry 6 times"},
};
const LogLine kSelected = {3, "Succeeded select PSU "};

using DirectSelectPSU = Direct;

TEST_F(DirectSelectPSU, SucceedsAtTheFirstTry)
{
    Build();
    vkt.Answers(kAccepted);
    EXPECT_EQ(inventory->SelectPSU(2), VKT_INVENTORY_SUCCESS);
    EXPECT_EQ(journal.Of({"client", "sleep"}), Exchange(3, "32 F4 00 02"));
    EXPECT_EQ(log.Lines(), (LogLines{kSelectTries[0],
                                     {4, "Send impi cmd suceess: FN=0x32 cmd=0xf4 data=0x0 0x2 "},
                                     {4, "Response=\0 "s},
                                     {4, "Response=0x0 "},
                                     kSelected}));
    EXPECT_EQ(OwnLines(), log.Lines());
}

TEST_F(DirectSelectPSU, HasNoDataAfterSixTriesAndPausesWhenTheModuleIsUnreachable)
{
    Build();
    vkt.RefusesSession(CONNECTION_FAILED, 6);
    EXPECT_EQ(inventory->SelectPSU(1), VKT_INVENTORY_NO_DATA);
    EXPECT_EQ(journal.Of({"sleep"}), Lines(6, "sleep 3000"));
    LogLines expected;
    for (const LogLine& attempt : kSelectTries) {
        expected =
            expected +
            LogLines{attempt, {1, "connect failed with error:1"}, {1, "SendIpmiCmd failed "}};
    }
    EXPECT_EQ(log.Lines(), (expected + LogLines{{2, "response is empty or completionCode: \xFF"}}));
}

}  // namespace
}  // namespace Tulvo::Tests
