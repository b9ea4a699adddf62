// SPDX-License-Identifier: Apache-2.0
// One vkt-simulator that plays many enclosures, from outside.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <algorithm>
#include <csignal>
#include <filesystem>
#include <fstream>
#include <set>
#include <sstream>
#include <system_error>

#include "apps/vkt_simulator/udp_endpoint.h"
#include "tests/support/temporary_directory.h"
#include "tests/vkt_simulator/curl.h"
#include "tests/vkt_simulator/simulator_process.h"

namespace Tulvo::Simulator {
namespace {

using nlohmann::json;
using testing::HasSubstr;

using Words = std::vector<std::string>;

Words operator+(Words words, const Words& more)
{
    words.insert(words.end(), more.begin(), more.end());
    return words;
}

std::vector<json> Endpoints(SimulatorProcess& simulator, std::size_t count)
{
    std::vector<json> lines;
    while (lines.size() < count) {
        lines.push_back(simulator.Endpoints());
    }
    return lines;
}

std::uint16_t PortOf(const json& endpoints, const std::string& transport = "rmcp")
{
    return endpoints.at(transport).at("port").get<std::uint16_t>();
}

std::string FromHexadecimal(std::string digits)
{
    std::erase(digits, ' ');
    std::string text;
    for (std::size_t i = 0; i + 1 < digits.size(); i += 2) {
        text += static_cast<char>(std::stoi(digits.substr(i, 2), nullptr, 16));
    }
    return text;
}

// A text of the enclosure, without the bytes around it: 1 the serial number, 11 the name.
std::string TextOverRmcp(const json& endpoints, int item)
{
    const std::string account = "-P enclosure -H 127.0.0.1 -N 30";
    const std::string output =
        Ipmitool(PortOf(endpoints), account, "0x32 0xb0 5 " + std::to_string(item));
    std::string bytes;
    std::istringstream words(output.substr(0, output.find("exit")));
    for (std::string word; words >> word;) {
        bytes += word;
    }
    const bool isVkt2 = bytes.starts_with("05");
    const std::string text = FromHexadecimal(isVkt2 ? bytes.substr(4) : bytes);
    return text.substr(0, text.find('\0'));
}

std::string TextOverHttps(const json& endpoints, const std::string& item)
{
    const json answer = json::parse(Curl(endpoints.at("https"), IpmiCall(50, 176, "05" + item)));
    const std::string text = FromHexadecimal(answer.at("ResponseData"));
    return text.substr(2, text.find('\0', 2) - 2);
}

std::string ReadFile(const std::filesystem::path& file)
{
    std::ostringstream text;
    text << std::ifstream(file).rdbuf();
    return text.str();
}

class ManyEnclosures : public testing::Test
{
protected:
    // A file with a healthy first generation of another serial number and name.
    std::string WriteScenario(const std::string& name, const std::string& text) const
    {
        json scenario = json::parse(std::ifstream(SCENARIO_FOLDER "/healthy-first.json"));
        scenario["module"]["serialNumber"] = text;
        scenario["module"]["name"] = text;
        std::string file = (folder_ / name).string();
        std::filesystem::create_directories(std::filesystem::path(file).parent_path());
        std::ofstream(file) << scenario;
        return file;
    }

    TemporaryDirectory folder_;
};

TEST_F(ManyEnclosures, PlayTheScenariosInTurn)
{
    SimulatorProcess simulator(
        {"--scenario", "healthy-first", "--scenario", "healthy-vkt2-fe-2", "--count", "3"});
    const std::vector<json> lines = Endpoints(simulator, 3);
    const std::vector<std::string> serials = {"FG20K00011", "J30ABC122", "FG20K00013"};
    const std::vector<std::string> names = {"Rack 7 bottom1", "Chassis A2", "Rack 7 bottom3"};
    std::set<std::uint16_t> ports;
    for (std::size_t i = 0; i < lines.size(); ++i) {
        EXPECT_EQ(TextOverRmcp(lines[i], 1), serials[i]);
        EXPECT_EQ(TextOverRmcp(lines[i], 11), names[i]);
        ports.insert({PortOf(lines[i]), PortOf(lines[i], "https")});
    }
    EXPECT_EQ(ports.size(), 6U);
    EXPECT_EQ(TextOverHttps(lines[1], "01"), serials[1]);
    EXPECT_EQ(TextOverHttps(lines[1], "0b"), names[1]);
}

TEST_F(ManyEnclosures, AreThoseOfTheScenariosWithoutACount)
{
    SimulatorProcess simulator(
        {"--scenario", WriteScenario("a.json", "A"), "--scenario", WriteScenario("b.json", "B")});
    const std::vector<json> lines = Endpoints(simulator, 2);
    EXPECT_EQ(TextOverRmcp(lines[0], 1), "A1");
    EXPECT_EQ(TextOverRmcp(lines[1], 1), "B2");
    simulator.Signal(SIGTERM);
    EXPECT_EQ(simulator.Rest(), "");
}

TEST_F(ManyEnclosures, HaveNumbersOfOneLengthInTextsThatFitAnAnswer)
{
    const std::string longest = "abcdefghijklmnopqrstuvwxyz012345";
    SimulatorProcess simulator(
        {"--scenario", WriteScenario("a.json", longest), "--count", "10", "--no-rmcp"});
    const std::vector<json> lines = Endpoints(simulator, 10);
    const std::string cut = longest.substr(0, 30);
    // A first generation has no two bytes before the text.
    const auto name = [&](std::size_t i) {
        const json answer = json::parse(Curl(lines[i].at("https"), IpmiCall(50, 176, "050b")));
        return FromHexadecimal(answer.at("ResponseData"));
    };
    EXPECT_EQ(name(0), cut + "01" + '\0');
    EXPECT_EQ(name(9), cut + "10" + '\0');
}

TEST_F(ManyEnclosures, AreNumberedThoughThereIsOne)
{
    SimulatorProcess simulator({"--scenario", "healthy-first", "--count", "1", "--no-https"});
    EXPECT_EQ(TextOverRmcp(simulator.Endpoints(), 1), "FG20K00011");
}

TEST_F(ManyEnclosures, HaveTheNextPortsWhereTheFirstIsGiven)
{
    const auto areFree = [](std::uint16_t port) {
        try {
            for (std::uint16_t i = 0; i < 3; ++i) {
                PortReservation(SocketAddress("127.0.0.1", static_cast<std::uint16_t>(port + i)));
            }
            return true;
        } catch (const std::system_error&) {
            return false;
        }
    };
    std::uint16_t port = 20000;
    while (!areFree(port)) {
        ++port;
    }
    SimulatorProcess simulator({"--scenario", "healthy-first", "--count", "3", "--no-https",
                                "--port", std::to_string(port)});
    const std::vector<json> lines = Endpoints(simulator, 3);
    EXPECT_EQ(PortOf(lines[0]), port);
    EXPECT_EQ(PortOf(lines[1]), port + 1);
    EXPECT_EQ(PortOf(lines[2]), port + 2);
}

TEST_F(ManyEnclosures, LeaveOutATransport)
{
    const Words three = {"--scenario", "healthy-first", "--count", "3"};
    SimulatorProcess https(three + Words{"--no-rmcp"});
    for (const json& line : Endpoints(https, 3)) {
        EXPECT_FALSE(line.contains("rmcp"));
        EXPECT_NE(PortOf(line, "https"), 0);
    }
    EXPECT_EQ(https.Children().size(), 0U);
    SimulatorProcess rmcp(three + Words{"--no-https"});
    for (const json& line : Endpoints(rmcp, 3)) {
        EXPECT_FALSE(line.contains("https"));
        EXPECT_NE(PortOf(line), 0);
    }
    EXPECT_EQ(rmcp.Children().size(), 3U);
}

TEST_F(ManyEnclosures, ShareOneServerOverHttps)
{
    SimulatorProcess simulator({"--scenario", "healthy-first", "--scenario",
                                "https-expired-certificate", "--count", "40", "--no-rmcp",
                                "--statistics"});
    const std::vector<json> lines = Endpoints(simulator, 40);
    const std::string tasks = "/proc/" + std::to_string(simulator.Pid()) + "/task";
    EXPECT_EQ(std::distance(std::filesystem::directory_iterator(tasks), {}), 2);
    EXPECT_EQ(lines[0].at("https").at("pin"), lines[2].at("https").at("pin"));
    EXPECT_THAT(Curl(lines[1].at("https"), IpmiCall(50, 176, "0501")),
                HasSubstr("certificate has expired"));
    const std::string logIn =
        Post(R"({"UserName":"admin","Password":"enclosure"})", kSessionsPlace);
    Curl(lines[0].at("https"), logIn);
    Curl(lines[2].at("https"), logIn);
    simulator.Signal(SIGTERM);
    EXPECT_EQ(json::parse(simulator.Line()).at("https"),
              (json{{"handshakes", 2}, {"requests", 2}, {"openSessions", 2}}));
}

// A token opens the enclosure that gave it, and no other.
TEST_F(ManyEnclosures, HaveSessionsOfTheirOwn)
{
    SimulatorProcess simulator({"--scenario", "healthy-first", "--count", "2", "--no-rmcp"});
    const std::vector<json> lines = Endpoints(simulator, 2);
    const std::string headers =
        Curl(lines[0].at("https"), "--include " + Post(R"({"UserName":"admin","Password":)"
                                                       R"("enclosure"})",
                                                       kSessionsPlace));
    const std::size_t start = headers.find("X-Auth-Token: ");
    ASSERT_NE(start, std::string::npos);
    const std::string token = headers.substr(start, headers.find('\r', start) - start);
    const std::string ask = "--output /dev/null --write-out '%{http_code}' --header '" + token +
                            "' " + Post(R"({"NetFn":50,"Lun":0,"Command":168,"RequestData":""})");
    EXPECT_EQ(Curl(lines[0].at("https"), ask), "200");
    EXPECT_EQ(Curl(lines[1].at("https"), ask), "401");
}

TEST_F(ManyEnclosures, AreReachedByAFleetFile)
{
    const std::string own = WriteScenario("own/healthy-first.json", "X");
    const std::string file = (folder_ / "fleet.toml").string();
    std::ofstream(file) << "what others may read";
    chmod(file.c_str(), 0644);
    SimulatorProcess simulator({"--scenario", "healthy-first", "--scenario", "faulty-vkt2",
                                "--scenario", own, "--count", "4", "--write-fleet", file});
    const std::vector<json> lines = Endpoints(simulator, 4);
    const auto host = [&](std::size_t i) {
        return "  \"127.0.0.1:" + std::to_string(PortOf(lines[i])) + "\",\n";
    };
    const std::string account = "]\nuser = \"admin\"\npassword = \"enclosure\"\n";
    EXPECT_EQ(ReadFile(file),
              "# Enclosures of a vkt-simulator, as long as it runs.\n"
              "\n[[group]]\nname = \"healthy-first\"\nhosts = [\n" +
                  host(0) + host(3) + account + "expect-psus = 2\nexpect-nodes = 4\n" +
                  "\n[[group]]\nname = \"faulty-vkt2\"\nhosts = [\n" + host(1) + account +
                  "expect-psus = 5\nexpect-nodes = 10\n" +
                  "\n[[group]]\nname = \"healthy-first-2\"\nhosts = [\n" + host(2) + account +
                  "expect-psus = 2\nexpect-nodes = 4\n");
    struct stat status = {};
    ASSERT_EQ(stat(file.c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 0777U, 0600U);
    EXPECT_EQ(std::distance(std::filesystem::directory_iterator(folder_.Path()), {}), 2)
        << "a temporary file is left";
}

TEST_F(ManyEnclosures, AreReachedOverHttpsWhereThatIsAllThereIs)
{
    const std::string file = (folder_ / "fleet.toml").string();
    SimulatorProcess simulator(
        {"--scenario", "healthy-first", "--listen", "::1", "--no-rmcp", "--write-fleet", file});
    const json https = simulator.Endpoints().at("https");
    EXPECT_EQ(ReadFile(file),
              "# Enclosures of a vkt-simulator, as long as it runs.\n"
              "\n[[group]]\nname = \"healthy-first\"\nhosts = [\n  \"[::1]:" +
                  std::to_string(https.at("port").get<int>()) +
                  "\",\n]\nuser = \"admin\"\npassword = \"enclosure\"\ninterface = \"https\"\n"
                  "pin = \"" +
                  https.at("pin").get<std::string>() + "\"\nexpect-psus = 2\nexpect-nodes = 4\n");
}

TEST_F(ManyEnclosures, DoNotStartWithAFleetFileThatCannotBeWritten)
{
    std::filesystem::create_directory(folder_ / "folder");
    const std::string folder = (folder_ / "folder").string();
    for (const std::string& file :
         {folder, folder + "/none/fleet.toml", std::string("/dev/null")}) {
        SimulatorProcess simulator(
            {"--scenario", "healthy-first", "--no-rmcp", "--write-fleet", file});
        EXPECT_EQ(simulator.ExitCode(), 1);
        EXPECT_EQ(simulator.Rest(), "");
        EXPECT_THAT(simulator.ErrorText(), HasSubstr(file + (file == folder || file == "/dev/null"
                                                                 ? " is no file"
                                                                 : " cannot be written")));
    }
}

TEST_F(ManyEnclosures, NeedWhatThereCanBe)
{
    const struct
    {
        Words arguments;
        int exitCode;
        const char* message;
    } cases[] = {
        {{"--count", "0"}, 2, "--count"},
        {{"--count", "10001"}, 2, "--count"},
        {{"--count", "many"}, 2, "--count"},
        {{"--no-rmcp", "--no-https"}, 2, "--no-rmcp and --no-https leave no transport"},
        {{"--no-https", "--statistics"}, 2, "--statistics is about HTTPS"},
        {{"--scenario", "no-such-thing"}, 2, "no-such-thing: no such file"},
        {{"--count", "3", "--port", "65534"}, 1, "3 enclosures from port 65534 on"},
    };
    for (const auto& wrong : cases) {
        SimulatorProcess simulator(Words{"--scenario", "healthy-first"} + wrong.arguments);
        EXPECT_EQ(simulator.ExitCode(), wrong.exitCode);
        EXPECT_EQ(simulator.Rest(), "");
        EXPECT_THAT(simulator.ErrorText(), HasSubstr(wrong.message));
    }
}

class ManyEnclosuresEnd : public ManyEnclosures, public testing::WithParamInterface<int>
{
};

TEST_P(ManyEnclosuresEnd, LeavesNothing)
{
    constexpr std::size_t kCount = 200;
    SimulatorProcess simulator({"--scenario", "healthy-vkt2-fc-9", "--count", "200"},
                               {"TMPDIR=" + folder_.Path().string()});
    const std::vector<json> lines = Endpoints(simulator, kCount);
    EXPECT_EQ(TextOverRmcp(lines.back(), 1), "J30ABC12200");
    EXPECT_EQ(TextOverHttps(lines.back(), "01"), "J30ABC12200");
    const std::vector<pid_t> children = simulator.Children();
    EXPECT_EQ(children.size(), kCount);
    EXPECT_TRUE(std::filesystem::is_empty(folder_.Path())) << "while it runs";
    simulator.Signal(GetParam());
    EXPECT_EQ(simulator.ExitCode(), GetParam() == SIGKILL ? 256 + SIGKILL : 0);
    EXPECT_TRUE(std::all_of(children.begin(), children.end(), IsGone));
    EXPECT_TRUE(std::filesystem::is_empty(folder_.Path()));
}

INSTANTIATE_TEST_SUITE_P(Signals, ManyEnclosuresEnd, testing::Values(SIGTERM, SIGKILL));

TEST_F(ManyEnclosures, EndOnRequestWhileTheyStart)
{
    SimulatorProcess simulator({"--scenario", "healthy-first", "--count", "200"},
                               {"TMPDIR=" + folder_.Path().string()});
    while (simulator.Children().empty()) {
        usleep(1000);
    }
    simulator.Signal(SIGTERM);
    EXPECT_EQ(simulator.ExitCode(), 0);
    EXPECT_EQ(simulator.Rest() + simulator.ErrorText(), "");
    EXPECT_TRUE(std::filesystem::is_empty(folder_.Path()));
}

}  // namespace
}  // namespace Tulvo::Simulator
