// SPDX-License-Identifier: Apache-2.0
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "module/vkt/vkt_enclosure/impl/plan.h"
#include "tests/vkt_enclosure/paper_enclosure.h"

namespace Tulvo::Enclosures {
namespace {

using testing::SizeIs;

class SelectTest : public testing::Test
{
protected:
    static IPMICOMMAND Selecting(std::uint8_t number) { return {0xF4, {0x00, number}, 0x32}; }

    Selection Select(std::uint8_t number)
    {
        PaperEnclosures().back().Teach(module);
        return SelectOver(module, pace, number, {});
    }

    StillPace pace;
    ScriptedModule module{pace};
};

TEST_F(SelectTest, AsksTheModuleAndIsConfirmed)
{
    module.Answer(Selecting(9), {9});
    const Selection selection = Select(9);
    EXPECT_FALSE(selection.failure);
    EXPECT_EQ(9, *selection.powerSupplyCount.Get());
    EXPECT_EQ(1, module.closed);
}

TEST_F(SelectTest, RefusesASupplyThatTheEnclosureDoesNotHave)
{
    for (const std::uint8_t number : Bytes{0, 10, 255}) {
        const Selection selection = Select(number);
        ASSERT_TRUE(selection.failure);
        EXPECT_EQ(Cause::kLocal, selection.failure->cause);
        EXPECT_EQ("there is no PSU" + std::to_string(number) +
                      ": the enclosure has 9 slots for power supplies",
                  selection.failure->message);
    }
    EXPECT_THAT(module.asked, SizeIs(3));  // its status, each time
}

TEST_F(SelectTest, IsNotConfirmedByAnotherLength)
{
    for (const Bytes& answer : {Bytes{}, Bytes{1, 2}}) {
        module.Answer(Selecting(1), answer);
        const Selection selection = Select(1);
        ASSERT_TRUE(selection.failure);
        EXPECT_EQ(Cause::kMalformedAnswer, selection.failure->cause);
    }
}

TEST_F(SelectTest, TellsThatTheModuleRefuses)
{
    module.Refuse(Selecting(1), 0xCB);
    const Selection selection = Select(1);
    ASSERT_TRUE(selection.failure);
    EXPECT_EQ(0xCB, selection.failure->completionCode);
}

TEST_F(SelectTest, IsNotSentAgainInANewSession)
{
    module.LoseSession(Selecting(1));
    const Selection selection = Select(1);
    ASSERT_TRUE(selection.failure);
    EXPECT_EQ(Cause::kTimedOut, selection.failure->cause);
    EXPECT_EQ(1, module.opened);
    EXPECT_THAT(module.asked, SizeIs(2));
}

TEST_F(SelectTest, IsNotSentAgainAfterSilence)
{
    module.StaySilent(Selecting(1));
    ASSERT_TRUE(Select(1).failure);
    EXPECT_THAT(module.asked, SizeIs(2));
}

TEST_F(SelectTest, SaysWhyTheModuleCouldNotBeAsked)
{
    module.Open({.failure = Failure{Cause::kRefused, "wrong password", "", {}}});
    const Selection selection = Select(1);
    ASSERT_TRUE(selection.failure);
    EXPECT_EQ(Cause::kRefused, selection.failure->cause);
    EXPECT_FALSE(selection.powerSupplyCount.HasValue());
}

}  // namespace
}  // namespace Tulvo::Enclosures
