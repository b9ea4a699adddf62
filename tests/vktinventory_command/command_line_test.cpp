// SPDX-License-Identifier: Apache-2.0
// What the words of a command line mean, and which of them are refused.
#include "apps/vktinventory/input/command_line.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <sstream>
#include <string>
#include <string_view>
#include <vector>

namespace Tulvo::Test {
namespace {

using Cli::EarlyExit;
using Cli::ExitCode;
using Cli::Options;
using testing::HasSubstr;

std::vector<std::string> Words(const std::string& line)
{
    std::istringstream stream(line);
    std::vector<std::string> words;
    for (std::string word; stream >> word;) {
        words.push_back(word);
    }
    return words;
}

Options Parsed(const std::string& line)
{
    const auto result = Cli::ParseCommandLine(Words(line));
    if (const auto* const earlyExit = std::get_if<EarlyExit>(&result)) {
        ADD_FAILURE() << line << ": " << earlyExit->text;
        return {};
    }
    return std::get<Options>(result);
}

std::string_view CommandOf(const Options& options)
{
    return options.command == nullptr ? "none" : options.command->name;
}

EarlyExit Refused(const std::vector<std::string>& words)
{
    const auto result = Cli::ParseCommandLine(words);
    if (std::holds_alternative<Options>(result)) {
        ADD_FAILURE() << testing::PrintToString(words) << " was accepted";
        return {};
    }
    return std::get<EarlyExit>(result);
}

EarlyExit Refused(const std::string& line)
{
    return Refused(Words(line));
}

TEST(CommandLine, HasDefaults)
{
    const Options options = Parsed("-H host");
    EXPECT_FALSE(options.settings.https);
    EXPECT_EQ(options.hosts, std::vector<std::string>{"host"});
    EXPECT_FALSE(options.settings.port);
    EXPECT_FALSE(options.settings.user);
    EXPECT_EQ(options.passwordSource, Cli::PasswordSource::kTerminal);
    EXPECT_FALSE(options.settings.cipherSuite);
    EXPECT_FALSE(options.settings.privilege);
    EXPECT_EQ(options.verbosity, 0);
    EXPECT_EQ(options.format, Cli::Format::kTable);
    EXPECT_FALSE(options.settings.timeout);
    EXPECT_EQ(CommandOf(options), "show");
}

TEST(CommandLine, TakesShortFlags)
{
    const Options options = Parsed("-I lanplus -H host -p 1623 -U admin -E -C 17 -L OPERATOR -v");
    EXPECT_EQ(options.hosts, std::vector<std::string>{"host"});
    EXPECT_EQ(options.settings.port, 1623);
    EXPECT_EQ(options.settings.user, "admin");
    EXPECT_EQ(options.passwordSource, Cli::PasswordSource::kEnvironment);
    EXPECT_EQ(options.settings.cipherSuite, 17);
    EXPECT_EQ(options.settings.privilege, Enclosures::Privilege::kOperator);
    EXPECT_EQ(options.verbosity, 1);
}

TEST(CommandLine, TakesLongFlags)
{
    const Options options = Parsed(
        "--interface lanplus --host host --port 1623 --user admin --password-file file "
        "--cipher-suite 17 --privilege USER --verbose --verbose --format json psu");
    EXPECT_EQ(options.settings.port, 1623);
    EXPECT_EQ(options.settings.user, "admin");
    EXPECT_EQ(options.passwordSource, Cli::PasswordSource::kFile);
    EXPECT_EQ(options.passwordFile, "file");
    EXPECT_EQ(options.settings.cipherSuite, 17);
    EXPECT_EQ(options.settings.privilege, Enclosures::Privilege::kUser);
    EXPECT_EQ(options.verbosity, 2);
    EXPECT_EQ(options.format, Cli::Format::kJson);
    EXPECT_EQ(CommandOf(options), "psu");
}

TEST(CommandLine, TakesFlagsBehindTheCommand)
{
    const Options options = Parsed("node 3 -H host -vv --format json");
    EXPECT_EQ(CommandOf(options), "node");
    EXPECT_EQ(options.number, 3U);
    EXPECT_EQ(options.hosts, std::vector<std::string>{"host"});
    EXPECT_EQ(options.verbosity, 2);
}

TEST(CommandLine, TakesSeveralHostsEachBehindItsFlag)
{
    const Options options = Parsed("-H enc[1-3] -H gw health -x enc2 --exclude enc3");
    EXPECT_EQ(options.hosts, (std::vector<std::string>{"enc[1-3]", "gw"}));
    EXPECT_EQ(options.without, (std::vector<std::string>{"enc2", "enc3"}));
    EXPECT_EQ(CommandOf(options), "health");
}

TEST(CommandLine, TakesWhatToSelectFromTheFleetFile)
{
    const Options options =
        Parsed("--fleet f --group a --group b --label site=north --label a=b=c health");
    EXPECT_EQ(options.fleetFile, "f");
    EXPECT_EQ(options.selection.groups, (std::vector<std::string>{"a", "b"}));
    EXPECT_EQ(options.selection.labels,
              (std::vector<std::pair<std::string, std::string>>{{"site", "north"}, {"a", "b=c"}}));
    EXPECT_FALSE(options.selection.all);
    EXPECT_TRUE(Parsed("--all --label site=north health").selection.all);
}

TEST(CommandLine, TakesHowManyToAskAndHowOften)
{
    const Options options = Parsed(
        "-H h --fanout 1024 --keep-going --connect-timeout 7 --every 60 --count 5 --format jsonl "
        "power");
    EXPECT_EQ(options.fanOut, 1024U);
    EXPECT_TRUE(options.keepGoing);
    EXPECT_EQ(options.settings.connectTimeout, std::chrono::seconds(7));
    EXPECT_FALSE(Parsed("-H h").keepGoing);
    ASSERT_TRUE(options.repetition);
    EXPECT_EQ(options.repetition->every, std::chrono::seconds(60));
    EXPECT_EQ(options.repetition->count, 5U);
    EXPECT_EQ(Parsed("-H h").fanOut, 64U);
    EXPECT_FALSE(Parsed("-H h").repetition);
    EXPECT_FALSE(Parsed("-H h --every 1").repetition->count);
}

TEST(CommandLine, TakesColumnsAsAList)
{
    EXPECT_EQ(Parsed("-H h --format csv --fields host,power_average power").fields,
              (std::vector<std::string>{"host", "power_average"}));
}

TEST(CommandLine, TakesPatternsBehindHosts)
{
    const Options options = Parsed("hosts enc[1-2] gw");
    EXPECT_EQ(options.operands, (std::vector<std::string>{"enc[1-2]", "gw"}));
    EXPECT_TRUE(options.hosts.empty());
}

TEST(CommandLine, TakesPrivilegesInEitherCase)
{
    EXPECT_EQ(Parsed("-H h -L administrator").settings.privilege,
              Enclosures::Privilege::kAdministrator);
    EXPECT_EQ(Parsed("-H h -L Administrator").settings.privilege,
              Enclosures::Privilege::kAdministrator);
    EXPECT_EQ(Parsed("-H h -L operator").settings.privilege, Enclosures::Privilege::kOperator);
}

TEST(CommandLine, TakesHttpsFlags)
{
    const Options options = Parsed("-I https -H h --ca-file /dev/null --auth basic");
    EXPECT_EQ(options.settings.https, true);
    EXPECT_EQ(options.settings.authentication, Enclosures::HttpAuthentication::kBasic);
    EXPECT_EQ(Parsed("-I lanplus -H h").settings.https, false);
    EXPECT_TRUE(std::holds_alternative<Enclosures::TrustAuthorityFile>(*options.settings.trust));
    EXPECT_TRUE(std::holds_alternative<Enclosures::TrustAnybody>(
        *Parsed("-I https -H h --insecure").settings.trust));
}

TEST(CommandLine, TakesATimeout)
{
    EXPECT_EQ(Parsed("-H h --timeout 1").settings.timeout->count(), 1);
    EXPECT_EQ(Parsed("-H h --timeout 86400").settings.timeout->count(), 86400);
}

TEST(CommandLine, KnowsEveryCommand)
{
    for (const Cli::Command& command : Cli::kCommands) {
        const std::string name(command.name);
        EXPECT_EQ(CommandOf(Parsed("-H h " + name + (command.operands.empty() ? "" : " 1"))), name);
    }
}

struct RefusedCase
{
    const char* name;
    const char* line;
    const char* reason;  ///< Part of the message.
};

class Refusal : public testing::TestWithParam<RefusedCase>
{
};

TEST_P(Refusal, IsWrongUsageWithAReason)
{
    const EarlyExit earlyExit = Refused(GetParam().line);
    EXPECT_EQ(earlyExit.code, ExitCode::kWrongUsage);
    EXPECT_THAT(earlyExit.text, HasSubstr(GetParam().reason));
    EXPECT_THAT(earlyExit.text, HasSubstr("vktinventory --help"));
    EXPECT_THAT(earlyExit.text, testing::Not(HasSubstr("\n")));
}

INSTANTIATE_TEST_SUITE_P(
    Of, Refusal,
    testing::Values(
        RefusedCase{"NoHost", "show", "-H"},
        RefusedCase{"UnknownFlag", "-H h --frobnicate", "--frobnicate"},
        RefusedCase{"UnknownFlagWithValue", "-H h psu --frobnicate=3", "--frobnicate"},
        RefusedCase{"UnknownCommand", "-H h reboot", "reboot"},
        RefusedCase{"TwoCommands", "-H h power psu", "psu"},
        RefusedCase{"NoPassword", "-H h -P", "--password"},
        RefusedCase{"NoFile", "-H h -f", "--password-file"},
        RefusedCase{"TwoPasswords", "-H h -P * -E", "--password"},
        RefusedCase{"FileAndEnvironment", "-H h -f x -E", "--password-"},
        RefusedCase{"FileAndArgument", "-H h -f x -P *", "--password"},
        RefusedCase{"PortZero", "-H h -p 0", "--port"},
        RefusedCase{"PortTooHigh", "-H h -p 65536", "--port"},
        RefusedCase{"PortNoNumber", "-H h -p ipmi", "--port"},
        RefusedCase{"PortNegative", "-H h -p=-1", "-p"},
        RefusedCase{"NoTime", "-H h --timeout 0", "--timeout"},
        RefusedCase{"NegativeTime", "-H h --timeout=-1", "--timeout"},
        RefusedCase{"TooMuchTime", "-H h --timeout 86401", "--timeout"},
        RefusedCase{"TimeNoNumber", "-H h --timeout nan", "--timeout"},
        RefusedCase{"SuiteZero", "-H h -C 0", "--cipher-suite"},
        RefusedCase{"SuiteOne", "-H h -C 1", "--cipher-suite"},
        RefusedCase{"SuiteTwo", "-H h -C 2", "--cipher-suite"},
        RefusedCase{"SuiteWeak", "-H h -C 8", "\"8\" is none of 3, 17"},
        RefusedCase{"SuiteUnknown", "-H h -C 18", "--cipher-suite"},
        RefusedCase{"Privilege", "-H h -L root",
                    "\"root\" is none of USER, OPERATOR, ADMINISTRATOR"},
        RefusedCase{"PrivilegeNumber", "-H h -L 4", "is none of"},
        RefusedCase{"Format", "-H h --format xml", "--format"},
        RefusedCase{"Interface", "-H h -I serial", "--interface"},
        RefusedCase{"Authentication", "-H h -I https --auth digest", "--auth"},
        RefusedCase{"PinAndAuthorities",
                    "-H h -I https --pin sha256//47DEQpj8HBSa+/TImW+5JCeuQeRkm5NMpJWZG3hSuFU= "
                    "--ca-file /dev/null",
                    "--pin"},
        RefusedCase{
            "InsecureAndPin",
            "-H h -I https --pin sha256//47DEQpj8HBSa+/TImW+5JCeuQeRkm5NMpJWZG3hSuFU= --insecure",
            "--insecure"},
        RefusedCase{"NoAuthorities", "-H h -I https --ca-file /no/such/file", "--ca-file"},
        RefusedCase{"NodeWithoutNumber", "-H h node", "N"},
        RefusedCase{"NodeZero", "-H h node 0", "1 to 12"},
        RefusedCase{"NodeTooHigh", "-H h node 13", "1 to 12"},
        RefusedCase{"NodeNegative", "-H h node -1", "-1"},
        RefusedCase{"NodeNoNumber", "-H h node one", "one"},
        RefusedCase{"SupplyZero", "-H h select-psu 0", "1 to 9"},
        RefusedCase{"SupplyTooHigh", "-H h select-psu 10", "1 to 9"},
        RefusedCase{"NoHostForHosts", "hosts", "-H"},
        RefusedCase{"FanOutZero", "-H h --fanout 0", "--fanout"},
        RefusedCase{"FanOutTooWide", "-H h --fanout 1025", "1 to 1024"},
        RefusedCase{"LabelWithoutValue", "--label site health", "is no KEY=VALUE"},
        RefusedCase{"LabelWithoutKey", "--label =north health", "is no KEY=VALUE"},
        RefusedCase{"CountWithoutEvery", "-H h --count 3", "--every"},
        RefusedCase{"JsonEvery", "-H h --every 3 --format json", "not with json"},
        RefusedCase{"FieldsOfATable", "-H h --fields host", "goes only with --format csv"},
        RefusedCase{"FormatOfACheck", "-H h --format json check", "does not go with check"},
        RefusedCase{"RepeatedCheck", "-H h --every 5 check", "does not go with check"},
        RefusedCase{"FormatOfHosts", "-H h --format csv hosts", "does not go with hosts"},
        RefusedCase{"FormatOfADiff", "--format json diff a b", "does not go with diff"},
        RefusedCase{"SurplusWord", "-H h power 3", "3"}),
    [](const auto& tested) { return std::string(tested.param.name); });

struct EmptyCase
{
    const char* shortFlag;
    const char* longFlag;
    const char* interface;
};

class EmptyValue : public testing::TestWithParam<EmptyCase>
{
protected:
    static void ExpectRefused(const std::vector<std::string>& flag)
    {
        std::vector<std::string> words = {"-I", GetParam().interface};
        words.insert(words.end(), flag.begin(), flag.end());
        // The flags that are needed, and a word that must not be taken for the value.
        words.insert(words.end(), {"identity", "-H", "h"});
        const EarlyExit earlyExit = Refused(words);
        EXPECT_EQ(earlyExit.code, ExitCode::kWrongUsage) << testing::PrintToString(words);
        EXPECT_THAT(earlyExit.text, HasSubstr(GetParam().longFlag));
    }
};

/// As "$VARIABLE" gives it when the variable is not set.
TEST_P(EmptyValue, IsNoWayToLeaveAFlagOut)
{
    const std::string longFlag = GetParam().longFlag;
    ExpectRefused({longFlag, ""});
    ExpectRefused({longFlag + "="});
    if (*GetParam().shortFlag != '\0') {
        ExpectRefused({GetParam().shortFlag, ""});
    }
}

INSTANTIATE_TEST_SUITE_P(
    Of, EmptyValue,
    testing::Values(EmptyCase{"-H", "--host", "lanplus"}, EmptyCase{"-p", "--port", "lanplus"},
                    EmptyCase{"-U", "--user", "lanplus"}, EmptyCase{"-P", "--password", "lanplus"},
                    EmptyCase{"-f", "--password-file", "lanplus"},
                    EmptyCase{"-C", "--cipher-suite", "lanplus"},
                    EmptyCase{"-L", "--privilege", "lanplus"}, EmptyCase{"", "--ca-file", "https"},
                    EmptyCase{"", "--pin", "https"}, EmptyCase{"", "--auth", "https"},
                    EmptyCase{"", "--format", "lanplus"}, EmptyCase{"-k", "--kg", "lanplus"},
                    EmptyCase{"", "--timeout", "lanplus"}, EmptyCase{"-x", "--exclude", "lanplus"},
                    EmptyCase{"", "--fleet", "lanplus"}, EmptyCase{"", "--group", "lanplus"},
                    EmptyCase{"", "--label", "lanplus"}, EmptyCase{"", "--fanout", "lanplus"},
                    EmptyCase{"", "--fields", "lanplus"}),
    [](const auto& tested) {
        std::string name = tested.param.longFlag;
        name.erase(std::remove(name.begin(), name.end(), '-'), name.end());
        return name;
    });

TEST(EmptyInterface, IsNoWayToLeaveItOut)
{
    EXPECT_EQ(Refused({"-H", "h", "-I", ""}).code, ExitCode::kWrongUsage);
}

TEST(Help, NamesEveryCommandFlagAndExitCode)
{
    const EarlyExit help = Refused("--help");
    EXPECT_EQ(help.code, ExitCode::kEverythingRead);
    for (const Cli::Command& command : Cli::kCommands) {
        EXPECT_THAT(help.text, HasSubstr("\n  " + std::string(command.name) + " "));
    }
    for (const Cli::ExitCodeMeaning& entry : Cli::kExitCodes) {
        EXPECT_THAT(help.text, HasSubstr(std::string(entry.meaning)));
    }
    for (const char* flag : {"-I,--interface",
                             "-H,--host",
                             "-p,--port",
                             "-U,--user",
                             "-P,--password",
                             "-f,--password-file",
                             "-E,--password-env",
                             "--timeout",
                             "-k,--kg",
                             "-C,--cipher-suite",
                             "-L,--privilege",
                             "--ca-file",
                             "--pin",
                             "--insecure",
                             "--auth",
                             "--format",
                             "--fields",
                             "--every",
                             "--count",
                             "-x,--exclude",
                             "--fleet",
                             "--group",
                             "--label",
                             "--all",
                             "--connect-timeout",
                             "--keep-going",
                             "--fanout",
                             "-v,--verbose",
                             "-h,--help",
                             "-V,--version"}) {
        EXPECT_THAT(help.text, HasSubstr(flag));
    }
}

TEST(Help, FitsAnOrdinaryTerminal)
{
    std::vector<std::string> lines = {"--help"};
    for (const Cli::Command& command : Cli::kCommands) {
        lines.push_back(std::string(command.name) + " --help");
    }
    for (const std::string& line : lines) {
        std::istringstream help(Refused(line).text);
        for (std::string text; std::getline(help, text);) {
            EXPECT_LE(text.size(), 80U) << line << ": " << text;
        }
    }
}

TEST(Help, TellsOfEachCommandHowToCallItAndWhatItPrints)
{
    for (const Cli::Command& command : Cli::kCommands) {
        const EarlyExit help = Refused(std::string(command.name) + " --help");
        EXPECT_EQ(help.code, ExitCode::kEverythingRead);
        EXPECT_THAT(help.text, HasSubstr(" [FLAG]... " + std::string(command.name)));
        EXPECT_THAT(help.text, HasSubstr(std::string(command.details)));
        EXPECT_THAT(help.text, HasSubstr(std::string(command.argument)));
    }
}

TEST(Help, TellsTheVersion)
{
    EXPECT_THAT(Refused("--version").text, testing::MatchesRegex("vktinventory [0-9.]+\n"));
}

}  // namespace
}  // namespace Tulvo::Test
