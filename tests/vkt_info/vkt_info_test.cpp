// SPDX-License-Identifier: Apache-2.0
#include "module/vkt/vkt_info/vkt_info.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdint>
#include <initializer_list>
#include <string>
#include <vector>

#include "common/connection/connection_info.h"
#include "tests/fakes/fake_config.h"
#include "tests/fakes/fake_ipmi_client.h"
#include "tests/fakes/fake_vkt_https.h"
#include "tests/fakes/journal.h"

namespace Tulvo {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

// No generation: shows that a failure leaves the caller's value alone.
constexpr auto kUntouched = static_cast<VKTIype>(77);

struct Outcome
{
    VKTInfoErrorCode result;
    VKTIype type = kUntouched;
};

class VKTInfoTest : public ::testing::Test
{
protected:
    Outcome AskOverIpmi()
    {
        IpmiClient client("10.0.0.1", "admin", "secret", "623", 3);
        return Ask(VKTInfo(static_cast<IpmiClientInterface*>(&client)));
    }

    Outcome AskOverHttps()
    {
        VKTHttps transport{TulvoConnection::ConnectionInfo{}};
        return Ask(VKTInfo(&transport));
    }

    static Outcome Ask(VKTInfo info)
    {
        Outcome outcome{};
        outcome.result = info.GetVktType(outcome.type);
        return outcome;
    }

    std::vector<std::string> Requests() const
    {
        std::vector<std::string> lines = journal.Of({"client", "https"});
        std::erase_if(lines, [](const std::string& line) {
            return line.find("made for") != std::string::npos ||
                   line.find("destroyed") != std::string::npos;
        });
        return lines;
    }

    Fakes::Journal journal;
    Fakes::FakeConfig config;
    Fakes::FakeIpmiClient ipmi;
    Fakes::FakeVKTHttps https;
};

TEST_F(VKTInfoTest, TheFirstByteTellsTheGeneration)
{
    for (int platform = 0; platform <= 0xFF; ++platform) {
        SCOPED_TRACE(platform);
        const std::vector<std::uint8_t> answer{static_cast<std::uint8_t>(platform)};
        const VKTIype expected = platform == 0xFC || platform == 0xFD || platform == 0xFE
                                     ? VKT_TYPE_VKT2
                                     : VKT_TYPE_FIRST_GENERATION;
        ipmi.Answers(answer);
        const Outcome overIpmi = AskOverIpmi();
        EXPECT_EQ(overIpmi.result, VKT_INFO_SUCCESS);
        EXPECT_EQ(overIpmi.type, expected);
        https.Answers(answer);
        const Outcome overHttps = AskOverHttps();
        EXPECT_EQ(overHttps.result, VKT_INFO_SUCCESS);
        EXPECT_EQ(overHttps.type, expected);
    }
}

TEST_F(VKTInfoTest, TheOtherBytesDoNotMatter)
{
    ipmi.Answers({0x05, 0xFE, 0xFE, 0xFE});
    EXPECT_EQ(AskOverIpmi().type, VKT_TYPE_FIRST_GENERATION);
    ipmi.Answers({0xFE, 0x05});
    EXPECT_EQ(AskOverIpmi().type, VKT_TYPE_VKT2);
}

TEST_F(VKTInfoTest, OverIpmiItConnectsAsksAndDisconnects)
{
    ipmi.Answers({0xFE});
    AskOverIpmi();
    EXPECT_THAT(Requests(),
                ElementsAre("client 1 connect", "client 1 send 32 A8", "client 1 disconnect"));
}

TEST_F(VKTInfoTest, OverHttpsItAsksOnce)
{
    https.Answers({0xFE});
    AskOverHttps();
    EXPECT_THAT(Requests(), ElementsAre("https 1 send 32 A8"));
}

TEST_F(VKTInfoTest, WithoutASessionThereIsNoSecondAttempt)
{
    for (const CONNECTIONSTATE state :
         {CONNECTION_FAILED, CONNECTION_REFUSED, CONNECTION_TRY_AGAIN}) {
        journal.Clear();
        ipmi.RefusesSession(state);
        const Outcome outcome = AskOverIpmi();
        EXPECT_EQ(outcome.result, VKT_INFO_TRANSPORT_ERROR);
        EXPECT_EQ(outcome.type, kUntouched);
        EXPECT_EQ(Requests().size(), 1U) << state;
    }
}

TEST_F(VKTInfoTest, AnUnansweredRequestIsATransportErrorAndEndsTheSession)
{
    ipmi.Drops();
    const Outcome outcome = AskOverIpmi();
    EXPECT_EQ(outcome.result, VKT_INFO_TRANSPORT_ERROR);
    EXPECT_EQ(outcome.type, kUntouched);
    EXPECT_THAT(Requests(),
                ElementsAre("client 1 connect", "client 1 send 32 A8", "client 1 disconnect"));
}

TEST_F(VKTInfoTest, EveryFailureOverHttpsIsATransportError)
{
    for (std::int32_t failure = VKT_HTTPS_TLS_ERROR; failure <= VKT_HTTPS_NO_DATA; ++failure) {
        https.Fails(failure);
        const Outcome outcome = AskOverHttps();
        EXPECT_EQ(outcome.result, VKT_INFO_TRANSPORT_ERROR) << failure;
        EXPECT_EQ(outcome.type, kUntouched);
    }
}

TEST_F(VKTInfoTest, ACompletionCodeOtherThanZeroIsNoData)
{
    for (const std::uint8_t code : std::vector<std::uint8_t>{0x01, 0xC1, 0xFF}) {
        ipmi.Refuses(code, {0xFE});
        EXPECT_EQ(AskOverIpmi().result, VKT_INFO_NO_DATA);
        https.Refuses(code, {0xFE});
        const Outcome outcome = AskOverHttps();
        EXPECT_EQ(outcome.result, VKT_INFO_NO_DATA);
        EXPECT_EQ(outcome.type, kUntouched);
    }
}

TEST_F(VKTInfoTest, AnEmptyAnswerIsNoData)
{
    ipmi.Answers({});
    EXPECT_EQ(AskOverIpmi().result, VKT_INFO_NO_DATA);
    https.Answers({});
    const Outcome outcome = AskOverHttps();
    EXPECT_EQ(outcome.result, VKT_INFO_NO_DATA);
    EXPECT_EQ(outcome.type, kUntouched);
}

TEST_F(VKTInfoTest, NoTransportIsATransportError)
{
    const Outcome overIpmi = Ask(VKTInfo(static_cast<IpmiClientInterface*>(nullptr)));
    EXPECT_EQ(overIpmi.result, VKT_INFO_TRANSPORT_ERROR);
    EXPECT_EQ(overIpmi.type, kUntouched);
    const Outcome overHttps = Ask(VKTInfo(static_cast<VKTHttps*>(nullptr)));
    EXPECT_EQ(overHttps.result, VKT_INFO_TRANSPORT_ERROR);
    EXPECT_EQ(overHttps.type, kUntouched);
}

TEST_F(VKTInfoTest, TheConfiguredTypeDecidesWithoutAsking)
{
    for (const int type : {0, 1, 2}) {
        config.values["MODULE_TYPE"] = type;
        const Outcome overIpmi = AskOverIpmi();
        EXPECT_EQ(overIpmi.result, VKT_INFO_SUCCESS);
        EXPECT_EQ(overIpmi.type, type);
        EXPECT_EQ(AskOverHttps().type, type);
        EXPECT_EQ(Ask(VKTInfo(static_cast<VKTHttps*>(nullptr))).type, type);
    }
    EXPECT_THAT(Requests(), IsEmpty());
}

TEST_F(VKTInfoTest, AnyOtherConfiguredValueIsAsIfItWereNotSet)
{
    for (const int value : {-1, 3, 1000, -2147483647}) {
        config.values["MODULE_TYPE"] = value;
        ipmi.Answers({0xFC});
        EXPECT_EQ(AskOverIpmi().type, VKT_TYPE_VKT2) << value;
    }
}

}  // namespace
}  // namespace Tulvo
