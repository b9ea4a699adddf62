// SPDX-License-Identifier: Apache-2.0
// Which source decides, and what is said about sources that cannot.
#include "common/config/global_config.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <stdlib.h>

#include <atomic>
#include <string>
#include <vector>

#include "common/log/log.h"
#include "tests/config/config_fixture.h"
#include "tests/support/run_in_threads.h"

namespace Tulvo {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

using GlobalConfigTest = ConfigFixture;

TEST_F(GlobalConfigTest, CallersDefaultIsTheLastSource)
{
    EXPECT_EQ(GetGlobalConfigValue("DEFAULT_ONLY", 17), 17);
    EXPECT_EQ(GetGlobalConfigText("DEFAULT_ONLY", "text"), "text");
    EXPECT_THAT(Warnings(), IsEmpty());
}

TEST_F(GlobalConfigTest, EachSourceOfAnIntegerStandsAboveTheNext)
{
    WriteFile("INTEGER = 1\n");
    EXPECT_EQ(GetGlobalConfigValue("INTEGER", 0), 1);
    setenv("VKT_INTEGER", "2", 1);
    EXPECT_EQ(GetGlobalConfigValue("INTEGER", 0), 2);
    SetGlobalConfigValue("INTEGER", 3);
    EXPECT_EQ(GetGlobalConfigValue("INTEGER", 0), 3);
    SetGlobalConfigValue("INTEGER", 4);
    EXPECT_EQ(GetGlobalConfigValue("INTEGER", 0), 4);
    EXPECT_THAT(Warnings(), IsEmpty());
}

TEST_F(GlobalConfigTest, EachSourceOfATextStandsAboveTheNext)
{
    WriteFile("TEXT = 'file'\n");
    EXPECT_EQ(GetGlobalConfigText("TEXT", "default"), "file");
    setenv("VKT_TEXT", "environment", 1);
    EXPECT_EQ(GetGlobalConfigText("TEXT", "default"), "environment");
    SetGlobalConfigText("TEXT", "program");
    EXPECT_EQ(GetGlobalConfigText("TEXT", "default"), "program");
    EXPECT_THAT(Warnings(), IsEmpty());
}

TEST_F(GlobalConfigTest, TextMayBeEmptyInEverySource)
{
    WriteFile("EMPTY_TEXT = ''\n");
    EXPECT_EQ(GetGlobalConfigText("EMPTY_TEXT", "default"), "");
    WriteFile("EMPTY_TEXT = 'file'\n");
    setenv("VKT_EMPTY_TEXT", "", 1);
    EXPECT_EQ(GetGlobalConfigText("EMPTY_TEXT", "default"), "");
    SetGlobalConfigText("EMPTY_TEXT", "");
    unsetenv("VKT_EMPTY_TEXT");
    EXPECT_EQ(GetGlobalConfigText("EMPTY_TEXT", "default"), "");
    EXPECT_THAT(Warnings(), IsEmpty());
}

TEST_F(GlobalConfigTest, IntegerOfTheEnvironmentHasTheWholeRange)
{
    const std::vector<std::pair<const char*, int>> cases = {{"0", 0},
                                                            {"-1", -1},
                                                            {"007", 7},
                                                            {"2147483647", 2147483647},
                                                            {"-2147483648", -2147483647 - 1}};
    for (const auto& [text, value] : cases) {
        setenv("VKT_RANGE", text, 1);
        EXPECT_EQ(GetGlobalConfigValue("RANGE", 99), value) << text;
    }
    EXPECT_THAT(Warnings(), IsEmpty());
}

TEST_F(GlobalConfigTest, BadEnvironmentGivesOneWarningAndTheFileDecides)
{
    WriteFile("BAD_ENVIRONMENT = 5\n");
    for (const char* text : {"", "three", "3x", "3.0", " 3", "3 ", "+3", "0x3", "2147483648",
                             "-2147483649", "99999999999999999999"}) {
        setenv("VKT_BAD_ENVIRONMENT", text, 1);
        EXPECT_EQ(GetGlobalConfigValue("BAD_ENVIRONMENT", 99), 5);
        EXPECT_EQ(GetGlobalConfigValue("BAD_ENVIRONMENT", 99), 5);
        const std::string named = std::string("VKT_BAD_ENVIRONMENT is \"") + text + "\"";
        EXPECT_THAT(Warnings(), ElementsAre(HasSubstr(named)));
    }
}

TEST_F(GlobalConfigTest, WarningComesAgainWhenAGoodValueTurnsBadAgain)
{
    for (int turn = 0; turn < 2; ++turn) {
        setenv("VKT_TURNS", "bad", 1);
        EXPECT_EQ(GetGlobalConfigValue("TURNS", 99), 99);
        EXPECT_THAT(Warnings(), ElementsAre(HasSubstr("VKT_TURNS")));
        setenv("VKT_TURNS", "4", 1);
        EXPECT_EQ(GetGlobalConfigValue("TURNS", 99), 4);
        EXPECT_THAT(Warnings(), IsEmpty());
    }
}

TEST_F(GlobalConfigTest, ValueSetAsAnotherTypeGivesOneWarningAndTheNextSourceDecides)
{
    WriteFile("SET_AS_TEXT = 5\nSET_AS_INTEGER = 'file'\n");
    SetGlobalConfigText("SET_AS_TEXT", "3");
    SetGlobalConfigValue("SET_AS_INTEGER", 3);
    for (int call = 0; call < 2; ++call) {
        EXPECT_EQ(GetGlobalConfigValue("SET_AS_TEXT", 99), 5);
        EXPECT_EQ(GetGlobalConfigText("SET_AS_INTEGER", "default"), "file");
    }
    EXPECT_THAT(Warnings(), ElementsAre(HasSubstr("SET_AS_TEXT, as set by this program"),
                                        HasSubstr("SET_AS_INTEGER, as set by this program")));
}

TEST_F(GlobalConfigTest, WhoTakesTheWarningMayAskForASetting)
{
    int asked = 0;
    SetLogSink([&asked](const LogRecord&) { asked = GetGlobalConfigValue("ASKED_BY_SINK", 7); });
    setenv("VKT_ASKED", "bad", 1);
    EXPECT_EQ(GetGlobalConfigValue("ASKED", 99), 99);
    EXPECT_EQ(asked, 7);
}

TEST_F(GlobalConfigTest, ManyThreadsGetOneWarning)
{
    setenv("VKT_MANY", "bad", 1);
    RunInThreads(8, [](int) {
        for (int call = 0; call < 100; ++call) {
            EXPECT_EQ(GetGlobalConfigValue("MANY", 99), 99);
        }
    });
    EXPECT_THAT(Warnings(), ElementsAre(HasSubstr("VKT_MANY")));
}

TEST_F(GlobalConfigTest, ThreadsMaySetAndGetAtTheSameTime)
{
    WriteFile("CONTENDED = 1000\n");
    RunInThreads(8, [](int thread) {
        const std::string own = "CONTENDED_BY_" + std::to_string(thread);
        for (int call = 0; call < 200; ++call) {
            SetGlobalConfigValue(own, call);
            EXPECT_EQ(GetGlobalConfigValue(own, -1), call);
            EXPECT_EQ(GetGlobalConfigValue("CONTENDED", -1), 1000);
        }
    });
    EXPECT_THAT(Warnings(), IsEmpty());
}

}  // namespace
}  // namespace Tulvo
