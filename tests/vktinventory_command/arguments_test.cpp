// SPDX-License-Identifier: Apache-2.0
// Where a secret goes that stands on the command line.
#include "apps/vktinventory/input/arguments.h"

#include <gmock/gmock.h>

#include <string>
#include <vector>

namespace Tulvo::Test {
namespace {

using testing::ElementsAreArray;
using testing::HasSubstr;
using testing::Not;

struct PasswordCase
{
    const char* name;
    std::vector<std::string> given;
    std::vector<std::string> words;
    std::string password;
    std::string kg = {};
};

class Password : public testing::TestWithParam<PasswordCase>
{
protected:
    /// The arguments as the kernel lays them out: one after the other, each with its NUL.
    Password()
    {
        for (const std::string& word : GetParam().given) {
            starts.push_back(memory.size());
            memory += word + '\0';
        }
        static char program[] = "vktinventory";
        argv.push_back(program);
        for (const std::size_t start : starts) {
            argv.push_back(memory.data() + start);
        }
    }

    Cli::Arguments Take() { return Cli::TakeArguments(static_cast<int>(argv.size()), argv.data()); }

    std::string memory;
    std::vector<std::size_t> starts;
    std::vector<char*> argv;
};

TEST_P(Password, IsTakenOutOfTheWords)
{
    const Cli::Arguments arguments = Take();
    EXPECT_THAT(arguments.words, ElementsAreArray(GetParam().words));
    EXPECT_EQ(arguments.password, GetParam().password);
    EXPECT_EQ(arguments.kg, GetParam().kg);
}

TEST_P(Password, IsBlankedInTheArgumentList)
{
    const std::size_t size = memory.size();
    Take();
    EXPECT_EQ(memory.size(), size);
    for (const std::string& secret : {GetParam().password, GetParam().kg}) {
        if (!secret.empty()) {
            EXPECT_THAT(memory, Not(HasSubstr(secret)));
        }
    }
}

INSTANTIATE_TEST_SUITE_P(
    Ways, Password,
    testing::Values(
        PasswordCase{"NextWord", {"-P", "secret", "show"}, {"-P", "*", "show"}, "secret"},
        PasswordCase{"SameWord", {"-Psecret", "show"}, {"-P*", "show"}, "secret"},
        PasswordCase{"LongNextWord", {"--password", "secret"}, {"--password", "*"}, "secret"},
        PasswordCase{"LongSameWord", {"--password=secret"}, {"--password=*"}, "secret"},
        PasswordCase{"BehindFlags", {"-vvPsecret"}, {"-vvP*"}, "secret"},
        PasswordCase{"BehindFlagsNextWord", {"-vP", "secret"}, {"-vP", "*"}, "secret"},
        PasswordCase{"LikeAFlag", {"-P", "--secret"}, {"-P", "*"}, "--secret"},
        PasswordCase{"Empty", {"-P", ""}, {"-P", ""}, ""},
        PasswordCase{"LongEmpty", {"--password="}, {"--password="}, ""},
        PasswordCase{"Missing", {"-H", "h", "-P"}, {"-H", "h", "-P"}, ""},
        PasswordCase{"Twice", {"-P", "one", "-P", "two"}, {"-P", "*", "-P", "*"}, "two"},
        PasswordCase{"AnotherFlagsValue", {"-H", "-", "-UPaul"}, {"-H", "-", "-UPaul"}, ""},
        PasswordCase{"Key", {"-k", "key", "-Psecret"}, {"-k", "*", "-P*"}, "secret", "key"},
        PasswordCase{"KeyInTheSameWord", {"-vkkey"}, {"-vk*"}, "", "key"},
        PasswordCase{"LongKey", {"--kg", "key"}, {"--kg", "*"}, "", "key"},
        PasswordCase{"LongKeyInTheSameWord", {"--kg=key"}, {"--kg=*"}, "", "key"},
        PasswordCase{"KeyLikeAFlag", {"-k", "-Pkey"}, {"-k", "*"}, "", "-Pkey"},
        PasswordCase{"NotAFlag", {"--pin", "P"}, {"--pin", "P"}, ""}),
    [](const auto& tested) { return std::string(tested.param.name); });

}  // namespace
}  // namespace Tulvo::Test
