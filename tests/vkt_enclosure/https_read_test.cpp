// SPDX-License-Identifier: Apache-2.0
// A whole read over HTTPS of an enclosure that is simulated in a process of its own.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <csignal>
#include <memory>
#include <nlohmann/json.hpp>
#include <stop_token>
#include <string>
#include <thread>
#include <vector>

#include "module/vkt/vkt_enclosure/impl/pace.h"
#include "module/vkt/vkt_enclosure/impl/plan.h"
#include "module/vkt/vkt_https/https_transport.h"
#include "tests/fakes/fake_log.h"
#include "tests/vkt_simulator/simulator_process.h"

namespace Tulvo::Enclosures {
namespace {

using nlohmann::json;
using std::chrono::milliseconds;

class HttpsReadTest : public testing::Test
{
protected:
    void Play(const std::string& scenario)
    {
        simulator = std::make_unique<Simulator::SimulatorProcess>(
            std::vector<std::string>{"--statistics", "--scenario", scenario});
        const json endpoint = simulator->Endpoints().at("https");
        settings = {.host = endpoint.at("address"),
                    .port = endpoint.at("port"),
                    .user = endpoint.at("user"),
                    .password = endpoint.at("password"),
                    .trust = HttpsTrust::kPinnedKey,
                    .trusted = endpoint.at("pin")};
    }

    Enclosure Read(const Limits& limits = {})
    {
        RealPace pace;
        return ReadOver(*MakeHttpsTransport(settings), pace, {}, limits);
    }

    /// What the simulator counted.
    json End()
    {
        simulator->Signal(SIGTERM);
        return json::parse(simulator->Line()).at("https");
    }

    Fakes::FakeLog log;
    std::unique_ptr<Simulator::SimulatorProcess> simulator;
    HttpsSettings settings;
};

TEST_F(HttpsReadTest, ReadsAllInOneSession)
{
    Play("healthy-vkt2-fc-9");
    for (const bool basic : {false, true}) {
        settings.basicAuthentication = basic;
        const Enclosure record = Read();
        EXPECT_FALSE(record.error) << record.error->message;
        EXPECT_TRUE(NotRead(record).empty());
        ASSERT_EQ(12U, record.nodes.size());
        ASSERT_EQ(9U, record.powerSupplies.size());
        ASSERT_TRUE(record.identity.serialNumber.HasValue());
        EXPECT_EQ("J30ABC12", *record.identity.serialNumber.Get());
        ASSERT_TRUE(record.nodes[11].power.HasValue());
        EXPECT_EQ(246, *record.nodes[11].power.Get()->average.Get());
        ASSERT_TRUE(record.powerSupplies[0].version.HasValue());
        EXPECT_EQ("2.04", *record.powerSupplies[0].version.Get());
        EXPECT_EQ(1U, record.cost.logIns);
        EXPECT_EQ(1U, record.cost.tlsHandshakes);
        EXPECT_EQ(0U, record.cost.copies);
    }
    const json counted = End();
    EXPECT_EQ(2, counted.at("handshakes"));
    EXPECT_EQ(0, counted.at("openSessions"));
}

TEST_F(HttpsReadTest, ReadsAllThoughSessionsExpire)
{
    Play("https-short-sessions");
    const Enclosure record = Read();
    EXPECT_FALSE(record.error) << record.error->message;
    EXPECT_TRUE(NotRead(record).empty());
    EXPECT_LT(1U, record.cost.logIns);
    EXPECT_EQ(1U, record.cost.tlsHandshakes);
    EXPECT_EQ(0, End().at("openSessions"));
}

struct Fault
{
    const char* scenario;
    Cause cause;
};

TEST_F(HttpsReadTest, SaysWhyNothingCouldBeRead)
{
    for (const auto& [scenario, cause] : {Fault{"https-unauthorized", Cause::kRefused},
                                          Fault{"https-garbage", Cause::kMalformedAnswer},
                                          Fault{"https-unavailable", Cause::kBusy}}) {
        SCOPED_TRACE(scenario);
        Play(scenario);
        const Enclosure record = Read({.deadline = milliseconds(3000)});
        const auto missing = NotRead(record);
        ASSERT_FALSE(missing.empty());
        EXPECT_EQ(cause, missing.front().failure.cause) << missing.front().failure.message;
    }
}

TEST_F(HttpsReadTest, LeavesNoSessionWhenItIsCancelled)
{
    Play("healthy-vkt2-fc-9");
    for (int cancelled = 0; cancelled < 20; ++cancelled) {
        std::stop_source stop;
        const std::jthread stopper([&stop, cancelled] {
            std::this_thread::sleep_for(milliseconds(2 * cancelled));
            stop.request_stop();
        });
        Read({.stop = stop.get_token()});
    }
    EXPECT_EQ(0, End().at("openSessions"));
}

}  // namespace
}  // namespace Tulvo::Enclosures
