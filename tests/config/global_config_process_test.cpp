// SPDX-License-Identifier: Apache-2.0
// What depends on the user or the root directory of a process, each in a process of its own that
// exits with the value.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>

#include "common/config/global_config.h"
#include "tests/support/temporary_directory.h"

namespace Tulvo {
namespace {

using testing::AllOf;
using testing::ExitedWithCode;
using testing::HasSubstr;
using testing::Not;

constexpr int kDefault = 99;
constexpr int kNotPrepared = 100;

[[noreturn]] void ExitWithValue()
{
    GetGlobalConfigValue("KEY", kDefault);
    // At once: a leak checker that runs at a regular exit needs more than such a process has.
    std::_Exit(GetGlobalConfigValue("KEY", kDefault));
}

class GlobalConfigProcessTest : public testing::Test
{
protected:
    GlobalConfigProcessTest() { GTEST_FLAG_SET(death_test_style, "threadsafe"); }

    const TemporaryDirectory directory;
};

TEST_F(GlobalConfigProcessTest, UnreadableFileGivesAWarning)
{
    namespace fs = std::filesystem;
    const fs::path file = directory / "config.toml";
    std::ofstream(file) << "KEY = 3\n";
    fs::permissions(directory.Path(), fs::perms::all);
    fs::permissions(file, fs::perms::none);
    EXPECT_EXIT(
        {
            // Root reads everything, so the process becomes nobody.
            constexpr uid_t kNobody = 65534;
            if (geteuid() == 0 && setuid(kNobody) != 0) {
                std::exit(kNotPrepared);
            }
            setenv("VKT_CONFIG", file.c_str(), 1);
            ExitWithValue();
        },
        ExitedWithCode(kDefault),
        AllOf(HasSubstr("config.toml cannot be read: Permission denied"), HasSubstr("KEY")));
}

/// Exits with the state that trust is decided by.
[[noreturn]] void ExitWithState()
{
    std::_Exit(static_cast<int>(FindGlobalConfigValue("KEY").state));
}

class GlobalConfigDefaultFileTest : public GlobalConfigProcessTest
{
protected:
    void SetUp() override
    {
        if (geteuid() != 0) {
            GTEST_SKIP() << "only root may give a process another root directory";
        }
    }

    void UseDefaultFile() const
    {
        unsetenv("VKT_CONFIG");
        if (chroot(directory.Path().c_str()) != 0) {
            std::exit(kNotPrepared);
        }
    }
    [[noreturn]] void ExitWithValueOfDefaultFile() const
    {
        UseDefaultFile();
        ExitWithValue();
    }
    [[noreturn]] void ExitWithStateOfDefaultFile() const
    {
        UseDefaultFile();
        ExitWithState();
    }

    static testing::ExitedWithCode ExitedWith(ConfigState state)
    {
        return ExitedWithCode(static_cast<int>(state));
    }
};

TEST_F(GlobalConfigDefaultFileTest, IsReadWhenNoneIsNamed)
{
    std::filesystem::create_directories(directory / "etc/vktinventory");
    std::ofstream(directory / "etc/vktinventory/config.toml") << "KEY = 3\n";
    EXPECT_EXIT(ExitWithValueOfDefaultFile(), ExitedWithCode(3), Not(HasSubstr("warning")));
}

TEST_F(GlobalConfigDefaultFileTest, NeedNotExist)
{
    EXPECT_EXIT(ExitWithValueOfDefaultFile(), ExitedWithCode(kDefault), Not(HasSubstr("warning")));
    EXPECT_EXIT(ExitWithStateOfDefaultFile(), ExitedWith(ConfigState::kUnset), "");
}

TEST_F(GlobalConfigDefaultFileTest, GivesAWarningWhenItIsBroken)
{
    std::filesystem::create_directories(directory / "etc/vktinventory");
    std::ofstream(directory / "etc/vktinventory/config.toml") << "KEY =\n";
    EXPECT_EXIT(ExitWithValueOfDefaultFile(), ExitedWithCode(kDefault),
                HasSubstr("/etc/vktinventory/config.toml:1:"));
    EXPECT_EXIT(ExitWithStateOfDefaultFile(), ExitedWith(ConfigState::kUnusable), "");
}

/// As on a host where what it leads to is not mounted.
TEST_F(GlobalConfigDefaultFileTest, IsNotMissingWhenItIsALinkThatLeadsNowhere)
{
    std::filesystem::create_directories(directory / "etc/vktinventory");
    std::filesystem::create_symlink("/srv/config.toml", directory / "etc/vktinventory/config.toml");
    EXPECT_EXIT(ExitWithValueOfDefaultFile(), ExitedWithCode(kDefault),
                HasSubstr("config.toml cannot be read: No such file"));
    EXPECT_EXIT(ExitWithStateOfDefaultFile(), ExitedWith(ConfigState::kUnusable), "");
}

}  // namespace
}  // namespace Tulvo
