// SPDX-License-Identifier: Apache-2.0
// The command with a fleet file: whom it asks then, and as whom.
#include <gmock/gmock.h>
#include <sys/stat.h>

#include <array>
#include <chrono>
#include <cstddef>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <functional>
#include <map>
#include <nlohmann/json.hpp>
#include <optional>
#include <utility>

#include "apps/vktinventory/input/command_line.h"
#include "apps/vktinventory/input/password.h"
#include "apps/vktinventory/input/targets.h"
#include "common/failure/log_in_gate.h"
#include "tests/vktinventory_command/fake_enclosure.h"
#include "tests/vktinventory_command/run_command.h"

namespace Tulvo::Test {
namespace {

using namespace Enclosures;
using Cli::ExitCode;
using nlohmann::json;
using testing::HasSubstr;
using testing::Not;

constexpr const char* kFleet = R"(
[defaults]
user = "monitor"
password-file = "all.password"

[[group]]
name = "rack1"
hosts = ["enc[001-003]"]
expect-psus = 3
labels = { site = "north", rack = "1" }

[[group]]
name = "remote"
hosts = ["far[1-2]:8443"]
interface = "https"
insecure = true
password = "remote secret"
labels = { site = "south" }

[[host]]
name = "enc002"
user = "service"
timeout = 7
)";

class Fleet : public testing::Test
{
protected:
    Fleet()
    {
        FakeEnclosure::Current() = FakeEnclosure::Healthy();
        Write("fleet.toml", kFleet);
        Write("all.password", "from the file\n");
    }
    ~Fleet() override { std::filesystem::remove_all(folder_); }

    std::string Path(const std::string& name) const { return folder_ + "/" + name; }
    void Write(const std::string& name, const std::string& text) const
    {
        std::ofstream(Path(name)) << text;
        chmod(Path(name).c_str(), S_IRUSR | S_IWUSR);
    }

    Ran RunOn(std::vector<std::string> words) const
    {
        words.insert(words.begin(), {"--fleet", Path("fleet.toml")});
        return RunCommand(words);
    }
    std::vector<json> Documents(std::vector<std::string> words) const
    {
        words.insert(words.begin(), {"--format", "json"});
        const json printed = json::parse(RunOn(words).out);
        return printed.is_array() ? printed.get<std::vector<json>>() : std::vector{printed};
    }
    static const Target& Asked() { return FakeEnclosure::Current().asked.value(); }

private:
    static std::string MakeFolder()
    {
        std::string folder = testing::TempDir() + "fleetXXXXXX";
        return mkdtemp(folder.data());
    }
    const std::string folder_ = MakeFolder();
};

TEST_F(Fleet, IsAskedAGroupAtATime)
{
    const auto documents = Documents({"--group", "rack1", "status"});
    ASSERT_EQ(documents.size(), 3U);
    EXPECT_EQ(documents[0]["host"], "enc001");
    EXPECT_EQ(documents[0]["group"], "rack1");
    EXPECT_EQ(documents[0]["labels"], (json{{"site", "north"}, {"rack", "1"}}));
}

struct SelectionCase
{
    std::vector<std::string> words;
    std::string hosts;
};

TEST_F(Fleet, IsSelectedFromByGroupLabelAndName)
{
    const SelectionCase cases[] = {
        {{"--all"}, "enc001\nenc002\nenc003\nfar1:8443\nfar2:8443\n"},
        {{"--label", "site=south"}, "far1:8443\nfar2:8443\n"},
        {{"--group", "remote", "--group", "rack1", "-x", "enc[001-002],far1:8443"},
         "enc003\nfar2:8443\n"},
        {{"--group", "remote", "-x", "far1"}, "far2:8443\n"},
        {{"-H", "enc[1-2],[fd00::1]:624,enc1:624", "-x", "enc1,[fd00::1]"}, "enc2\n"},
        {{"-H", "enc[1-2],enc1:624", "-x", "enc1:624"}, "enc1\nenc2\n"},
        {{"-H", "gw,far1:8443", "--group", "remote"}, "gw\nfar1:8443\nfar2:8443\n"},
    };
    for (const SelectionCase& tested : cases) {
        std::vector<std::string> words = tested.words;
        words.emplace_back("hosts");
        EXPECT_EQ(RunOn(words).out, tested.hosts);
    }
}

TEST_F(Fleet, WithoutAHostIsToldSo)
{
    Write("fleet.toml", "[defaults]\nuser = \"monitor\"\n");
    const Ran ran = RunOn({"--all", "hosts"});
    EXPECT_EQ(ran.code, ExitCode::kWrongUsage);
    EXPECT_THAT(ran.error, HasSubstr("fleet.toml names no host"));
}

TEST_F(Fleet, SaysHowEachHostIsAsked)
{
    RunOn({"-H", "enc001", "status"});
    EXPECT_EQ(Asked().user, "monitor");
    EXPECT_EQ(Asked().password, "from the file");
    EXPECT_EQ(FakeEnclosure::Current().limits.deadline, std::chrono::seconds(30));
    RunOn({"-H", "enc002", "status"});
    EXPECT_EQ(Asked().user, "service");
    EXPECT_EQ(FakeEnclosure::Current().limits.deadline, std::chrono::seconds(7));
    RunOn({"-H", "enc002", "check"});
    EXPECT_EQ(FakeEnclosure::Current().limits.deadline, std::chrono::seconds(7));
    RunOn({"-H", "far1:8443", "status"});
    EXPECT_EQ(Asked().host, "far1");
    EXPECT_EQ(Asked().port, 8443);
    EXPECT_EQ(Asked().password, "remote secret");
    EXPECT_TRUE(std::holds_alternative<Https>(Asked().transport));
}

TEST_F(Fleet, LimitsTheFirstAnswerOfOneWhereSomebodySaysHow)
{
    const auto& limits = FakeEnclosure::Current().limits;
    RunOn({"-H", "enc001", "status"});
    EXPECT_EQ(limits.firstAnswer, std::chrono::seconds(0));
    for (const char* const command : {"status", "check"}) {
        RunOn({"-H", "enc001", "--connect-timeout", "3", command});
        EXPECT_EQ(limits.firstAnswer, std::chrono::seconds(3)) << command;
    }
}

TEST_F(Fleet, GivesWayToFlags)
{
    RunOn({"-H", "enc002", "-U", "root", "-P", "typed", "--timeout", "9", "-C", "3", "status"});
    EXPECT_EQ(Asked().user, "root");
    EXPECT_EQ(Asked().password, "typed");
    EXPECT_EQ(FakeEnclosure::Current().limits.deadline, std::chrono::seconds(9));
    EXPECT_EQ(std::get<RmcpPlus>(Asked().transport).cipherSuite, 3);
}

TEST_F(Fleet, TellsWhatAnEnclosureShouldHave)
{
    const json document = Documents({"-H", "enc001", "health"})[0];
    EXPECT_EQ(document["health"]["status"], "critical");
    EXPECT_THAT(RunOn({"--group", "rack1", "health"}).out,
                HasSubstr("enc[001-003]  critical  Chassis"));
}

TEST_F(Fleet, IsFoundByItsVariable)
{
    setenv("VKT_FLEET", Path("fleet.toml").c_str(), 1);
    EXPECT_EQ(RunCommand({"--group", "remote", "hosts"}).out, "far1:8443\nfar2:8443\n");
    unsetenv("VKT_FLEET");
}

TEST_F(Fleet, NamesGroupsInTablesAndCsv)
{
    EXPECT_EQ(RunOn({"--label", "rack=1", "--format", "csv", "--fields", "host,group", "--fanout",
                     "1", "status"})
                  .out,
              "host,group\nenc001,rack1\nenc002,rack1\nenc003,rack1\n");
    EXPECT_THAT(RunOn({"--group", "rack1"}).out, testing::StartsWith("=== enc001 (rack1) ===\n"));
}

TEST_F(Fleet, TakesFlagsOfAnInterfaceThatSomeHostHas)
{
    EXPECT_EQ(RunOn({"--all", "-C", "3", "--auth", "basic", "status"}).code,
              ExitCode::kEverythingRead);
    const Ran ran = RunOn({"--group", "rack1", "--auth", "basic", "status"});
    EXPECT_EQ(ran.code, ExitCode::kWrongUsage);
    EXPECT_THAT(ran.error, HasSubstr("--auth: goes only with -I https"));
}

TEST_F(Fleet, WithMistakesAsksNobodyAndNamesEach)
{
    Write("fleet.toml",
          "[defaults]\nusr = \"x\"\n\n[[group]]\nname = \"a\"\nhosts = [\"e[2-1]\"]\n");
    const Ran ran = RunOn({"-H", "enc1", "-P", "secret", "status"});
    EXPECT_EQ(ran.code, ExitCode::kWrongUsage);
    EXPECT_FALSE(FakeEnclosure::Current().asked);
    EXPECT_EQ(ran.out, "");
    EXPECT_THAT(ran.error, HasSubstr("vktinventory: " + Path("fleet.toml") + ":2: "));
    EXPECT_THAT(ran.error, HasSubstr("\nvktinventory: " + Path("fleet.toml") + ":6: "));
}

TEST_F(Fleet, ThatIsNotThereIsAMistake)
{
    const Ran ran = RunCommand({"--fleet", Path("other.toml"), "--all", "hosts"});
    EXPECT_EQ(ran.code, ExitCode::kWrongUsage);
    EXPECT_THAT(ran.error, HasSubstr(Path("other.toml")));
}

TEST_F(Fleet, HasNoGroupOfAnotherName)
{
    const Ran ran = RunOn({"--group", "rack2", "health"});
    EXPECT_EQ(ran.code, ExitCode::kWrongUsage);
    EXPECT_THAT(ran.error, HasSubstr("rack2"));
}

/// Modules that take one password, and how often each group was logged in to, by round.
class LogIns
{
public:
    static constexpr std::size_t kRounds = 3;
    static constexpr std::size_t kHosts = 15;
    using ByRound = std::array<int, kRounds>;

    /// @param afterRound called with a round's number, from 1, when all have been asked.
    explicit LogIns(std::function<void(std::size_t)> afterRound)
        : healthy_(fake_.record), afterRound_(std::move(afterRound))
    {
        fake_.onRead = [this] { Read(*fake_.asked, *fake_.limits.gate); };
    }

    std::string accepted;
    std::map<char, ByRound> counts;  ///< By the first letter of the host's name.

private:
    void Read(const Target& target, LogInGate& gate)
    {
        fake_.others[target.host] = healthy_;
        if (const auto failure = LogIn(target, gate)) {
            fake_.Refuse(target.host, *failure);
        }
        if (++reads_ % kHosts == 0) {
            afterRound_(reads_ / kHosts);
        }
    }

    std::optional<Failure> LogIn(const Target& target, LogInGate& gate)
    {
        auto failure = gate.Closed();
        if (!failure) {
            failure = gate.Enter(std::chrono::steady_clock::now(), {});
        }
        if (failure) {
            return failure;
        }
        ++counts[target.host.front()].at(reads_ / kHosts);
        const bool right = target.password == accepted;
        gate.Leave(right ? LogInGate::End::kAccepted : LogInGate::End::kRefused);
        return right ? std::nullopt
                     : std::optional(Failure{Cause::kRefused, "the password is wrong", "", {}});
    }

    FakeEnclosure& fake_ = FakeEnclosure::Current();
    const Enclosures::Enclosure healthy_;
    const std::function<void(std::size_t)> afterRound_;
    std::size_t reads_ = 0;
};

TEST_F(Fleet, IsNotLockedOutWhereAPasswordChangesBetweenTwoRounds)
{
    Write("fleet.toml",
          "[[group]]\nname = \"file\"\nhosts = [\"f[1-5]\"]\nuser = \"f\"\n"
          "password-file = \"all.password\"\n"
          "[[group]]\nname = \"command\"\nhosts = [\"c[1-5]\"]\nuser = \"c\"\n"
          "password-command = \"cat '" +
              Path("all.password") +
              "'\"\n"
              "[[group]]\nname = \"text\"\nhosts = [\"t[1-5]\"]\nuser = \"t\"\n"
              "password = \"from the file\"\n");
    LogIns logIns([&](std::size_t round) {
        logIns.accepted = "new";
        if (round == 2) {
            Write("all.password", "new\n");
        }
    });
    logIns.accepted = "from the file";
    const Ran ran = RunOn({"--all", "--every", "1", "--count", "3", "--format", "jsonl", "status"});
    EXPECT_EQ(ran.code, ExitCode::kRefused);
    EXPECT_EQ(logIns.counts, (std::map<char, LogIns::ByRound>{
                                 {'f', {5, 3, 5}}, {'c', {5, 3, 5}}, {'t', {5, 3, 0}}}));
    EXPECT_THAT(ran.error, HasSubstr("refused: not asked for "));
    EXPECT_THAT(ran.error, HasSubstr("(see -U, -f and --keep-going)"));
}

TEST_F(Fleet, TakesTheFileOfAFlagAsItIsInEachRound)
{
    const auto parsed = Cli::ParseCommandLine(
        {"--fleet", Path("fleet.toml"), "--group", "rack1", "-f", Path("typed"), "status"});
    const auto& options = std::get<Cli::Options>(parsed);
    Write("typed", "old\n");
    Cli::Targets targets(options,
                         {"", [&] { return Cli::PasswordFromFile(options.passwordFile); }});
    Write("typed", "new\n");
    EXPECT_EQ(targets.Target(0).password, "old");
    EXPECT_THAT(targets.Renew({}, {}), testing::IsEmpty());
    EXPECT_EQ(targets.Target(0).password, "new");
    std::filesystem::remove(Path("typed"));
    EXPECT_THAT(targets.Renew({}, {}), testing::ElementsAre(HasSubstr("cannot be opened")));
    EXPECT_EQ(targets.Target(0).password, "new");
}

TEST_F(Fleet, NamesTheFileOfPinsWhereAKeyIsAnother)
{
    const std::string pin = "sha256//" + std::string(43, 'A') + "=";
    Write("remote.pins", "far " + pin + "\n");
    Write("fleet.toml",
          "[[group]]\nname = \"remote\"\nhosts = [\"far\"]\ninterface = \"https\"\n"
          "password = \"x\"\npins-file = \"remote.pins\"\n");
    FakeEnclosure::Current().Refuse({Cause::kNotTrusted, "another key", "pin that", {}});
    const std::string named = Path("fleet.toml") + ":6: pins-file: " + Path("remote.pins");
    EXPECT_EQ(RunOn({"-H", "far", "status"}).error,
              "vktinventory: not trusted: another key; pin that (see " + named +
                  ", and vktinventory pins)\n");
    EXPECT_THAT(RunOn({"-H", "far", "--pin", pin, "status"}).error,
                HasSubstr("(see --ca-file and --pin)"));
}

TEST_F(Fleet, SaysWhereARefusedPasswordIsFrom)
{
    FakeEnclosure::Current().Refuse({Cause::kRefused, "the password is wrong", "check it", {}});
    EXPECT_EQ(RunOn({"-H", "enc001", "status"}).error,
              "vktinventory: refused: the password is wrong; check it (see -U and -f); the "
              "password is that of " +
                  Path("fleet.toml") + ":4: password-file\n");
    EXPECT_EQ(RunOn({"-H", "enc001", "-P", "typed", "status"}).error,
              "vktinventory: refused: the password is wrong; check it (see -U and -f)\n");
    FakeEnclosure::Current().Refuse({Cause::kRefused, "the privilege is too high", "", {}});
    EXPECT_EQ(RunOn({"-H", "enc001", "status"}).error,
              "vktinventory: refused: the privilege is too high (see -U and -L)\n");
    FakeEnclosure::Current().Refuse({Cause::kRefused, "not asked: refused", "check it", {}});
    Write("fleet.toml",
          "[[group]]\nname = \"a\"\nhosts = [\"enc1\"]\nuser = \"u\"\n"
          "password-command = \"echo x\"\n");
    EXPECT_THAT(RunOn({"-H", "enc1", "status"}).error,
                HasSubstr("that of " + Path("fleet.toml") + ":5: password-command\n"));
}

TEST_F(Fleet, NeverShowsItsPasswords)
{
    FakeEnclosure::Current().Refuse({Cause::kRefused, "the password is wrong", "", {}});
    for (const char* format : {"table", "json", "jsonl", "csv"}) {
        const Ran ran = RunOn({"--all", "-v", "--format", format, "health"});
        EXPECT_EQ(ran.code, ExitCode::kRefused);
        for (const char* hidden : {"remote secret", "from the file"}) {
            EXPECT_THAT(ran.out + ran.error, Not(HasSubstr(hidden)));
        }
    }
}

}  // namespace
}  // namespace Tulvo::Test
