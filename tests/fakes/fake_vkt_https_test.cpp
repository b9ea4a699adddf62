// SPDX-License-Identifier: Apache-2.0
#include "tests/fakes/fake_vkt_https.h"

#include <gmock/gmock.h>
#include <gtest/gtest-spi.h>

#include "tests/fakes/journal.h"

namespace Tulvo::Fakes {
namespace {

using ::testing::ElementsAre;

TEST(FakeVKTHttps, TellsOfTheWholeRecordTheRequestAndTheEnd)
{
    Journal journal;
    FakeVKTHttps service;
    service.Answers({0x2A});
    TulvoConnection::ConnectionInfo info;
    info.address = "host";
    info.userName = "user";
    info.password = "secret";
    info.port = 443;
    info.authentication = 1;
    std::vector<std::uint8_t> response;
    std::uint8_t completionCode = 0xFF;
    EXPECT_EQ(VKTHttps(info).SendIpmiCmdOverHttps({0xA8, {}, 0x32}, response, completionCode),
              VKT_HTTPS_SUCCESS);
    EXPECT_THAT(response, ElementsAre(0x2A));
    EXPECT_EQ(completionCode, 0);
    EXPECT_THAT(journal.Of({"https"}),
                ElementsAre("https 1 made for host user secret 443 0 0 0 0 0 1",
                            "https 1 send 32 A8", "https 1 destroyed"));
}

TEST(FakeVKTHttps, LeavesTheOutputsAloneOnFailure)
{
    FakeVKTHttps service;
    service.Fails(VKT_HTTPS_TIMEOUT);
    std::vector<std::uint8_t> response{9};
    std::uint8_t completionCode = 0x55;
    EXPECT_EQ(service.PlaySend(response, completionCode), VKT_HTTPS_TIMEOUT);
    EXPECT_THAT(response, ElementsAre(9));
    EXPECT_EQ(completionCode, 0x55);
}

TEST(FakeVKTHttps, FailsTheTestWhenMoreIsAskedThanScripted)
{
    FakeVKTHttps service;
    std::vector<std::uint8_t> response;
    std::uint8_t completionCode = 0;
    EXPECT_NONFATAL_FAILURE(service.PlaySend(response, completionCode),
                            "nothing scripted for SendIpmiCmdOverHttps()");
}

}  // namespace
}  // namespace Tulvo::Fakes
