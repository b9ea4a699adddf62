// SPDX-License-Identifier: Apache-2.0
// Walks the plan over both transports and both generations: each fault at each request in turn.
// What must be missing then is computed from the values that hang on the request; everything else
// must be right, and no session may stay on the module.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <iostream>
#include <stop_token>
#include <string>
#include <thread>
#include <vector>

#include "module/vkt/vkt_enclosure/health.h"
#include "module/vkt/vkt_enclosure/impl/plan.h"
#include "tests/fakes/fake_config.h"
#include "tests/fakes/fake_log.h"
#include "tests/support/run_in_threads.h"
#include "tests/vkt_enclosure/faulty_module.h"

namespace Tulvo::Enclosures {
namespace {

using namespace std::chrono_literals;
using Fakes::RequestName;
using testing::IsEmpty;

/// How many reads; most of their time they wait.
constexpr std::size_t kAllAtOnce = 1'000;

struct Case
{
    std::string name;
    Delivery delivery;
    std::optional<Bytes> answer;
    int times;
    // What the values are that hang on the request; empty where nothing may be lost.
    std::string overRmcp;
    std::string overHttps;
    bool onlyHttps = false;
    std::size_t atOnce = kAllAtOnce;
};

void PrintTo(const Case& one, std::ostream* stream)
{
    *stream << one.name;
}

constexpr int kAlways = 1'000'000;
const std::string kNothing;

const std::vector<Case> kCases{
    {"Refused", Delivery::kPlain, Bytes{0xC9}, 1, "completionCode", "completionCode"},
    // A request is put off for a second at most, in which all others are asked.
    {"BusyTwice", Delivery::kPlain, Bytes{0xC0}, 2, kNothing, kNothing, false, 2},
    {"Busy", Delivery::kPlain, Bytes{0xC0}, kAlways, "busy", "busy"},
    {"Short", Delivery::kPlain, Bytes{0x00}, 1, "malformedAnswer", "malformedAnswer"},
    {"Late", Delivery::kLate, {}, 1, kNothing, kNothing},
    {"Doubled", Delivery::kDoubled, {}, 1, kNothing, kNothing},
    {"Foreign", Delivery::kForeign, {}, 1, kNothing, "malformedAnswer"},
    {"LostOnce", Delivery::kLost, {}, 1, kNothing, kNothing},
    {"Lost", Delivery::kLost, {}, kAlways, "timedOut", "unreachable"},
    {"SessionLost", Delivery::kSessionLost, {}, 1, kNothing, kNothing},
    {"Unavailable", Delivery::kUnavailable, {}, 1, "", kNothing, true},
    {"UnavailableForASecond", Delivery::kUnavailableForASecond, {}, 1, "", kNothing, true},
};

const Limits kTimeEnough{.deadline = 5min, .stop = {}};

Values ExpectedOf(const PaperEnclosure& paper, const std::map<std::string, std::string>& lost,
                  const IpmiTransport& transport)
{
    Values values = paper.Expected(kEverything, lost);
    const IpmiSessionInfo info = transport.Info();
    values["module.port"] = std::to_string(info.port);
    values["module.cipherSuite"] = info.cipherSuite ? std::to_string(*info.cipherSuite) : "absent";
    return values;
}

/// Every request of the plan, with the text that its values then have.
std::map<std::string, std::string> All(const PaperEnclosure& paper, const std::string& text)
{
    std::map<std::string, std::string> lost;
    for (const PaperRequest& request : paper.Requests()) {
        lost[RequestName(request.request)] = text;
    }
    return lost;
}

bool NothingIsLeft(FaultyModule& module)
{
    for (int i = 0; i < 2000 && !module.HasNoSession(); ++i) {
        std::this_thread::sleep_for(5ms);
    }
    return module.HasNoSession();
}

/// One request of a read of one generation over one transport.
struct Place
{
    PaperEnclosure paper;
    bool overHttps;
    std::size_t number;

    IPMICOMMAND Request() const { return paper.Requests()[number].request; }
    std::unique_ptr<FaultyModule> Play(const PlannedFault& fault, bool quick) const
    {
        return overHttps ? HttpsModule(paper, fault) : RmcpModule(paper, fault, quick);
    }
};

std::vector<Place> PlacesOfFaults(bool overHttps)
{
    std::vector<Place> places;
    for (const PaperEnclosure& paper : PaperEnclosures()) {
        if (paper.nodes == 4) {  // the other platforms have the same requests, and more of them
            for (std::size_t number = 0; number < paper.Requests().size(); ++number) {
                places.push_back({paper, overHttps, number});
            }
        }
    }
    return places;
}

/// Calls `check` with every place of a transport, `atOnce` at the same time.
template <class Check>
void AtEachPlace(bool overHttps, Check check, std::size_t atOnce = kAllAtOnce)
{
    const std::vector<Place> places = PlacesOfFaults(overHttps);
    const std::size_t threads = std::min(atOnce, places.size());
    RunInThreads(static_cast<int>(threads), [&](int thread) {
        for (auto i = static_cast<std::size_t>(thread); i < places.size(); i += threads) {
            const Place& place = places[i];
            SCOPED_TRACE(place.paper.name + (overHttps ? " over HTTPS " : " over RMCP+ ") +
                         RequestName(place.Request()));
            check(place);
        }
    });
}

class FaultTest : public testing::TestWithParam<Case>
{
protected:
    /// The cause that the request's values have then; empty where nothing may be lost.
    static std::string CauseAt(const Place& place)
    {
        // A token that has never been taken is not replaced by another.
        if (GetParam().delivery == Delivery::kSessionLost && place.overHttps && place.number == 0) {
            return "refused";
        }
        return place.overHttps ? GetParam().overHttps : GetParam().overRmcp;
    }

    static std::map<std::string, std::string> LostAt(const Place& place)
    {
        const std::string cause = CauseAt(place);
        if (cause.empty()) {
            return {};
        }
        if (place.number == 0) {
            return All(place.paper, "not read: " + cause);
        }
        return {{RequestName(place.Request()), "not read: " + cause}};
    }

    void Check(const Place& place)
    {
        const Case& fault = GetParam();
        const bool needsCopies = fault.delivery == Delivery::kLate ||
                                 fault.delivery == Delivery::kLost ||
                                 fault.delivery == Delivery::kSessionLost;
        const auto module =
            place.Play({place.Request(), fault.delivery, fault.answer, fault.times}, needsCopies);
        const auto transport = module->Transport();
        RealPace pace;
        const Enclosure record = ReadOver(*transport, pace, {}, kTimeEnough);
        const auto lost = LostAt(place);
        EXPECT_THAT(Differences(ExpectedOf(place.paper, lost, *transport), record), IsEmpty());
        EXPECT_EQ(lost.empty() ? Health::kOk : Health::kUnknown, Judge(record).status);
        const bool logsInAgain = fault.delivery == Delivery::kSessionLost && lost.empty();
        EXPECT_EQ(logsInAgain ? 2U : 1U, record.cost.logIns);
        EXPECT_TRUE(NothingIsLeft(*module));
        ++tried;
        failures += NotRead(record).size();
    }

    Fakes::FakeConfig config;
    Fakes::FakeLog log;
    std::atomic<std::size_t> tried = 0;
    std::atomic<std::size_t> failures = 0;
};

INSTANTIATE_TEST_SUITE_P(Reads, FaultTest, testing::ValuesIn(kCases),
                         [](const auto& one) { return one.param.name; });

TEST_P(FaultTest, CostsWhatHangsOnTheRequestAndNothingElse)
{
    for (const bool overHttps : {false, true}) {
        if (overHttps || !GetParam().onlyHttps) {
            AtEachPlace(
                overHttps, [this](const Place& place) { Check(place); }, GetParam().atOnce);
        }
    }
    std::cout << GetParam().name << ": " << tried << " faults, " << failures
              << " failures named, all of them due\n";
}

class CancellationTest : public testing::Test
{
protected:
    Fakes::FakeConfig config;
    Fakes::FakeLog log;
};

TEST_F(CancellationTest, AtEachRequestGivesWhatWasReadAndLeavesNothing)
{
    const auto check = [](const Place& place) {
        std::stop_source stop;
        PlannedFault fault{place.Request(), Delivery::kLost, {}, kAlways};
        fault.onArrival = [&stop] { stop.request_stop(); };
        const auto module = place.Play(fault, false);
        const auto transport = module->Transport();
        RealPace pace;
        const Enclosure record =
            ReadOver(*transport, pace, {}, {.deadline = 5min, .stop = stop.get_token()});
        ASSERT_TRUE(record.error);
        EXPECT_EQ(Cause::kCancelled, record.error->cause);
        EXPECT_FALSE(NotRead(record).empty());
        // Which requests stand before it is the plan's to say: each value is right or cancelled.
        const Values right = ExpectedOf(place.paper, {}, *transport);
        for (const auto& [name, value] : ValuesOf(record)) {
            const auto known = right.find(name);
            EXPECT_TRUE(value == "not read: cancelled" ||
                        (known != right.end() && known->second == value))
                << name << " is " << value;
        }
        EXPECT_TRUE(NothingIsLeft(*module));
    };
    for (const bool overHttps : {false, true}) {
        AtEachPlace(overHttps, check);
    }
}

}  // namespace
}  // namespace Tulvo::Enclosures
