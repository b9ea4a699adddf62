// SPDX-License-Identifier: Apache-2.0
// What a person reads who mistyped a command line.
#include "apps/vktinventory/input/misuse.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "apps/vktinventory/input/suggestion.h"
#include "tests/vktinventory_command/fake_enclosure.h"
#include "tests/vktinventory_command/run_command.h"

namespace Tulvo::Test {
namespace {

struct MistypedCase
{
    const char* name;
    std::vector<std::string> words;
    const char* line;  ///< Without the program's name before and the pointer to --help behind it.
};

class Mistyped : public testing::TestWithParam<MistypedCase>
{
};

TEST_P(Mistyped, IsExplainedInOneLine)
{
    FakeEnclosure::Current() = FakeEnclosure::Healthy();
    const Ran ran = RunCommand(GetParam().words);
    EXPECT_EQ(ran.code, Cli::ExitCode::kWrongUsage);
    EXPECT_EQ(ran.error,
              "vktinventory: " + std::string(GetParam().line) + "; see vktinventory --help\n");
    EXPECT_EQ(ran.out, "");
    EXPECT_FALSE(FakeEnclosure::Current().asked);
}

INSTANTIATE_TEST_SUITE_P(
    Of, Mistyped,
    testing::Values(
        MistypedCase{
            "Command", {"-H", "h", "shw"}, "there is no command \"shw\" (did you mean \"show\"?)"},
        MistypedCase{"SwappedLetters",
                     {"-H", "h", "ndoes"},
                     "there is no command \"ndoes\" (did you mean \"nodes\"?)"},
        MistypedCase{"ShortenedCommand",
                     {"ident", "-H", "h"},
                     "there is no command \"ident\" (did you mean \"identity\"?)"},
        MistypedCase{"WordLikeNothing", {"-H", "h", "reboot"}, "there is no command \"reboot\""},
        MistypedCase{"Flag",
                     {"-H", "h", "--pasword-file", "x"},
                     "there is no flag --pasword-file (did you mean \"--password-file\"?)"},
        MistypedCase{"FlagWithASecretBehindIt",
                     {"-H", "h", "node", "3", "--pasword", "tops3cret"},
                     "there is no flag --pasword (did you mean \"--password\"?)"},
        MistypedCase{"FlagWithASecretInIt",
                     {"-H", "h", "node", "3", "--pasword=tops3cret"},
                     "there is no flag --pasword (did you mean \"--password\"?)"},
        MistypedCase{"FlagsOfOtherTools",
                     {"-H", "h", "-N", "1", "-R", "2"},
                     "there is no flag -N; waiting and asking again follow the module; --timeout S "
                     "bounds all of it"},
        MistypedCase{
            "HostWithoutValue",
            {"-H"},
            "-H, --host needs HOST behind it: Address or name of the module, or a pattern"},
        MistypedCase{
            "HostBeforeAnotherFlag",
            {"-H", "-U", "admin"},
            "-H, --host needs HOST behind it: Address or name of the module, or a pattern"},
        MistypedCase{"FileBeforeAnotherFlag",
                     {"-H", "h", "--password-file", "--verbose"},
                     "--password-file needs FILE behind it: File whose first line is the password"},
        MistypedCase{"SmallH",
                     {"-h", "10.0.0.5", "-U", "admin"},
                     "-h prints the help; the module is named by -H HOST"},
        MistypedCase{"HelpAsACommand",
                     {"help"},
                     "there is no command \"help\"; --help tells about all commands, COMMAND "
                     "--help about one"},
        MistypedCase{"Url",
                     {"-H", "https://vkt/"},
                     "--host: is a name or an address, not a URL; -I https asks over HTTPS"},
        MistypedCase{
            "Privilege",
            {"-H", "h", "-L", "admin"},
            "--privilege: \"admin\" is none of USER, OPERATOR, ADMINISTRATOR (did you mean "
            "\"ADMINISTRATOR\"?)"},
        MistypedCase{"Pin",
                     {"-H", "h", "-I", "https", "--pin", "AB:CD:EF"},
                     "--pin: \"AB:CD:EF\" is no pin: sha256// and 44 characters of Base64, the "
                     "SHA-256 of the module's public key"},
        MistypedCase{"Octal",
                     {"-H", "h", "-p", "0x1bb"},
                     "--port: \"0x1bb\" is no number from 1 to "
                     "65535"},
        MistypedCase{"TwoCommands",
                     {"-H", "h", "power", "psu"},
                     "one command at a time: \"power\" or \"psu\""},
        MistypedCase{"SurplusWord", {"-H", "h", "power", "3"}, "\"power\" has no use for \"3\""},
        MistypedCase{"NoNumber",
                     {"-H", "h", "node"},
                     "node needs N behind it, the number of the node, from 1"},
        MistypedCase{
            "NumberInWords", {"-H", "h", "node", "one"}, "N: \"one\" is no number from 1 to 12"},
        MistypedCase{"TwoPasswords",
                     {"-H", "h", "-f", "x", "-E"},
                     "--password-file and --password-env contradict each other"},
        MistypedCase{"AllAndAGroup",
                     {"--all", "--group", "rack1", "health"},
                     "--group and --all contradict each other"},
        MistypedCase{"NoHost",
                     {"show"},
                     "-H HOST is missing: the address or name of the module; --all, --group and "
                     "--label take hosts from the fleet file"}),
    [](const auto& tested) { return std::string(tested.param.name); });

TEST(Help, IsStillWhatShortHPrints)
{
    for (const std::vector<std::string>& words : std::vector<std::vector<std::string>>{
             {"-h"}, {"-h", "-H", "10.0.0.5"}, {"node", "-h"}, {"-h", "node"}}) {
        EXPECT_EQ(RunCommand(words).code, Cli::ExitCode::kEverythingRead)
            << testing::PrintToString(words);
    }
}

TEST(PortWithALeadingZero, IsNotOctal)
{
    FakeEnclosure::Current() = FakeEnclosure::Healthy();
    EXPECT_EQ(RunConnected({"-p", "01623"}).code, Cli::ExitCode::kEverythingRead);
    EXPECT_EQ(FakeEnclosure::Current().asked.value().port, 1623);
}

TEST(Insecure, SaysThatItTrustsAnybody)
{
    FakeEnclosure::Current() = FakeEnclosure::Healthy();
    const Ran ran = RunConnected({"-I", "https", "--insecure"});
    EXPECT_EQ(ran.code, Cli::ExitCode::kEverythingRead);
    EXPECT_EQ(ran.error,
              "vktinventory: --insecure: whoever answers is trusted, and gets user name and "
              "password; --pin trusts one module's key only\n");
}

TEST(Suggestion, IsMadeForNearWordsOnly)
{
    const std::vector<std::string_view> known = {"show", "health", "psu", "nodes", "node"};
    for (const char* const word : {"shwo", "sow", "showw", "SHOW"}) {
        EXPECT_EQ(Cli::NearestTo(word, known), "show") << word;
    }
    EXPECT_EQ(Cli::NearestTo("node1", known), "nodes");
    for (const char* const word : {"", "s", "reboot", "10.0.0.5", "xyz"}) {
        EXPECT_EQ(Cli::NearestTo(word, known), "") << word;
    }
    EXPECT_EQ(Cli::NearestTo(std::string(100'000, 's'), known), "");
}

}  // namespace
}  // namespace Tulvo::Test
