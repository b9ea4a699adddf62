// SPDX-License-Identifier: Apache-2.0
// The program vkt-simulator, from outside.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <csignal>
#include <filesystem>
#include <fstream>
#include <nlohmann/json.hpp>

#include "tests/support/temporary_directory.h"
#include "tests/vkt_simulator/shell.h"
#include "tests/vkt_simulator/simulator_process.h"

namespace Tulvo::Simulator {
namespace {

using testing::AllOf;
using testing::AnyOf;
using testing::EndsWith;
using testing::Eq;
using testing::HasSubstr;
using testing::StartsWith;

const char* const kAccount = "-P enclosure -H 127.0.0.1 -N 30 -R 1";

// Runs with a folder of its own for temporary files, so that what is left of them can be seen.
class VktSimulator : public testing::Test
{
protected:
    std::vector<std::string> Environment() const { return {"TMPDIR=" + folder_.Path().string()}; }
    bool NothingLeft() const { return std::filesystem::is_empty(folder_.Path()); }

    // A scenario file of a healthy first generation but for the value at a JSON pointer.
    std::string WriteHealthyWith(const std::string& pointer, const nlohmann::json& value) const
    {
        std::ifstream shipped(SCENARIO_FOLDER "/healthy-first.json");
        nlohmann::json scenario = nlohmann::json::parse(shipped);
        scenario[nlohmann::json::json_pointer(pointer)] = value;
        std::string file = (folder_ / "scenario.json").string();
        std::ofstream(file) << scenario;
        return file;
    }

    TemporaryDirectory folder_;
};

class VktSimulatorEnd : public VktSimulator, public testing::WithParamInterface<int>
{
};

TEST_F(VktSimulator, PrintsItsEndpointsOnceItAnswers)
{
    SimulatorProcess simulator({"--scenario", "healthy-first"});
    const nlohmann::json endpoints = nlohmann::json::parse(simulator.Line());
    EXPECT_EQ(endpoints.at("rmcp").at("address"), "127.0.0.1");
    EXPECT_EQ(endpoints.at("rmcp").at("user"), "admin");
    EXPECT_EQ(endpoints.at("rmcp").at("password"), "enclosure");
    const auto port = endpoints.at("rmcp").at("port").get<std::uint16_t>();
    EXPECT_EQ(Ipmitool(port, kAccount, "0x32 0xb0 5 0"), " 34 4e 32 50 00\nexit 0");
}

TEST_P(VktSimulatorEnd, IsCleanOnASignal)
{
    SimulatorProcess simulator({"--scenario", "healthy-vkt2-fc-9"}, Environment());
    ASSERT_NE(simulator.Line(), "");
    const std::vector<pid_t> children = simulator.Children();
    ASSERT_EQ(children.size(), 1U);
    EXPECT_TRUE(NothingLeft()) << "while it runs";
    simulator.Signal(GetParam());
    EXPECT_EQ(simulator.ExitCode(), 0);
    EXPECT_EQ(simulator.ErrorText(), "");
    EXPECT_NE(kill(children[0], 0), 0) << "its server still runs";
    EXPECT_TRUE(NothingLeft());
}

INSTANTIATE_TEST_SUITE_P(Signals, VktSimulatorEnd, testing::Values(SIGTERM, SIGINT, SIGHUP));

TEST_F(VktSimulator, LeavesNothingWhenItIsKilled)
{
    SimulatorProcess simulator({"--scenario", "healthy-vkt2-fc-9"}, Environment());
    ASSERT_NE(simulator.Line(), "");
    const std::vector<pid_t> children = simulator.Children();
    ASSERT_EQ(children.size(), 1U);
    simulator.Signal(SIGKILL);
    EXPECT_EQ(simulator.ExitCode(), 256 + SIGKILL);
    EXPECT_TRUE(IsGone(children[0]));
    EXPECT_TRUE(NothingLeft());
}

TEST_F(VktSimulator, EndsCleanlyWhileItsServerNeverGetsReady)
{
    std::filesystem::create_directory(folder_ / "bin");
    const std::string server = (folder_ / "bin/ipmi_sim").string();
    const std::string started = (folder_ / "bin/started").string();
    std::ofstream(server) << "#!/bin/sh\nmkfifo " << started << "; exec cat " << started << '\n';
    chmod(server.c_str(), 0700);
    std::filesystem::create_directory(folder_ / "tmp");
    SimulatorProcess simulator({"--scenario", "healthy-first"},
                               {"TMPDIR=" + (folder_ / "tmp").string(),
                                "PATH=" + (folder_ / "bin").string() + ":/usr/bin:/bin"});
    while (!std::filesystem::exists(started)) {
        usleep(1000);
    }
    const std::vector<pid_t> children = simulator.Children();
    ASSERT_EQ(children.size(), 1U);
    simulator.Signal(SIGTERM);
    EXPECT_EQ(simulator.ExitCode(), 0);
    EXPECT_EQ(simulator.Line(), "");
    EXPECT_NE(kill(children[0], 0), 0);
    EXPECT_TRUE(std::filesystem::is_empty(folder_ / "tmp"));
}

// The shell has both ends of a pipe that is full. By its threads one sees that the simulator is
// about to print its endpoints.
TEST_F(VktSimulator, EndsOnRequestThoughItsOutputIsNotRead)
{
    const std::string pipe = (folder_ / "pipe").string();
    EXPECT_EQ(Shell("mkfifo " + pipe + "; exec 3<>" + pipe +
                    "; head -c 65536 /dev/zero >&3; "
                    "exec 2>&1; " SIMULATOR_PROGRAM " --scenario healthy-first >&3 & simulator=$!; "
                    "until [ $(ls /proc/$simulator/task | wc -l) -gt 1 ]; do sleep 0.01; done; "
                    "sleep 0.2; kill -TERM $simulator; "
                    "( sleep 100; kill -KILL $simulator ) >/dev/null 2>&1 3>&- & rescue=$!; "
                    "wait $simulator; code=$?; kill $rescue; rm " +
                    pipe + "; exit $code"),
              "exit 0");
}

TEST_F(VktSimulator, LeavesNothingWheneverItIsEndedWhileStarting)
{
    for (useconds_t microseconds = 0; microseconds <= 20000; microseconds += 500) {
        SimulatorProcess simulator({"--scenario", "healthy-first"}, Environment());
        usleep(microseconds);
        simulator.Signal(SIGTERM);
        // In its very first moments the signal ends it before it has anything to clean up.
        EXPECT_THAT(simulator.ExitCode(), AnyOf(Eq(0), Eq(256 + SIGTERM))) << microseconds;
        EXPECT_TRUE(NothingLeft()) << microseconds;
    }
}

TEST_F(VktSimulator, SaysSoWhenItsServerEnds)
{
    SimulatorProcess simulator({"--scenario", "healthy-first"});
    ASSERT_NE(simulator.Line(), "");
    kill(simulator.Children().at(0), SIGKILL);
    EXPECT_EQ(simulator.ExitCode(), 1);
    EXPECT_EQ(simulator.ErrorText(), "vkt-simulator: ipmi_sim has ended by itself\n");
}

TEST_F(VktSimulator, TakesThePortItIsGiven)
{
    SimulatorProcess first({"--scenario", "healthy-first"});
    const std::string port = std::to_string(first.Port());
    SimulatorProcess second({"--scenario", "healthy-first", "--port", port});
    EXPECT_EQ(second.ExitCode(), 1);
    EXPECT_EQ(second.Line(), "");
    EXPECT_EQ(second.ErrorText(),
              "vkt-simulator: cannot listen on UDP port " + port +
                  " of 127.0.0.1: Address already in use; choose another with --port\n");
    first.Signal(SIGTERM);
    first.ExitCode();
    SimulatorProcess third({"--scenario", "healthy-first", "--port", port});
    EXPECT_EQ(std::to_string(third.Port()), port);
}

TEST_F(VktSimulator, ListensOnIpv6Loopback)
{
    SimulatorProcess simulator({"--scenario", "healthy-first", "--listen", "::1"});
    EXPECT_EQ(Ipmitool(simulator.Port(), "-P enclosure -H ::1", "0x32 0xb0 5 0"),
              " 34 4e 32 50 00\nexit 0");
}

TEST_F(VktSimulator, ListensToOtherMachinesOnlyWhenToldSo)
{
    for (const char* address : {"0.0.0.0", "::", "192.0.2.1"}) {
        SimulatorProcess simulator({"--scenario", "healthy-first", "--listen", address});
        EXPECT_EQ(simulator.ExitCode(), 2) << address;
        EXPECT_EQ(simulator.ErrorText(), "vkt-simulator: " + std::string(address) +
                                             " can be reached from other machines; "
                                             "--allow-remote permits it\n");
    }
    // An address for documentation, which no machine has: permitted, and then not to be had.
    for (const std::string transport : {"rmcp", "https"}) {
        SimulatorProcess simulator({"--scenario", "healthy-first", "--listen", "192.0.2.1",
                                    "--allow-remote", "--no-" + transport});
        EXPECT_EQ(simulator.ExitCode(), 1);
        EXPECT_THAT(simulator.ErrorText(),
                    HasSubstr(" port 0 of 192.0.2.1: Cannot assign requested address; choose "
                              "another with --listen\n"));
    }
}

TEST_F(VktSimulator, RefusesWrongUsage)
{
    const struct
    {
        std::vector<std::string> arguments;
        const char* message;
    } cases[] = {
        {{}, "--scenario is missing"},
        {{"--scenario", "no-such-thing"}, "no-such-thing: no such file, and no scenario"},
        {{"--scenario", "healthy-first", "--port", "65536"}, "--port: Value 65536 not in range"},
        {{"--scenario", "healthy-first", "--listen", "localhost"}, "is not a numeric"},
        {{"--colour"}, "--colour"},
    };
    for (const auto& wrong : cases) {
        SimulatorProcess simulator(wrong.arguments);
        EXPECT_EQ(simulator.ExitCode(), 2);
        EXPECT_EQ(simulator.Line(), "");
        EXPECT_THAT(simulator.ErrorText(), HasSubstr(wrong.message));
    }
}

TEST_F(VktSimulator, SaysWhatToDoWithoutAFolderForTemporaryFiles)
{
    SimulatorProcess simulator({"--scenario", "healthy-first"}, {"TMPDIR=/no/such/folder"});
    EXPECT_EQ(simulator.ExitCode(), 1);
    EXPECT_THAT(simulator.ErrorText(), HasSubstr("set TMPDIR"));
}

TEST_F(VktSimulator, NamesFileAndFieldAndReasonOfABadScenario)
{
    const std::string file = WriteHealthyWith("/nodes/3/width", 300);
    SimulatorProcess simulator({"--scenario", file});
    EXPECT_EQ(simulator.ExitCode(), 2);
    EXPECT_EQ(simulator.ErrorText(), "vkt-simulator: " + file +
                                         ": /nodes/3/width: must be an integer from 0 to 255, "
                                         "not 300\n");
}

TEST_F(VktSimulator, ListsAndExplains)
{
    SimulatorProcess list({"--list"});
    EXPECT_THAT(list.Rest(), StartsWith("busy\n    VKT2 that has no room for another session\n"));
    SimulatorProcess help({"--help"});
    EXPECT_THAT(help.Rest(), AllOf(HasSubstr("--scenario"), HasSubstr("Exit codes:"),
                                   HasSubstr("--allow-remote"), HasSubstr("Examples:")));
    EXPECT_EQ(help.ExitCode(), 0);
    for (const char* const flag : {"-V", "--version"}) {
        SimulatorProcess version({flag});
        EXPECT_EQ(version.Rest(), "vkt-simulator " VKT_VERSION "\n");
        EXPECT_EQ(version.ExitCode(), 0);
    }
}

TEST_F(VktSimulator, CallsAWrongWordByItsNameAndItself)
{
    SimulatorProcess simulator({"--scenarios"});
    EXPECT_EQ(simulator.ExitCode(), 2);
    EXPECT_THAT(simulator.ErrorText(),
                AllOf(StartsWith("vkt-simulator: "), HasSubstr("--scenarios"),
                      EndsWith("; --help tells more\n")));
}

TEST_F(VktSimulator, AsksForTheScenariosAccount)
{
    SimulatorProcess simulator({"--scenario", "healthy-first"});
    const std::uint16_t port = simulator.Port();
    EXPECT_THAT(Ipmitool(port, "-P wrong -H 127.0.0.1 -N 1 -R 1", "0x32 0xa8"),
                HasSubstr("exit 1"));
}

TEST_F(VktSimulator, GivesAnOperatorNoAdministratorsSession)
{
    const std::string file = WriteHealthyWith("/credentials/privilege", "operator");
    SimulatorProcess simulator({"--scenario", file});
    const std::uint16_t port = simulator.Port();
    EXPECT_THAT(Ipmitool(port, kAccount, "0x32 0x91"),
                HasSubstr("Set Session Privilege Level to ADMINISTRATOR failed"));
    EXPECT_THAT(Ipmitool(port, std::string(kAccount) + " -L OPERATOR", "0x32 0x91"),
                HasSubstr("rsp=0xd4"));
}

TEST_F(VktSimulator, HasRoomForAsManySessionsAsTheScenarioSays)
{
    const std::string file = WriteHealthyWith("/sessions", 1);
    SimulatorProcess simulator({"--scenario", file});
    const std::uint16_t port = simulator.Port();
    // One after the other, each gives its session back.
    for (int i = 0; i < 3; ++i) {
        EXPECT_EQ(Ipmitool(port, kAccount, "0x32 0x91"), " 00 00 03 03 00 00\nexit 0");
    }
}

TEST_F(VktSimulator, RefusesSessionsWhenTheModuleIsBusy)
{
    SimulatorProcess simulator({"--scenario", "busy"});
    EXPECT_THAT(Ipmitool(simulator.Port(), kAccount, "0x32 0xa8"),
                HasSubstr("insufficient resources for session"));
}

TEST_F(VktSimulator, RefusesItsStatusWithACompletionCode)
{
    SimulatorProcess simulator({"--scenario", "no-status"});
    EXPECT_THAT(Ipmitool(simulator.Port(), kAccount, "0x32 0xa8"), HasSubstr("rsp=0xd5"));
}

TEST_F(VktSimulator, AnswersLate)
{
    SimulatorProcess simulator({"--scenario", "slow"});
    const std::uint16_t port = simulator.Port();
    const auto start = std::chrono::steady_clock::now();
    EXPECT_THAT(Ipmitool(port, "-P enclosure -H 127.0.0.1 -N 20", "0x32 0xa8"),
                HasSubstr("exit 0"));
    EXPECT_GE(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(300));
}

// A log-in has three steps; none of them is sent again while it waits.
TEST_F(VktSimulator, LogsInAsSlowlyAsTheScenarioSays)
{
    const std::string file = WriteHealthyWith(
        "/faults", nlohmann::json::parse(R"([{"kind": "loginLatency", "milliseconds": 200}])"));
    SimulatorProcess simulator({"--scenario", file});
    const std::uint16_t port = simulator.Port();
    const auto start = std::chrono::steady_clock::now();
    EXPECT_EQ(Ipmitool(port, "-P enclosure -H 127.0.0.1 -N 20", "0x32 0xb0 5 0"),
              " 34 4e 32 50 00\nexit 0");
    EXPECT_GE(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(600));
}

TEST_F(VktSimulator, CutsAnswersShort)
{
    SimulatorProcess simulator({"--scenario", "truncated"});
    EXPECT_EQ(Ipmitool(simulator.Port(), kAccount, "0x32 0xb0 5 0"), " 05 00 37\nexit 0");
}

TEST_F(VktSimulator, LeavesRequestsUnansweredAsOftenAsTheScenarioSays)
{
    SimulatorProcess simulator({"--scenario", "dropped"});
    const std::uint16_t port = simulator.Port();
    // Two requests are lost, and the second repetition comes through.
    EXPECT_EQ(Ipmitool(port, "-P enclosure -H 127.0.0.1 -N 1 -R 4", "0x32 0x98 5"),
              " 00 b0 04 3a 07 54 0b\nexit 0");
    EXPECT_THAT(Ipmitool(port, "-P enclosure -H 127.0.0.1 -N 1 -R 2", "0x32 0xb0 5 0x0b"),
                HasSubstr("exit 1"));
    EXPECT_EQ(Ipmitool(port, kAccount, "0x32 0xb0 5 0"), " 05 00 37 58 32 5a 00\nexit 0");
}

}  // namespace
}  // namespace Tulvo::Simulator
