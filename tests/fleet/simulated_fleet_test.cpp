// SPDX-License-Identifier: Apache-2.0
// Fleets of vkt-simulator, from the fleet file to the records.
#include <arpa/inet.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <netinet/in.h>
#include <sys/socket.h>

#include <chrono>
#include <map>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include "common/platform/file_descriptor.h"
#include "fleet/fan_out.h"
#include "fleet/fleet_file.h"
#include "module/vkt/vkt_enclosure/read_enclosure.h"
#include "tests/fleet/temporary_folder.h"
#include "tests/vkt_simulator/simulator_process.h"

namespace Tulvo::Fleet {
namespace {

using namespace std::chrono_literals;
using Enclosures::Enclosure;
using Enclosures::Limits;
using Enclosures::Target;

constexpr std::size_t kCount = 12;

struct Way
{
    std::string name;
    std::string without;  ///< The simulator's flag that leaves the other transport out.
    bool basic = false;
};

class SimulatedFleets : public testing::TestWithParam<Way>
{
protected:
    SimulatedFleets()
    {
        const std::string file = folder_.Path("fleet.toml");
        const std::string scenario = SCENARIO_FOLDER "/healthy-vkt2-fc-9.json";
        simulator_ = std::make_unique<Simulator::SimulatorProcess>(
            std::vector<std::string>{"--scenario", scenario, "--count", std::to_string(kCount),
                                     "--write-fleet", file, GetParam().without});
        for (std::size_t i = 0; i < kCount; ++i) {
            EXPECT_NE(simulator_->Line(), "") << simulator_->ErrorText();
        }
        const auto loaded = FleetFile::Load(file);
        if (const auto* const mistakes = std::get_if<Mistakes>(&loaded)) {
            throw std::runtime_error(mistakes->front().message);
        }
        const auto& fleet = std::get<FleetFile>(loaded);
        std::vector<Member> members;
        for (const std::string& name : fleet.HostNames()) {
            members.push_back(*fleet.Find(name));
        }
        Passwords passwords;
        targets = std::get<std::vector<Target>>(TargetsOf(members, passwords));
        for (Target& target : targets) {
            if (auto* const https = std::get_if<Enclosures::Https>(&target.transport)) {
                https->authentication = GetParam().basic ? Enclosures::HttpAuthentication::kBasic
                                                         : Enclosures::HttpAuthentication::kSession;
            }
        }
    }

    /// Of all targets, by index; of which the first `silent` give no answer, and get little time.
    std::map<std::size_t, Enclosure> Read(std::size_t silent = 0, const FanOutOptions& options = {})
    {
        std::map<std::size_t, Enclosure> records;
        FanOut(
            targets.size(),
            [&](std::size_t index) {
                return Job{.target = targets[index],
                           .timeout = 5min,
                           .connectTimeout = index < silent ? 1s : 60s};
            },
            [](const Target& target, const Limits& limits) {
                return Enclosures::ReadEnclosure(target, {Enclosures::kHealth}, limits);
            },
            [&](std::size_t index, Enclosure&& record) {
                records.emplace(index, std::move(record));
                if (records.size() == stopAfter) {
                    stop.request_stop();
                }
            },
            guard, options);
        EXPECT_EQ(records.size(), targets.size());
        return records;
    }

    std::vector<Target> targets;
    AccountGuard guard;
    std::size_t stopAfter = 0;
    std::stop_source stop;

private:
    TemporaryFolder folder_;
    std::unique_ptr<Simulator::SimulatorProcess> simulator_;
};

INSTANTIATE_TEST_SUITE_P(Over, SimulatedFleets,
                         testing::Values(Way{"Rmcp", "--no-https"}, Way{"Sessions", "--no-rmcp"},
                                         Way{"Basic", "--no-rmcp", true}),
                         [](const auto& way) { return way.param.name; });

TEST_P(SimulatedFleets, AreReadWhole)
{
    ASSERT_EQ(targets.size(), kCount);
    for (const auto& [index, record] : Read()) {
        EXPECT_FALSE(record.error) << record.error->message;
        EXPECT_TRUE(NotRead(record).empty());
    }
}

TEST_P(SimulatedFleets, GetAWrongPasswordThreeTimesInAll)
{
    for (Target& target : targets) {
        target.password = "wrong";
    }
    std::size_t asked = 0;
    std::uint64_t proofs = 0;
    for (const auto& [index, record] : Read()) {
        ASSERT_TRUE(record.error);
        EXPECT_EQ(record.error->cause, Cause::kRefused) << record.error->message;
        asked += record.error->message.starts_with("not asked: ") ? 0 : 1;
        proofs += record.cost.logIns;
    }
    EXPECT_EQ(asked, 3U);
    EXPECT_LE(proofs, 3U);
}

TEST_P(SimulatedFleets, WithManySilentHostsAreReadAllTheSame)
{
    // Nobody ever reads from these: not a datagram, and not a handshake.
    const bool https = std::holds_alternative<Enclosures::Https>(targets.front().transport);
    const FileDescriptor silent(socket(AF_INET, https ? SOCK_STREAM : SOCK_DGRAM, 0));
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t size = sizeof(address);
    auto* const any = reinterpret_cast<sockaddr*>(&address);
    ASSERT_EQ(bind(silent.Get(), any, size), 0);
    ASSERT_EQ(getsockname(silent.Get(), any, &size), 0);
    if (https) {
        ASSERT_EQ(listen(silent.Get(), 64), 0);
    }
    Target dead = targets.front();
    dead.port = ntohs(address.sin_port);
    constexpr std::size_t kSilent = 10;
    targets.insert(targets.begin(), kSilent, dead);
    for (const auto& [index, record] : Read(kSilent)) {
        if (index < kSilent) {
            ASSERT_TRUE(record.error);
            EXPECT_EQ(record.error->cause, Cause::kUnreachable) << record.error->message;
            EXPECT_LT(record.cost.elapsed, 60s);
        } else {
            EXPECT_FALSE(record.error) << record.error->message;
        }
    }
}

TEST_P(SimulatedFleets, ThatAreCancelledSaySoForTheRest)
{
    stopAfter = 3;
    std::size_t whole = 0;
    for (const auto& [index, record] : Read(0, {.width = 2, .stop = stop.get_token()})) {
        if (record.error) {
            EXPECT_EQ(record.error->cause, Cause::kCancelled) << record.error->message;
        } else {
            ++whole;
        }
    }
    EXPECT_GE(whole, 3U);
    EXPECT_LE(whole, 4U);
}

}  // namespace
}  // namespace Tulvo::Fleet
