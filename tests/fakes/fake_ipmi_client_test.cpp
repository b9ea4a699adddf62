// SPDX-License-Identifier: Apache-2.0
#include "tests/fakes/fake_ipmi_client.h"

#include <gmock/gmock.h>
#include <gtest/gtest-spi.h>

#include "tests/fakes/journal.h"

namespace Tulvo::Fakes {
namespace {

using ::testing::ElementsAre;

const IPMICOMMAND kRequest{0xB0, {0x05, 0x0B}, 0x32};

TEST(FakeIpmiClient, KeepsTheOrderOfAllThatItsClientsDo)
{
    Journal journal;
    FakeIpmiClient vkt;
    vkt.RefusesSession(CONNECTION_TRY_AGAIN);
    vkt.Refuses(0xC1, {0x07});
    std::vector<std::uint8_t> response;
    std::uint8_t completionCode = 0;
    {
        IpmiClient first("host", "user", "secret", "623", 3);
        EXPECT_EQ(first.connect(), CONNECTION_TRY_AGAIN);
        IpmiClient second("host", "user", "secret", "624", 17);
        EXPECT_EQ(second.connect(), CONNECTION_CONNECTED);
        EXPECT_EQ(second.send(kRequest, response, completionCode), 0);
        second.disconnect();
    }
    EXPECT_THAT(response, ElementsAre(0x07));
    EXPECT_EQ(completionCode, 0xC1);
    EXPECT_THAT(journal.Of({"client"}),
                ElementsAre("client 1 made for host user secret 623 3", "client 1 connect",
                            "client 2 made for host user secret 624 17", "client 2 connect",
                            "client 2 send 32 B0 05 0B", "client 2 disconnect",
                            "client 2 destroyed", "client 1 destroyed"));
}

TEST(FakeIpmiClient, FailsTheTestWhenMoreIsAskedThanScripted)
{
    FakeIpmiClient vkt;
    EXPECT_NONFATAL_FAILURE(vkt.PlayConnect(), "nothing scripted for connect()");
    EXPECT_NONFATAL_FAILURE(vkt.PlaySend(), "nothing scripted for send()");
}

TEST(FakeIpmiClient, FailsTheTestWhenAStepIsNotPlayed)
{
    const auto leaveAnAnswer = [] { FakeIpmiClient().Drops(2); };
    EXPECT_NONFATAL_FAILURE(leaveAnAnswer(), "2 scripted steps unplayed");
}

TEST(FakeIpmiClient, FailsTheTestWhenARequestComesInsteadOfAnAttemptToConnect)
{
    FakeIpmiClient vkt;
    vkt.RefusesSession(CONNECTION_REFUSED);
    EXPECT_NONFATAL_FAILURE(vkt.PlaySend(), "send() where an attempt to connect is scripted");
}

TEST(FakeIpmiClient, CutsAnAnswer)
{
    FakeIpmiClient vkt;
    vkt.Truncates({1, 2, 3}, 2);
    EXPECT_THAT(vkt.PlaySend().response, ElementsAre(1, 2));
}

TEST(FakeIpmiClient, ReportsADroppedRequestAsTheClientDoes)
{
    FakeIpmiClient vkt;
    vkt.Drops();
    const FakeIpmiClient::Step step = vkt.PlaySend();
    EXPECT_LT(step.sendResult, 0);
    EXPECT_EQ(step.completionCode, 0xFF);
    EXPECT_TRUE(step.response.empty());
}

}  // namespace
}  // namespace Tulvo::Fakes
