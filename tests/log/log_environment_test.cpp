// SPDX-License-Identifier: Apache-2.0
// The threshold that a process starts with. The environment is asked once, so each case is a
// process of its own.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdlib>
#include <regex>
#include <string>
#include <vector>

#include "common/log/log.h"

namespace Tulvo {
namespace {

using testing::ExitedWithCode;
using testing::ResultOf;

class LogEnvironmentTest : public testing::Test
{
protected:
    LogEnvironmentTest() { GTEST_FLAG_SET(death_test_style, "threadsafe"); }
};

[[noreturn]] void ExitWithLevel(const char* setting)
{
    if (setting == nullptr) {
        unsetenv("VKT_LOG_LEVEL");
    } else {
        setenv("VKT_LOG_LEVEL", setting, 1);
    }
    GetLogLevel();
    for (int i = 0; i < 3; ++i) {
        Log(4, "f", 1).Stream() << "trace";
    }
    std::exit(GetLogLevel());
}

long Warnings(const std::string& text)
{
    const std::regex warning(" warning src/common/log/log\\.cpp:[0-9]+: VKT_LOG_LEVEL is ");
    return std::distance(std::sregex_iterator(text.begin(), text.end(), warning), {});
}

TEST_F(LogEnvironmentTest, LevelIsTheThreshold)
{
    for (int level = 0; level <= 4; ++level) {
        EXPECT_EXIT(ExitWithLevel(std::to_string(level).c_str()), ExitedWithCode(level),
                    ResultOf(Warnings, 0));
    }
}

TEST_F(LogEnvironmentTest, ThresholdIsTwoWhenUnset)
{
    EXPECT_EXIT(ExitWithLevel(nullptr), ExitedWithCode(2), ResultOf(Warnings, 0));
}

TEST_F(LogEnvironmentTest, BadValueGivesOneWarningAndTheDefault)
{
    for (const char* setting : {"", "5", "-1", "three", "3x", " 3", "99999999999999999999"}) {
        EXPECT_EXIT(ExitWithLevel(setting), ExitedWithCode(2), ResultOf(Warnings, 1)) << setting;
    }
}

TEST_F(LogEnvironmentTest, ProgramsOwnThresholdStandsAboveTheEnvironment)
{
    EXPECT_EXIT(
        {
            SetLogLevel(1);
            ExitWithLevel("5");
        },
        ExitedWithCode(1), ResultOf(Warnings, 0));
}

struct LogsAtExit
{
    ~LogsAtExit() { Log(1, "f", 1).Stream() << "from a static object's end"; }
};

TEST_F(LogEnvironmentTest, StaticObjectsMayLogAtTheEndOfTheProcess)
{
    EXPECT_EXIT(
        {
            static const LogsAtExit object;
            std::exit(0);
        },
        ExitedWithCode(0), "from a static object's end");
}

}  // namespace
}  // namespace Tulvo
