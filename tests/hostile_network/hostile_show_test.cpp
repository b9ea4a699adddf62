// SPDX-License-Identifier: Apache-2.0
// Whole runs of `vktinventory show` through a network that does to packets what its seed says. The
// command's own code runs here, with all libraries but for the pauses; each run has a process, a
// module and a network of its own.
//
// VKT_HOSTILE_SEEDS=first..last runs those seeds alone.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <iostream>
#include <map>
#include <nlohmann/json.hpp>
#include <numeric>
#include <stdexcept>

#include "common/config/global_config.h"
#include "tests/hostile_network/faulty_network.h"
#include "tests/hostile_network/show_verdict.h"
#include "tests/hostile_network/watched_show.h"
#include "tests/support/run_in_processes.h"

namespace Tulvo {
namespace {

using Json = nlohmann::json;
using Simulator::IpmiSimServer;

struct NetworkProfile
{
    const char* name;
    PerMille perMille;  ///< At its worst; a seed has a fifth of it, two fifths and so on.
    int sessionTimeout;
    int retransmissionTimeout;
    int firstSeed;
    int lastSeed;
    int leastWhole;  ///< How many of a hundred runs must read everything.
    int atOnce;      ///< Most of the time they wait for packets that do not come.
    int seconds;     ///< That a run may take; where nearly all are whole, far above what they do.
};

// Lost, doubled, held, followed by an old one, cut, bit flipped. What is only lost or late is asked
// for again; a changed packet of the log-in, which nothing vouches for yet, may end it.
constexpr NetworkProfile kNetworks[] = {
    {"Lossy", {40, 30, 30, 30, 0, 0}, 600, 20, 1, 200, 80, 24, 30},
    {"Damaging", {5, 5, 5, 5, 5, 5}, 600, 20, 201, 400, 30, 16, 30},
    {"Severe", {150, 50, 100, 50, 50, 50}, 90, 20, 401, 600, 0, 40, 10},
};

// What a busy host may need, for a run and to look after the module.
constexpr int kSecondsUndisturbed = 100;
constexpr int kBusyHostTimeout = 20'000;

/// Most enclosures are small, so that there is time for many; some have 12 nodes and 9 supplies.
const char* ScenarioOf(int seed)
{
    return seed % 10 == 0 ? "healthy-vkt2-fc-9" : "healthy-vkt2-fe-2";
}

PerMille FaultRatesOf(const NetworkProfile& profile, int seed)
{
    PerMille perMille = profile.perMille;
    for (unsigned& chance : perMille) {
        chance = chance * static_cast<unsigned>(1 + seed % 5) / 5;
    }
    return perMille;
}

void SetWaits(int session, int retransmission)
{
    SetGlobalConfigValue("IPMI_SESSION_TIMEOUT_MS", session);
    SetGlobalConfigValue("IPMI_RETRANSMISSION_TIMEOUT_MS", retransmission);
}

/// What one run came to.
struct RunResult
{
    Verdict verdict;
    FaultCounts faults{};
};

/// One run, from the module's start to its end.
RunResult Play(int seed, const NetworkProfile& profile, const std::string& whole)
{
    const IpmiSimServer server(OptionsFor(ScenarioOf(seed)));
    FaultyNetwork network(static_cast<std::uint64_t>(seed), FaultRatesOf(profile, seed));
    SessionsOn(server);  // opens what a process opens once
    Test::Ran ran;
    std::ptrdiff_t stillOpen = 0;
    std::size_t sessions = 0;
    {
        const FaultInjectingRelay relay(
            server.Port(), [&](const Datagram& d) { return network.ToServer(d); },
            [&](const Datagram& d) { return network.ToClient(d); });
        const std::ptrdiff_t openFiles = OpenFiles();
        SetWaits(profile.sessionTimeout, profile.retransmissionTimeout);
        ran = Show(relay.Port(), profile.seconds);
        SetWaits(kBusyHostTimeout, kBusyHostTimeout / 10);
        stillOpen = OpenFiles() - openFiles;
        network.EndAt(relay.Port());
        // The module has heard all that it will hear when it answers this.
        sessions = SessionsOn(server);
    }
    RunResult result{Judge(ran, whole), network.Counts()};
    if (stillOpen != 0) {
        result.verdict.complaints.push_back(std::to_string(stillOpen) + " files stay open");
    }
    if (LosesMemory()) {
        result.verdict.complaints.emplace_back("memory is lost");
    }
    if (sessions > network.Tracker().Excused()) {
        result.verdict.complaints.push_back(std::to_string(sessions) + " sessions stay open");
    }
    return result;
}

// From the child to the parent; the faults as a list, as most kinds of packets have none.
std::string ToText(const RunResult& result)
{
    Json faults = Json::array();
    for (std::size_t type = 0; type < result.faults.size(); ++type) {
        for (std::size_t i = 0; i < kFaultNames.size(); ++i) {
            if (result.faults[type][i] != 0) {
                faults.push_back({type, i, result.faults[type][i]});
            }
        }
    }
    return Json{{"outcome", result.verdict.outcome},
                {"complaints", result.verdict.complaints},
                {"faults", faults}}
        .dump();
}

RunResult FromText(const std::string& text)
{
    const Json json = Json::parse(text);
    RunResult result{{json.at("outcome"), json.at("complaints")}, {}};
    for (const Json& fault : json.at("faults")) {
        result.faults.at(fault.at(0)).at(fault.at(1)) = fault.at(2);
    }
    return result;
}

struct Seeds
{
    int first;
    int last;
    bool chosen;
};

Seeds SeedsOf(const NetworkProfile& profile)
{
    int first = profile.firstSeed;
    int last = profile.lastSeed;
    const char* const chosen = std::getenv("VKT_HOSTILE_SEEDS");
    if (chosen != nullptr && std::sscanf(chosen, "%d..%d", &first, &last) != 2) {
        throw std::runtime_error("VKT_HOSTILE_SEEDS is not like 17..17");
    }
    return {std::max(first, profile.firstSeed), std::min(last, profile.lastSeed),
            chosen != nullptr};
}

/// What many runs came to.
struct Tally
{
    std::map<std::string, int> outcomes;
    FaultCounts faults{};

    void Add(const RunResult& result)
    {
        ++outcomes[result.verdict.outcome];
        for (std::size_t type = 0; type < faults.size(); ++type) {
            for (std::size_t i = 0; i < kFaultNames.size(); ++i) {
                faults[type][i] += result.faults[type][i];
            }
        }
    }
};

std::ostream& operator<<(std::ostream& out, const Tally& tally)
{
    for (const auto& [outcome, count] : tally.outcomes) {
        out << outcome << " " << count << "; ";
    }
    for (std::size_t i = 0; i < kFaultNames.size(); ++i) {
        const auto sum =
            std::accumulate(tally.faults.begin(), tally.faults.end(), 0U,
                            [i](unsigned total, const auto& of) { return total + of[i]; });
        out << sum << " packets " << kFaultNames[i] << "; ";
    }
    return out;
}

class HostileShow : public testing::TestWithParam<NetworkProfile>
{
protected:
    HostileShow()
    {
        for (const char* scenario : {"healthy-vkt2-fe-2", "healthy-vkt2-fc-9"}) {
            const IpmiSimServer server(OptionsFor(scenario));
            const auto ran = Show(server.Port(), kSecondsUndisturbed);
            EXPECT_EQ(ran.code, Cli::ExitCode::kEverythingRead) << ran.error;
            whole_[scenario] = ran.out;
        }
        SetGlobalConfigValue("MODULE_TYPE", -1);  // each run finds it out anew
    }

    RunResult PlayOne(int seed) { return Play(seed, GetParam(), whole_.at(ScenarioOf(seed))); }

    void Take(const WorkEnd& end)
    {
        const std::string seed = std::to_string(end.number);
        const std::string repeat = "repeat it with VKT_HOSTILE_SEEDS=" + seed + ".." + seed;
        if (!end.orderly) {
            ADD_FAILURE() << end.text << "; " << repeat;
            return;
        }
        const RunResult result = FromText(end.text);
        tally.Add(result);
        for (const std::string& complaint : result.verdict.complaints) {
            ADD_FAILURE() << complaint << "; " << repeat;
        }
    }

    Tally tally;

private:
    std::map<std::string, std::string> whole_;
};

TEST_P(HostileShow, ReadsRightOrNamesWhatFailed)
{
    constexpr unsigned kSecondsToHang = 400;
    const NetworkProfile& profile = GetParam();
    const Seeds seeds = SeedsOf(profile);
    RunInProcesses(
        seeds.first, seeds.last, profile.atOnce, kSecondsToHang,
        [&](int seed) { return ToText(PlayOne(seed)); }, [&](const WorkEnd& end) { Take(end); });
    std::cout << profile.name << ": " << tally << std::endl;
    if (seeds.chosen) {
        return;
    }
    const int runs = seeds.last - seeds.first + 1;
    EXPECT_GE(tally.outcomes["everything read"] * 100, runs * profile.leastWhole);
    for (std::size_t i = 0; i < kFaultNames.size(); ++i) {
        // A show logs in once: of its six packets alone too few would meet each fault.
        unsigned atLogIn = 0;
        for (const PayloadType type :
             {kOpenSessionRequest, kOpenSessionResponse, kRakp1, kRakp2, kRakp3, kRakp4}) {
            atLogIn += static_cast<unsigned>(tally.faults[type][i]);
        }
        EXPECT_EQ(atLogIn > 0, profile.perMille[i] > 0) << kFaultNames[i] << " at no log-in";
        EXPECT_EQ(tally.faults[kSealedIpmi][i] > 0, profile.perMille[i] > 0)
            << kFaultNames[i] << " at no request or answer";
    }
}

INSTANTIATE_TEST_SUITE_P(Networks, HostileShow, testing::ValuesIn(kNetworks),
                         [](const auto& each) { return std::string(each.param.name); });

// In this one process, which a leak detector looks at when it ends.
class HostileShows : public HostileShow
{
};

TEST_P(HostileShows, LeaveNothingBehind)
{
    constexpr int kMostRounds = 5;
    constexpr std::size_t kSlack = 1024;
    const int first = GetParam().firstSeed;
    const auto playRound = [&] {
        for (int seed = first; seed < first + 5; ++seed) {
            SetGlobalConfigValue("MODULE_TYPE", -1);
            const RunResult result = PlayOne(seed);
            EXPECT_THAT(result.verdict.complaints, testing::IsEmpty());
        }
    };
    playRound();
    const std::ptrdiff_t openFiles = OpenFiles();
    // Buffers that are kept grow to what the worst result so far took, and then no more; a leak
    // makes every round end with more than the one before.
    bool grows = true;
    for (int round = 1; round < kMostRounds && grows; ++round) {
        const std::size_t bytes = HeapBytes();
        playRound();
        EXPECT_EQ(OpenFiles(), openFiles);
        grows = HeapBytes() > bytes + kSlack;
    }
    EXPECT_FALSE(grows) << HeapBytes() << " bytes in use";
}

INSTANTIATE_TEST_SUITE_P(Networks, HostileShows, testing::ValuesIn(kNetworks),
                         [](const auto& each) { return std::string(each.param.name); });

}  // namespace
}  // namespace Tulvo
