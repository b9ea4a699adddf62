// SPDX-License-Identifier: Apache-2.0
// A whole read over HTTPS of an enclosure that is simulated in a process of its own.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <csignal>
#include <fstream>
#include <memory>
#include <nlohmann/json.hpp>
#include <optional>
#include <stop_token>
#include <string>
#include <thread>
#include <vector>

#include "module/vkt/vkt_enclosure/impl/pace.h"
#include "module/vkt/vkt_enclosure/impl/plan.h"
#include "module/vkt/vkt_enclosure/read_enclosure.h"
#include "module/vkt/vkt_https/https_transport.h"
#include "tests/fakes/fake_config.h"
#include "tests/fakes/fake_log.h"
#include "tests/support/run_in_threads.h"
#include "tests/support/temporary_directory.h"
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

    Enclosure Read(const Limits& limits = {.deadline = std::chrono::minutes(5)})
    {
        RealPace pace;
        return ReadOver(*MakeHttpsTransport(settings), pace, {}, limits);
    }

    Target TargetWith(const std::string& pin) const
    {
        return {.host = settings.host,
                .port = settings.port,
                .user = settings.user,
                .password = settings.password,
                .transport = Https{.trust = TrustPinnedKey{pin}}};
    }

    /// What the simulator counted.
    json End()
    {
        simulator->Signal(SIGTERM);
        return json::parse(simulator->Line()).at("https");
    }

    Fakes::FakeLog log;
    Fakes::FakeConfig config;
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
        const Enclosure record = Read({.deadline = milliseconds(10'000)});
        const auto missing = NotRead(record);
        ASSERT_FALSE(missing.empty());
        EXPECT_EQ(cause, missing.front().failure.cause) << missing.front().failure.message;
    }
}

/// Each knows its own module by its key, while the others are being read.
TEST_F(HttpsReadTest, KeepsThePinsOfTwoModulesApart)
{
    Play("healthy-vkt2-fe-2");
    const std::string pin = settings.trusted;
    const Target first = TargetWith(pin);
    const auto kept = std::move(simulator);
    Play("healthy-first");
    const std::string otherPin = settings.trusted;
    ASSERT_NE(pin, otherPin);
    Target swapped = first;
    swapped.transport = Https{.trust = TrustPinnedKey{otherPin}};
    struct Expected
    {
        Target target;
        std::optional<Generation> generation;  ///< Nothing: the module is not trusted.
    };
    const std::vector<Expected> reads{{first, Generation::kVkt2},
                                      {TargetWith(otherPin), Generation::kFirst},
                                      {swapped, std::nullopt},
                                      {TargetWith(pin), std::nullopt}};
    RunInThreads(16, [&](int number) {
        const auto& [target, generation] = reads[static_cast<std::size_t>(number) % reads.size()];
        const Enclosure record = ReadEnclosure(target, {}, {.deadline = std::chrono::minutes(5)});
        if (generation) {
            EXPECT_FALSE(record.error) << record.error->message;
            EXPECT_TRUE(NotRead(record).empty());
            ASSERT_TRUE(record.module.generation.HasValue());
            EXPECT_EQ(*generation, *record.module.generation.Get());
        } else {
            ASSERT_TRUE(record.error);
            EXPECT_EQ(Cause::kNotTrusted, record.error->cause) << record.error->message;
            EXPECT_EQ(0U, record.cost.logIns);
        }
    });
    EXPECT_EQ(0, End().at("openSessions"));
}

TEST_F(HttpsReadTest, WaitsForASessionThatIsFreeLater)
{
    json scenario = json::parse(std::ifstream(SCENARIO_FOLDER "/healthy-first.json"));
    scenario["sessions"] = 1;
    const TemporaryDirectory folder;
    const std::string path = (folder / "scenario.json").string();
    std::ofstream(path) << scenario;
    Play(path);
    const auto other = MakeHttpsTransport(settings);
    ASSERT_FALSE(other->Open({CallLimit::Clock::now() + std::chrono::minutes(1)}).failure);
    const std::jthread closer([&other] {
        std::this_thread::sleep_for(std::chrono::seconds(2));
        other->Close({CallLimit::Clock::now() + std::chrono::minutes(1)});
    });
    const Enclosure record = Read({.deadline = std::chrono::minutes(5)});
    EXPECT_FALSE(record.error) << record.error->message;
    EXPECT_TRUE(NotRead(record).empty());
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
