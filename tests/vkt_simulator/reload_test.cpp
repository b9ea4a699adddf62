// SPDX-License-Identifier: Apache-2.0
// A vkt-simulator whose scenarios change while it runs, from outside.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <csignal>
#include <filesystem>
#include <fstream>
#include <future>

#include "tests/support/temporary_directory.h"
#include "tests/vkt_simulator/curl.h"
#include "tests/vkt_simulator/simulator_process.h"

namespace Tulvo::Simulator {
namespace {

using nlohmann::json;
using testing::HasSubstr;

const char* const kAccount = "-P enclosure -H 127.0.0.1 -N 30";
const char* const kSupplies = "0x32 0x91";
const char* const kBothPresent = " 00 00 03 03 00 00\nexit 0";
const char* const kFirstPulled = " 00 00 02 03 00 00\nexit 0";

// One enclosure of the first generation, from a file that can be changed.
class Reload : public testing::Test
{
protected:
    Reload() { Set("/supplies/0/present", true); }

    // What is said a moment later is still in the file.
    void Set(const std::string& pointer, const json& value)
    {
        scenario_[json::json_pointer(pointer)] = value;
        Write(scenario_.dump());
    }
    void Write(const std::string& text) const { std::ofstream(file_) << text; }

    // Has the simulator read its file, and returns when it says that it plays what it has read.
    static std::string Reread(SimulatorProcess& simulator)
    {
        simulator.Signal(SIGUSR1);
        return simulator.Line();
    }
    static std::string Ask(const json& endpoints, const std::string& raw)
    {
        return Ipmitool(endpoints.at("rmcp").at("port").get<std::uint16_t>(), kAccount, raw);
    }
    static std::string AskHttps(const json& endpoints, int command)
    {
        return json::parse(Curl(endpoints.at("https"), IpmiCall(50, command, "")))
            .at("ResponseData");
    }
    // An error is not followed by a line, so it has to be looked for.
    static std::string AwaitError(const SimulatorProcess& simulator, std::size_t after)
    {
        while (simulator.ErrorText().find('\n', after) == std::string::npos) {
            usleep(1000);
        }
        return simulator.ErrorText().substr(after);
    }

    TemporaryDirectory folder_;
    const std::string file_ = (folder_ / "scenario.json").string();

private:
    json scenario_ = json::parse(std::ifstream(SCENARIO_FOLDER "/healthy-first.json"));
};

TEST_F(Reload, ChangesTheAnswersOfBothTransports)
{
    SimulatorProcess simulator({"--scenario", file_});
    const json endpoints = simulator.Endpoints();
    EXPECT_EQ(Ask(endpoints, kSupplies), kBothPresent);
    EXPECT_EQ(AskHttps(endpoints, 0x91), "000003030000");
    Set("/supplies/0/present", false);
    EXPECT_EQ(Ask(endpoints, kSupplies), kBothPresent);
    EXPECT_EQ(Reread(simulator), R"({"reloaded": 1})");
    EXPECT_EQ(Ask(endpoints, kSupplies), kFirstPulled);
    EXPECT_EQ(AskHttps(endpoints, 0x91), "000002030000");
}

TEST_F(Reload, ChangesEveryEnclosureAndKeepsItsNumber)
{
    SimulatorProcess simulator(
        {"--scenario", file_, "--scenario", "healthy-vkt2-fe-2", "--count", "50"});
    std::vector<json> lines;
    while (lines.size() < 50) {
        lines.push_back(simulator.Endpoints());
    }
    Set("/module/serialNumber", "CHANGED");
    EXPECT_EQ(Reread(simulator), R"({"reloaded": 50})");
    EXPECT_EQ(Ask(lines[0], "0x32 0xb0 5 1"), " 43 48 41 4e 47 45 44 30 31 00\nexit 0");
    EXPECT_EQ(Ask(lines[48], "0x32 0xb0 5 1"), " 43 48 41 4e 47 45 44 34 39 00\nexit 0");
    EXPECT_EQ(Ask(lines[49], "0x32 0xb0 5 1"), " 05 01 4a 33 30 41 42 43 31 32 35 30 00\nexit 0");
}

TEST_F(Reload, MayChangeGenerationAndFaults)
{
    SimulatorProcess simulator({"--scenario", file_});
    const json endpoints = simulator.Endpoints();
    std::filesystem::copy_file(SCENARIO_FOLDER "/truncated.json", file_,
                               std::filesystem::copy_options::overwrite_existing);
    EXPECT_EQ(Reread(simulator), R"({"reloaded": 1})");
    EXPECT_EQ(Ask(endpoints, "0x32 0xb0 5 0"), " 05 00 37\nexit 0");
}

TEST_F(Reload, BeginsFaultsAnew)
{
    Set("/faults", json::parse(R"([{"netFn": 50, "command": 168, "kind": "completionCode",
                                    "completionCode": 213, "times": 1}])"));
    SimulatorProcess simulator({"--scenario", file_, "--no-https"});
    const json endpoints = simulator.Endpoints();
    const char* const status = "0x32 0xa8";
    EXPECT_THAT(Ask(endpoints, status), HasSubstr("rsp=0xd5"));
    EXPECT_THAT(Ask(endpoints, status), HasSubstr("exit 0"));
    Reread(simulator);
    EXPECT_THAT(Ask(endpoints, status), HasSubstr("rsp=0xd5"));
}

TEST_F(Reload, ChangesHowManySessionsThereCanBe)
{
    SimulatorProcess simulator({"--scenario", file_});
    const json endpoints = simulator.Endpoints();
    const std::string code =
        "--output /dev/null --write-out '%{http_code}' " + IpmiCall(50, 0x91, "");
    for (int i = 0; i < 2; ++i) {
        Set("/sessions", 0);
        Reread(simulator);
        EXPECT_THAT(Ask(endpoints, kSupplies), HasSubstr("insufficient resources for session"));
        EXPECT_EQ(Curl(endpoints.at("https"), code), "503");
        Set("/sessions", 1);
        Reread(simulator);
        EXPECT_EQ(Ask(endpoints, kSupplies), kBothPresent);
        EXPECT_EQ(Curl(endpoints.at("https"), code), "200");
    }
}

TEST_F(Reload, KeepsSessionsOverHttps)
{
    SimulatorProcess simulator({"--scenario", file_, "--no-rmcp"});
    const json https = simulator.Endpoints().at("https");
    const std::string headers =
        Curl(https,
             "--include " + Post(R"({"UserName":"admin","Password":"enclosure"})", kSessionsPlace));
    const std::size_t start = headers.find("X-Auth-Token: ");
    ASSERT_NE(start, std::string::npos);
    const std::string token = headers.substr(start, headers.find('\r', start) - start);
    Set("/supplies/0/present", false);
    Reread(simulator);
    EXPECT_THAT(Curl(https, "--header '" + token + "' " +
                                Post(R"({"NetFn":50,"Lun":0,"Command":145,"RequestData":""})")),
                HasSubstr("000002030000"));
}

// ipmitool reads its commands from a pipe, so that its session lasts as long as there is a writer.
TEST_F(Reload, KeepsSessionsOverRmcpPlus)
{
    SimulatorProcess simulator({"--scenario", file_, "--no-https"});
    const std::string pipe = (folder_ / "commands").string();
    const std::string answers = (folder_ / "answers").string();
    ASSERT_EQ(mkfifo(pipe.c_str(), 0600), 0);
    auto client =
        std::async(std::launch::async, Shell,
                   "stdbuf -oL ipmitool -I lanplus -C 3 -U admin -P enclosure "
                   "-H 127.0.0.1 -N 30 -p " +
                       std::to_string(simulator.Port()) + " exec " + pipe + " >" + answers);
    {
        std::ofstream commands(pipe);
        commands << "raw 0x32 0x91" << std::endl;
        while (!std::filesystem::exists(answers) || std::filesystem::file_size(answers) == 0) {
            usleep(1000);
        }
        Set("/supplies/0/present", false);
        EXPECT_EQ(Reread(simulator), R"({"reloaded": 1})");
        commands << "raw 0x32 0x91" << std::endl;
    }
    EXPECT_EQ(client.get(), "exit 0");
    EXPECT_EQ(Shell("cat " + answers), " 00 00 03 03 00 00\n 00 00 02 03 00 00\nexit 0");
}

TEST_F(Reload, RefusesWhatItCannotPlayAndGoesOn)
{
    SimulatorProcess simulator({"--scenario", "healthy-vkt2-fe-2", "--scenario", file_});
    simulator.Line();
    const json endpoints = simulator.Endpoints();
    const std::string end = "; the scenarios are played as they were\n";
    std::size_t read = 0;
    const auto refused = [&] {
        simulator.Signal(SIGUSR1);
        std::string error = AwaitError(simulator, read);
        read += error.size();
        EXPECT_EQ(Ask(endpoints, kSupplies), kBothPresent);
        return error;
    };
    Set("/supplies/0/present", 1);
    EXPECT_EQ(refused(),
              "vkt-simulator: " + file_ + ": /supplies/0/present: must be true or false" + end);
    Set("/supplies/0/present", false);
    Set("/credentials/password", "another");
    EXPECT_EQ(refused(), "vkt-simulator: " + file_ +
                             ": /credentials: cannot change while the simulator runs" + end);
    std::filesystem::remove(file_);
    EXPECT_EQ(refused(), "vkt-simulator: " + file_ +
                             ": cannot be read; it must be a file with a scenario" + end);
    Set("/credentials/password", "enclosure");
    EXPECT_EQ(Reread(simulator), R"({"reloaded": 2})");
    EXPECT_EQ(Ask(endpoints, kSupplies), kFirstPulled);
}

TEST_F(Reload, WaitsUntilTheSimulatorIsReady)
{
    SimulatorProcess simulator({"--scenario", file_, "--count", "50"});
    while (simulator.Children().empty()) {
        usleep(1000);
    }
    simulator.Signal(SIGUSR1);
    for (int i = 0; i < 50; ++i) {
        EXPECT_TRUE(simulator.Endpoints().contains("rmcp"));
    }
    EXPECT_EQ(simulator.Line(), R"({"reloaded": 50})");
}

// The module is busy with an answer for a minute, and reads nothing before.
TEST_F(Reload, KeepsNothingFromEndingOnRequest)
{
    Set("/faults", json::parse(R"([{"netFn": 50, "command": 145, "kind": "latency",
                                    "milliseconds": 60000}])"));
    SimulatorProcess simulator({"--scenario", file_, "--statistics"});
    const json endpoints = simulator.Endpoints();
    EXPECT_THAT(Ipmitool(endpoints.at("rmcp").at("port").get<std::uint16_t>(),
                         "-P enclosure -H 127.0.0.1 -N 1 -R 1", kSupplies),
                HasSubstr("exit 1"));
    simulator.Signal(SIGUSR1);
    usleep(100000);
    simulator.Signal(SIGTERM);
    EXPECT_EQ(simulator.ExitCode(), 0);
    EXPECT_THAT(simulator.Rest(), HasSubstr("\"openSessions\":0"));
    EXPECT_EQ(simulator.ErrorText(), "");
}

TEST_F(Reload, KeepsThePortsAndTheCertificate)
{
    SimulatorProcess simulator({"--scenario", file_});
    const json endpoints = simulator.Endpoints();
    Set("/https", json{{"expiredCertificate", true}});
    Reread(simulator);
    EXPECT_EQ(AskHttps(endpoints, 0x91), "000003030000");
}

}  // namespace
}  // namespace Tulvo::Simulator
