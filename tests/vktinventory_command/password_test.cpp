// SPDX-License-Identifier: Apache-2.0
// Passwords from files and from the environment. The terminal's is in terminal_test.py.
#include "apps/vktinventory/password.h"

#include <gmock/gmock.h>

#include <cstdlib>
#include <fstream>
#include <optional>

#include "tests/vktinventory_command/fake_module.h"
#include "tests/vktinventory_command/run_command.h"

namespace Tulvo::Test {
namespace {

using Cli::ExitCode;
using testing::HasSubstr;

std::string FileHolding(const std::string& bytes)
{
    std::string path = testing::TempDir() + "vktinventory-password-" +
                       testing::UnitTest::GetInstance()->current_test_info()->name();
    std::ofstream(path, std::ios::binary) << bytes;
    return path;
}

std::string PasswordUsed(const std::vector<std::string>& flags)
{
    FakeModule::Current() = FakeModule::Healthy();
    std::vector<std::string> words = {"-H", "h", "identity"};
    words.insert(words.end(), flags.begin(), flags.end());
    const Ran ran = RunCommand(words);
    EXPECT_EQ(ran.code, ExitCode::everythingRead) << ran.error;
    return FakeModule::Current().asked.value().password;
}

TEST(PasswordFile, GivesItsFirstLine)
{
    EXPECT_EQ(PasswordUsed({"-f", FileHolding("secret\nsecond\n")}), "secret");
}

TEST(PasswordFile, NeedsNoLineFeed)
{
    EXPECT_EQ(PasswordUsed({"-f", FileHolding("secret")}), "secret");
}

TEST(PasswordFile, MayHaveBeenWrittenWithCarriageReturns)
{
    EXPECT_EQ(PasswordUsed({"-f", FileHolding("secret\r\nsecond\r\n")}), "secret");
}

TEST(PasswordFile, KeepsBlanks)
{
    EXPECT_EQ(PasswordUsed({"-f", FileHolding(" se cret \n")}), " se cret ");
}

TEST(PasswordFile, MayHoldTheEmptyPassword)
{
    EXPECT_EQ(PasswordUsed({"-f", FileHolding("\n")}), "");
}

TEST(PasswordEnvironment, GivesItsValue)
{
    setenv("IPMI_PASSWORD", "from the environment", 1);
    EXPECT_EQ(PasswordUsed({"-E"}), "from the environment");
    unsetenv("IPMI_PASSWORD");
}

TEST(PasswordArgument, IsUsed)
{
    EXPECT_EQ(PasswordUsed({"-P", "-secret"}), "-secret");
}

struct NoPasswordCase
{
    const char* name;
    std::vector<std::string> flags;
    const char* reason;
};

class NoPassword : public testing::TestWithParam<NoPasswordCase>
{
};

TEST_P(NoPassword, IsWrongUsageWithAReason)
{
    unsetenv("IPMI_PASSWORD");
    FakeModule::Current() = FakeModule::Healthy();
    std::vector<std::string> words = {"-H", "h"};
    words.insert(words.end(), GetParam().flags.begin(), GetParam().flags.end());
    const Ran ran = RunCommand(words);
    EXPECT_EQ(ran.code, ExitCode::wrongUsage);
    EXPECT_THAT(ran.error, HasSubstr(GetParam().reason));
    EXPECT_EQ(ran.out, "");
    EXPECT_EQ(FakeModule::Current().ipmiTried, "");
}

INSTANTIATE_TEST_SUITE_P(
    Of, NoPassword,
    testing::Values(NoPasswordCase{"MissingFile", {"-f", "/no/such/file"}, "No such file"},
                    NoPasswordCase{"Directory", {"-f", "/"}, "Is a directory"},
                    NoPasswordCase{"EmptyFile", {"-f", "/dev/null"}, "first line is missing"},
                    NoPasswordCase{"EndlessFile", {"-f", "/dev/zero"}, "far too long"},
                    NoPasswordCase{"UnsetVariable", {"-E"}, "IPMI_PASSWORD"}),
    [](const auto& tested) { return std::string(tested.param.name); });

}  // namespace
}  // namespace Tulvo::Test
