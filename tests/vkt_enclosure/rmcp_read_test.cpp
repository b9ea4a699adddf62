// SPDX-License-Identifier: Apache-2.0
// Reads of vkt-simulator over RMCP+, from the target to the record.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <fstream>
#include <memory>
#include <nlohmann/json.hpp>
#include <string>
#include <thread>

#include "apps/vkt_simulator/ipmi_sim_server.h"
#include "module/ipmi/ipmi_client/rmcp_transport.h"
#include "module/vkt/vkt_enclosure/read_enclosure.h"
#include "module/vkt/vkt_https/https_transport.h"
#include "tests/fakes/fake_config.h"
#include "tests/support/temporary_directory.h"
#include "tests/vkt_simulator/simulator_process.h"

namespace Tulvo {

// No target here is one of HTTPS.
std::unique_ptr<IpmiTransport> MakeHttpsTransport(const HttpsSettings& /*settings*/)
{
    ADD_FAILURE() << "HTTPS was asked for";
    return nullptr;
}

namespace Enclosures {
namespace {

using namespace std::chrono_literals;
using Simulator::SimulatorProcess;
using testing::HasSubstr;
using testing::IsEmpty;

const Limits kAmple{.deadline = 5min, .stop = {}};

/// Copies and answers, beside what every conversation costs: three steps of a log-in and its end.
constexpr std::uint64_t kLogInAndOut = 3 + 1;

nlohmann::json Healthy()
{
    std::ifstream file(SCENARIO_FOLDER "/healthy-vkt2-fc-9.json");
    return nlohmann::json::parse(file);
}

Target TargetAt(std::uint16_t port, const std::string& password = "enclosure")
{
    return {.host = "127.0.0.1", .port = port, .user = "admin", .password = password};
}

Target Over(std::uint16_t port, const RmcpPlus& rmcp)
{
    Target target = TargetAt(port);
    target.transport = rmcp;
    return target;
}

class ReadOverRmcp : public testing::Test
{
protected:
    /// The port of a simulator that plays the scenario.
    std::uint16_t Play(const nlohmann::json& scenario)
    {
        const std::string path = (directory_ / "scenario.json").string();
        std::ofstream(path) << scenario;
        simulator_ =
            std::make_unique<SimulatorProcess>(std::vector<std::string>{"--scenario", path});
        return simulator_->Port();
    }

    Fakes::FakeConfig config;

private:
    TemporaryDirectory directory_;
    std::unique_ptr<SimulatorProcess> simulator_;
};

TEST_F(ReadOverRmcp, OfEverythingIsOneLogInAndEachRequestOnce)
{
    const std::uint16_t port = Play(Healthy());
    const Enclosure record = ReadEnclosure(Over(port, {.cipherSuite = 3}), {}, kAmple);
    EXPECT_FALSE(record.error);
    EXPECT_THAT(NotRead(record), IsEmpty());
    EXPECT_EQ(record.powerSupplies.size(), 9U);
    EXPECT_EQ(record.nodes.size(), 12U);
    EXPECT_EQ(record.cost.logIns, 1U);
    EXPECT_EQ(record.source.cipherSuite, 3);
    EXPECT_EQ(record.source.privilege, Privilege::kAdministrator);
    EXPECT_EQ(record.cost.datagramsSent - record.cost.copies, record.cost.requests + kLogInAndOut);
    if (record.cost.copies == 0) {
        EXPECT_LE(record.cost.datagramsSent + record.cost.datagramsReceived, 152U);
    }
}

TEST_F(ReadOverRmcp, FindsTheSuiteThatTheModuleHas)
{
    const Enclosure record = ReadEnclosure(TargetAt(Play(Healthy())), {}, kAmple);
    EXPECT_THAT(NotRead(record), IsEmpty());
    EXPECT_EQ(record.source.cipherSuite, 3);
    EXPECT_EQ(record.cost.logIns, 1U);
    if (record.cost.copies == 0) {
        EXPECT_LE(record.cost.datagramsSent + record.cost.datagramsReceived, 152U);
    }
}

TEST_F(ReadOverRmcp, OfASlowModuleIsComplete)
{
    nlohmann::json scenario = Healthy();
    scenario["faults"] = {{{"kind", "loginLatency"}, {"milliseconds", 50}}};
    for (const int command : {0x91, 0x92, 0x98, 0x9D, 0xA5, 0xA7, 0xA8, 0xB0}) {
        scenario["faults"].push_back(
            {{"kind", "latency"}, {"milliseconds", 20}, {"netFn", 0x32}, {"command", command}});
    }
    const Enclosure record = ReadEnclosure(TargetAt(Play(scenario)), {}, kAmple);
    EXPECT_THAT(NotRead(record), IsEmpty());
    EXPECT_EQ(record.cost.logIns, 1U);
}

TEST_F(ReadOverRmcp, WithAWrongPasswordSendsNoProof)
{
    const Enclosure record = ReadEnclosure(TargetAt(Play(Healthy()), "wrong"), {}, kAmple);
    ASSERT_TRUE(record.error);
    EXPECT_EQ(record.error->cause, Cause::kRefused);
    EXPECT_THAT(record.error->message, HasSubstr("the password is wrong"));
    EXPECT_EQ(record.cost.logIns, 0U);
    EXPECT_EQ(record.cost.logInsRefused, 1U);
    EXPECT_EQ(record.cost.requests, 0U);
}

TEST_F(ReadOverRmcp, OfAnotherMakersModuleSaysWhoseItIs)
{
    Simulator::IpmiSimOptions options;
    options.users = {{"admin", "enclosure"}};
    const Simulator::IpmiSimServer other(options);
    const Enclosure record = ReadEnclosure(TargetAt(other.Port()), {}, kAmple);
    ASSERT_TRUE(record.error);
    EXPECT_EQ(record.error->cause, Cause::kNoSuchModule) << record.error->message;
    EXPECT_THAT(record.error->message, HasSubstr("manufacturer id"));
    EXPECT_EQ(record.cost.logIns, 1U);
    // The status is refused for lack of privilege, then twice as unknown; Get Device ID follows.
    EXPECT_LE(record.cost.requests, 5U);
}

TEST_F(ReadOverRmcp, WaitsForAFreeSessionWithinItsDeadline)
{
    nlohmann::json scenario = Healthy();
    scenario["sessions"] = 0;
    const Enclosure record =
        ReadEnclosure(TargetAt(Play(scenario)), {}, {.deadline = 5s, .stop = {}});
    ASSERT_TRUE(record.error);
    EXPECT_EQ(record.error->cause, Cause::kBusy) << record.error->message;
    EXPECT_EQ(record.cost.logIns, 0U);
}

TEST_F(ReadOverRmcp, IsCompleteWhenASessionIsFreeLater)
{
    nlohmann::json scenario = Healthy();
    scenario["sessions"] = 1;
    const std::uint16_t port = Play(scenario);
    RmcpSettings settings;
    settings.host = "127.0.0.1";
    settings.port = port;
    settings.user = "admin";
    settings.password = "enclosure";
    settings.cipherSuite = 3;
    const auto other = MakeRmcpTransport(settings);
    ASSERT_FALSE(other->Open({CallLimit::Clock::now() + 1min}).failure);
    const std::jthread closer([&other] {
        std::this_thread::sleep_for(2s);
        other->Close({CallLimit::Clock::now() + 1min});
    });
    const Enclosure record = ReadEnclosure(Over(port, {.cipherSuite = 3}), {}, kAmple);
    EXPECT_FALSE(record.error) << record.error->message;
    EXPECT_THAT(NotRead(record), IsEmpty());
    EXPECT_EQ(record.cost.logIns, 1U);
}

TEST_F(ReadOverRmcp, LeavesNoSessionWheneverItIsStopped)
{
    nlohmann::json scenario = Healthy();
    scenario["sessions"] = 1;
    scenario["faults"] = {{{"kind", "loginLatency"}, {"milliseconds", 10}}};
    const std::uint16_t port = Play(scenario);
    for (int delay = 0; delay < 100; delay += 7) {
        std::stop_source stop;
        std::jthread stopper([&] {
            std::this_thread::sleep_for(std::chrono::milliseconds(delay));
            stop.request_stop();
        });
        ReadEnclosure(Over(port, {.cipherSuite = 3}), {},
                      {.deadline = 5min, .stop = stop.get_token()});
    }
    // With its only session taken the module would have none free.
    const Enclosure record =
        ReadEnclosure(Over(port, {.cipherSuite = 3}), {kModuleOnly, 0}, kAmple);
    EXPECT_FALSE(record.error) << record.error->message;
}

}  // namespace
}  // namespace Enclosures
}  // namespace Tulvo
