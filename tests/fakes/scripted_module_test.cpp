// SPDX-License-Identifier: Apache-2.0
#include "tests/fakes/scripted_module.h"

#include <gmock/gmock.h>
#include <gtest/gtest-spi.h>
#include <gtest/gtest.h>

namespace Tulvo::Fakes {
namespace {

using End = IpmiExchange::End;

const IPMICOMMAND kRequest{0xA8, {0x01}, 0x32};

struct ScriptedModuleTest : testing::Test
{
    IpmiExchange Ask() { return module.Ask(kRequest, Resend::kFreely, limit); }

    StillPace pace;
    CallLimit limit{pace.now + std::chrono::seconds(10), {}};
    ScriptedModule module{pace};
};

TEST_F(ScriptedModuleTest, PlaysItsScriptAndThenGivesTheStandingAnswer)
{
    module.Open(limit);
    module.Give(kRequest, {0x07});
    module.Refuse(kRequest, 0xC0);
    module.StaySilent(kRequest);
    EXPECT_EQ(0xC0, Ask().completionCode);
    EXPECT_EQ(End::kSilent, Ask().end);
    EXPECT_THAT(Ask().data, testing::ElementsAre(0x07));
    module.Close(limit);
}

TEST_F(ScriptedModuleTest, LetsTimePassByWhatItDoes)
{
    module.Open(limit);
    module.answerTime = std::chrono::milliseconds(20);
    module.Give(kRequest, {});
    const auto before = pace.now;
    Ask();
    EXPECT_EQ(before + std::chrono::milliseconds(20), pace.now);
    module.Close(limit);
}

TEST_F(ScriptedModuleTest, DoesNotAnswerAfterTheLimit)
{
    module.Open(limit);
    module.Give(kRequest, {});
    module.answerTime = std::chrono::seconds(11);
    EXPECT_EQ(End::kSilent, Ask().end);
    EXPECT_EQ(limit.until, pace.now);
    module.Close({pace.now + std::chrono::seconds(1), {}});
}

TEST_F(ScriptedModuleTest, ForgetsTheRaisedPrivilegeWithTheSession)
{
    module.Open(limit);
    module.Give(kRequest, {});
    module.WantPrivilege(true);
    EXPECT_EQ(0xD4, Ask().completionCode);
    EXPECT_FALSE(module.RaisePrivilege(limit));
    EXPECT_EQ(0x00, Ask().completionCode);
    module.Open(limit);
    EXPECT_EQ(0xD4, Ask().completionCode);
    module.Close(limit);
}

TEST(ScriptedModule, FailsTheTestWhenItsScriptIsNotPlayed)
{
    EXPECT_NONFATAL_FAILURE(
        {
            StillPace pace;
            ScriptedModule module(pace);
            module.Refuse(kRequest, 0xC0);
        },
        "scripted and not played: 32 A8: 01");
}

TEST(ScriptedModule, FailsTheTestThatLeavesASession)
{
    EXPECT_NONFATAL_FAILURE(
        {
            StillPace pace;
            ScriptedModule module(pace);
            module.Open({pace.now + std::chrono::seconds(1), {}});
        },
        "a session was left open");
}

}  // namespace
}  // namespace Tulvo::Fakes
