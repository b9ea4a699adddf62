// SPDX-License-Identifier: Apache-2.0
// Passwords from files and from the environment. The terminal's is in terminal_test.py.
#include "apps/vktinventory/input/password.h"

#include <gmock/gmock.h>

#include <cstdlib>
#include <fstream>
#include <optional>

#include "tests/vktinventory_command/fake_enclosure.h"
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
    FakeEnclosure::Current() = FakeEnclosure::Healthy();
    std::vector<std::string> words = {"-H", "h", "identity"};
    words.insert(words.end(), flags.begin(), flags.end());
    const Ran ran = RunCommand(words);
    EXPECT_EQ(ran.code, ExitCode::kEverythingRead) << ran.error;
    return FakeEnclosure::Current().asked.value().password;
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

TEST(PasswordFile, IsRefusedInAnotherEncoding)
{
    using namespace std::string_literals;
    const std::vector<std::pair<std::string, const char*>> cases = {
        {"\xEF\xBB\xBFsecret\n", "byte order mark of UTF-8"},
        {"\xEF\xBB\xBF", "byte order mark of UTF-8"},
        {"\xFF\xFEs\0e\0c\0\n\0"s, "byte order mark of UTF-16"},
        {"\xFE\xFF\0s\0e\0c\0\n"s, "byte order mark of UTF-16"},
        {"s\0e\0c\0\n\0"s, "NUL byte"},
    };
    for (const auto& [bytes, reason] : cases) {
        FakeEnclosure::Current() = FakeEnclosure::Healthy();
        const Ran ran = RunCommand({"-H", "h", "-f", FileHolding(bytes)});
        EXPECT_EQ(ran.code, ExitCode::kWrongUsage);
        EXPECT_THAT(ran.error, HasSubstr(reason));
        EXPECT_FALSE(FakeEnclosure::Current().asked) << "a wasted log-in";
    }
}

TEST(PasswordFile, MayHoldLettersOfAnyLanguage)
{
    EXPECT_EQ(PasswordUsed({"-f", FileHolding("se\xC3\xA9\xEF\xBB\xBF\n")}),
              "se\xC3\xA9\xEF\xBB\xBF");
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

TEST(PasswordEnvironment, MustNotBeEmpty)
{
    setenv("IPMI_PASSWORD", "", 1);
    FakeEnclosure::Current() = FakeEnclosure::Healthy();
    const Ran ran = RunCommand({"-H", "h", "-E"});
    unsetenv("IPMI_PASSWORD");
    EXPECT_EQ(ran.code, ExitCode::kWrongUsage);
    EXPECT_THAT(ran.error, HasSubstr("IPMI_PASSWORD, which is empty"));
    EXPECT_FALSE(FakeEnclosure::Current().asked);
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
    FakeEnclosure::Current() = FakeEnclosure::Healthy();
    std::vector<std::string> words = {"-H", "h"};
    words.insert(words.end(), GetParam().flags.begin(), GetParam().flags.end());
    const Ran ran = RunCommand(words);
    EXPECT_EQ(ran.code, ExitCode::kWrongUsage);
    EXPECT_THAT(ran.error, HasSubstr(GetParam().reason));
    EXPECT_EQ(ran.out, "");
    EXPECT_FALSE(FakeEnclosure::Current().asked);
}

INSTANTIATE_TEST_SUITE_P(Of, NoPassword,
                         testing::Values(
                             NoPasswordCase{
                                 "MissingFile",
                                 {"-f", "/no/such/file"},
                                 "the password file /no/such/file cannot be opened: No such file"},
                             NoPasswordCase{"Directory", {"-f", "/"}, "Is a directory"},
                             NoPasswordCase{"EmptyFile", {"-f", "/dev/null"}, "/dev/null is empty"},
                             NoPasswordCase{"EndlessFile", {"-f", "/dev/zero"}, "far too long"},
                             NoPasswordCase{"EmptyArgument", {"-P", ""}, "must not be empty"},
                             NoPasswordCase{"UnsetVariable", {"-E"}, "IPMI_PASSWORD"}),
                         [](const auto& tested) { return std::string(tested.param.name); });

}  // namespace
}  // namespace Tulvo::Test
