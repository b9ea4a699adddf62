// SPDX-License-Identifier: Apache-2.0
// The two operations that ask again over HTTPS. A failed exchange costs no pause here: the
// transport has waited long enough.
#include "tests/vkt_inventory/backend.h"
#include "tests/vkt_inventory/fields.h"

namespace Tulvo::Tests {
namespace {

using ::testing::IsEmpty;
using ::testing::StartsWith;

const char* const kLostStatus = "Failed to get the vkt NodePowerConsumption through https, ret = 6";

class HttpsStatus : public Https
{
protected:
    Outcome Ask()
    {
        return OutcomeOf<VKTStatus>(
            [this](VKTStatus& status) { return inventory->GetVKTStatus(status); });
    }
};

TEST_F(HttpsStatus, IsAskedForAgainWithAPauseUnlessTheExchangeFailed)
{
    Build();
    service.Answers(kShortStatus);
    service.Fails(VKT_HTTPS_CONNECT_FAILED);
    service.Refuses(0xC0, kLargeEnclosure);
    service.Answers(kLargeEnclosure);
    const Outcome outcome = Ask();
    EXPECT_EQ(outcome.result, VKT_INVENTORY_SUCCESS);
    EXPECT_EQ(outcome.fields, (Fields{"253", "9"}));
    EXPECT_EQ(journal.Of({"https", "sleep", "log"}),
              (Lines{"log 3 Try to get VKT status, retry 1 time",   //
                     "https 1 send 32 A8",                          //
                     "sleep 3000",                                  //
                     "log 3 Try to get VKT status, retry 2 times",  //
                     "https 1 send 32 A8",                          //
                     std::string("log 1 ") + kLostStatus,           //
                     "log 3 Try to get VKT status, retry 3 times",  //
                     "https 1 send 32 A8",                          //
                     "sleep 3000",                                  //
                     "log 3 Try to get VKT status, retry 4 times",  //
                     "https 1 send 32 A8",                          //
                     "log 3 Succeeded get VKT Status",              //
                     "log 4 Entering  Tulvo::VKTInventoryParseResponse::ParseVKTStatusImp",
                     "log 3 VKT Type: 0xfd"}));
}

TEST_F(HttpsStatus, HasNoDataAfterSixTriesWithoutAPauseWhenTheModuleIsUnreachable)
{
    Build();
    service.Fails(VKT_HTTPS_CONNECT_FAILED, 6);
    const Outcome outcome = Ask();
    EXPECT_EQ(outcome.result, VKT_INVENTORY_NO_DATA);
    EXPECT_EQ(outcome.fields, (Fields{"-77", "-77"}));
    EXPECT_EQ(journal.Requests(), Lines(6, "32 A8"));
    EXPECT_THAT(journal.Of({"sleep"}), IsEmpty());
    EXPECT_EQ(log.Lines(1), LogLines(6, {1, kLostStatus}));
    ASSERT_EQ(log.Lines(2).size(), 2U);
    EXPECT_THAT(log.Lines(2)[0].text, StartsWith("response is empty or completeCode: "));
    EXPECT_EQ(log.Lines(2)[1].text, "VKT Type is 0x0use default value");
}

TEST_F(HttpsStatus, IsWhatTheLastAnswerSaidWhenLaterExchangesFail)
{
    Build();
    service.Refuses(0xC1, Status(0xFC, 3));
    service.Fails(VKT_HTTPS_TIMEOUT, 5);
    const Outcome outcome = Ask();
    EXPECT_EQ(outcome.result, VKT_INVENTORY_NO_DATA);
    EXPECT_EQ(outcome.fields, (Fields{"252", "9"}));
    EXPECT_EQ(sleep.milliseconds, 3000U);
}

const char* const kLostSelect = "Failed to get the vkt SelectPSUImpl through https, ret = 3";

using HttpsSelectPSU = Https;

TEST_F(HttpsSelectPSU, IsTriedAgainWithAPauseUnlessTheExchangeFailed)
{
    Build();
    service.Refuses(0xC0, kAccepted);
    service.Fails(VKT_HTTPS_TIMEOUT);
    service.Answers(kAccepted);
    EXPECT_EQ(inventory->SelectPSU(2), VKT_INVENTORY_SUCCESS);
    EXPECT_EQ(journal.Of({"https", "sleep", "log"}),
              (Lines{"log 3 Try to get PSU status, start retry 1 time",   //
                     "https 1 send 32 F4 00 02",                          //
                     "sleep 3000",                                        //
                     "log 3 Try to get PSU status, start retry 2 times",  //
                     "https 1 send 32 F4 00 02",                          //
                     std::string("log 1 ") + kLostSelect,                 //
                     "log 3 Try to get PSU status, start retry 3 times",  //
                     "https 1 send 32 F4 00 02",                          //
                     "log 3 Succeeded select PSU "}));
}

TEST_F(HttpsSelectPSU, HasNoDataAfterSixTriesWithoutAPauseWhenTheModuleIsUnreachable)
{
    Build();
    service.Fails(VKT_HTTPS_TIMEOUT, 6);
    EXPECT_EQ(inventory->SelectPSU(1), VKT_INVENTORY_NO_DATA);
    EXPECT_THAT(journal.Of({"sleep"}), IsEmpty());
    EXPECT_EQ(log.Lines(1), LogLines(6, {1, kLostSelect}));
    ASSERT_EQ(log.Lines(2).size(), 1U);
    EXPECT_THAT(log.Lines(2)[0].text, StartsWith("response is empty or completionCode: "));
}

TEST_F(HttpsSelectPSU, SucceedsWhenALongAnswerIsFollowedByFailedExchanges)
{
    Build();
    service.Answers(Hex("00 00"));
    service.Fails(VKT_HTTPS_TIMEOUT, 5);
    EXPECT_EQ(inventory->SelectPSU(1), VKT_INVENTORY_SUCCESS);
    EXPECT_EQ(sleep.milliseconds, 3000U);
}

}  // namespace
}  // namespace Tulvo::Tests
