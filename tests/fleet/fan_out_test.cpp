// SPDX-License-Identifier: Apache-2.0
#include "fleet/fan_out.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/resource.h>

#include <algorithm>
#include <atomic>
#include <barrier>
#include <chrono>
#include <future>
#include <list>
#include <map>
#include <memory>
#include <mutex>
#include <stdexcept>
#include <stop_token>
#include <string>
#include <thread>
#include <vector>

#include "tests/support/recording_gate.h"

namespace {

using namespace std::chrono_literals;
using namespace Tulvo;
using namespace Tulvo::Fleet;
using Enclosures::Enclosure;
using Enclosures::Limits;
using Enclosures::Target;
using End = LogInGate::End;

Failure Fault(Cause cause, const std::string& message)
{
    return {cause, message, "", {}};
}

/// What a module does with a log-in.
enum class Conduct
{
    kAccepts,
    kRefuses,
    kDead,    ///< Never answers.
    kStalls,  ///< Answers, and falls silent in the log-in.
};

/// Modules by host name, and what reads of them have done.
class Modules
{
public:
    std::map<std::string, Conduct> conduct;
    Conduct others = Conduct::kAccepts;

    Enclosure Read(const Target& target, const Limits& limits)
    {
        Enclosure enclosure;
        enclosure.source.host = target.host;
        enclosure.error = Ask(target, limits);
        return enclosure;
    }

    std::atomic<int> logIns = 0;
    std::atomic<int> atOnce = 0;
    std::atomic<int> mostAtOnce = 0;

private:
    std::optional<Failure> Ask(const Target& target, const Limits& limits)
    {
        if (auto closed = limits.gate->Closed()) {
            return closed;
        }
        if (limits.stop.stop_requested()) {
            return Fault(Cause::kCancelled, "cancelled");
        }
        const auto found = conduct.find(target.host);
        const Conduct does = found == conduct.end() ? others : found->second;
        if (does == Conduct::kDead) {
            return Fault(Cause::kUnreachable, "no answer");
        }
        LogInPass pass(limits.gate);
        if (!pass.Enter(std::chrono::steady_clock::now() + limits.deadline, limits.stop)) {
            return pass.Refusal();
        }
        ++logIns;
        mostAtOnce = std::max(mostAtOnce.load(), ++atOnce);
        std::this_thread::sleep_for(1ms);
        --atOnce;
        if (does == Conduct::kStalls) {
            return Fault(Cause::kTimedOut, "silent in the log-in");
        }
        pass.Leave(does == Conduct::kAccepts ? End::kAccepted : End::kRefused);
        return does == Conduct::kAccepts ? std::nullopt
                                         : std::optional(Fault(Cause::kRefused, "wrong password"));
    }
};

Job JobFor(std::size_t index)
{
    Job job;
    job.target.host = "enc" + std::to_string(index);
    job.target.user = "monitor";
    job.target.password = "secret";
    return job;
}

/// What was delivered, by index; each once.
using Results = std::map<std::size_t, Enclosure>;

Results ReadAll(std::size_t count, Modules& modules, AccountGuard& guard,
                const FanOutOptions& options = {}, const JobOf& jobOf = &JobFor)
{
    Results results;
    const auto shortage = FanOut(
        count, jobOf,
        [&](const Target& target, const Limits& limits) { return modules.Read(target, limits); },
        [&](std::size_t index, Enclosure&& enclosure) {
            EXPECT_TRUE(results.emplace(index, std::move(enclosure)).second);
        },
        guard, options);
    EXPECT_FALSE(shortage) << shortage->message;
    EXPECT_EQ(results.size(), count);
    return results;
}

std::size_t CountOf(const Results& results, std::optional<Cause> cause)
{
    return static_cast<std::size_t>(
        std::count_if(results.begin(), results.end(), [cause](const auto& result) {
            const auto& error = result.second.error;
            return error ? error->cause == cause : !cause;
        }));
}

TEST(FanOuts, DeliverEachEnclosureOnce)
{
    for (const unsigned width : {0U, 1U, 7U, 64U, 5000U}) {
        Modules modules;
        AccountGuard guard;
        const Results results = ReadAll(200, modules, guard, {.width = width});
        EXPECT_EQ(CountOf(results, std::nullopt), 200U) << width;
        for (const auto& [index, enclosure] : results) {
            EXPECT_EQ(enclosure.source.host, "enc" + std::to_string(index));
        }
    }
    Modules nobody;
    AccountGuard guard;
    ReadAll(0, nobody, guard);
}

TEST(FanOuts, AskAsManyAtATimeAsTheyMay)
{
    // Nobody goes on before all of them are there.
    constexpr std::size_t kWidth = 16;
    std::barrier together(kWidth);
    std::atomic<unsigned> now = 0;
    std::atomic<unsigned> most = 0;
    CallInThreads(4 * kWidth, static_cast<unsigned>(kWidth), [&](std::size_t) {
        ++now;
        together.arrive_and_wait();
        most = std::max(most.load(), now.load());
        together.arrive_and_wait();
        --now;
        together.arrive_and_wait();
    });
    EXPECT_EQ(most, kWidth);
}

TEST(FanOuts, GiveEachReadItsLimits)
{
    AccountGuard guard;
    std::stop_source stop;
    FanOut(
        1,
        [](std::size_t index) {
            Job job = JobFor(index);
            job.timeout = 7s;
            job.connectTimeout = 2s;
            return job;
        },
        [&](const Target&, const Limits& limits) {
            EXPECT_EQ(limits.deadline, 7s);
            EXPECT_EQ(limits.firstAnswer, 2s);
            EXPECT_EQ(limits.stop, stop.get_token());
            return Enclosure{};
        },
        [](std::size_t, Enclosure&&) {}, guard, {.width = 1, .stop = stop.get_token()});
}

TEST(FanOuts, GiveAReadTheGateOfItsJob)
{
    AccountGuard guard;
    const auto own = std::make_shared<Tests::RecordingGate>();
    FanOut(
        2,
        [&own](std::size_t index) {
            Job job = JobFor(index);
            job.gate = index == 1 ? own : nullptr;
            return job;
        },
        [&own](const Target& target, const Limits& limits) {
            EXPECT_NE(limits.gate, nullptr);
            EXPECT_EQ(limits.gate == own.get(), target.host == "enc1");
            return Enclosure{};
        },
        [](std::size_t, Enclosure&&) {}, guard);
}

TEST(FanOuts, DeliverWhatIsThereWhileOthersStillWait)
{
    AccountGuard guard;
    std::promise<void> delivered;
    FanOut(
        2, &JobFor,
        [&](const Target& target, const Limits&) {
            if (target.host == "enc0") {
                EXPECT_EQ(delivered.get_future().wait_for(60s), std::future_status::ready);
            }
            return Enclosure{};
        },
        [&](std::size_t index, Enclosure&&) {
            if (index == 1) {
                delivered.set_value();
            }
        },
        guard);
}

TEST(FanOuts, PassOnWhatACallThrows)
{
    std::atomic<int> calls = 0;
    EXPECT_THROW(CallInThreads(1000, 4,
                               [&](std::size_t) {
                                   ++calls;
                                   throw std::runtime_error("a fault");
                               }),
                 std::runtime_error);
    EXPECT_LE(calls, 4);
}

TEST(FanOuts, ThatAreStoppedDeliverTheRestAsCancelled)
{
    Modules modules;
    AccountGuard guard;
    std::stop_source stop;
    std::size_t read = 0;
    std::size_t cancelled = 0;
    FanOut(
        500, &JobFor,
        [&](const Target& target, const Limits& limits) { return modules.Read(target, limits); },
        [&](std::size_t, Enclosure&& enclosure) {
            ++(enclosure.error ? cancelled : read);
            if (read == 20) {
                stop.request_stop();
            }
        },
        guard, {.width = 8, .stop = stop.get_token()});
    EXPECT_EQ(read + cancelled, 500U);
    EXPECT_GE(read, 20U);
    EXPECT_LE(read, 28U);
}

TEST(AccountGuards, LetThreeModulesRefuseAPassword)
{
    Modules modules;
    modules.others = Conduct::kRefuses;
    AccountGuard guard;
    const Results results = ReadAll(200, modules, guard);
    EXPECT_EQ(modules.logIns, 3);
    EXPECT_EQ(CountOf(results, Cause::kRefused), 200U);
    EXPECT_EQ(std::count_if(results.begin(), results.end(),
                            [](const auto& result) {
                                return result.second.error->message.starts_with("not asked: ");
                            }),
              197);
    // The next round knows.
    ReadAll(200, modules, guard);
    EXPECT_EQ(modules.logIns, 3);
}

TEST(AccountGuards, AskOnWhenToldTo)
{
    Modules modules;
    modules.others = Conduct::kRefuses;
    AccountGuard guard(true);
    ReadAll(50, modules, guard);
    EXPECT_EQ(modules.logIns, 50);
    EXPECT_LE(modules.mostAtOnce, 3);
}

TEST(AccountGuards, HoldNothingBackOnceSomebodyHasAccepted)
{
    Modules modules;
    modules.others = Conduct::kRefuses;
    modules.conduct["enc2"] = Conduct::kAccepts;
    AccountGuard guard;
    EXPECT_EQ(CountOf(ReadAll(3, modules, guard, {.width = 1}), Cause::kRefused), 2U);
    ReadAll(50, modules, guard);
    EXPECT_EQ(modules.logIns, 53);
}

TEST(AccountGuards, NeverHaveMoreThanThreeLogInsUnderWay)
{
    Modules modules;
    modules.others = Conduct::kStalls;
    AccountGuard guard;
    const Results results = ReadAll(60, modules, guard);
    EXPECT_LE(modules.mostAtOnce, 3);
    // Nobody has refused anything.
    EXPECT_EQ(modules.logIns, 60);
    EXPECT_EQ(CountOf(results, Cause::kTimedOut), 60U);
}

TEST(AccountGuards, KeepNoPlaceForModulesThatDoNotAnswer)
{
    Modules modules;
    for (int i = 0; i < 100; ++i) {
        modules.conduct["enc" + std::to_string(i)] = Conduct::kDead;
    }
    AccountGuard guard;
    const Results results = ReadAll(200, modules, guard);
    EXPECT_EQ(CountOf(results, Cause::kUnreachable), 100U);
    EXPECT_EQ(CountOf(results, std::nullopt), 100U);
}

TEST(AccountGuards, KeepAccountsApart)
{
    Modules modules;
    modules.others = Conduct::kRefuses;
    AccountGuard guard;
    ReadAll(100, modules, guard, {}, [](std::size_t index) {
        Job job = JobFor(index);
        (index % 2 == 0 ? job.target.user : job.target.password) += std::to_string(index % 4);
        return job;
    });
    EXPECT_EQ(modules.logIns, 4 * 3);
}

TEST(AccountGuards, LetNobodyWaitForLongerThanTheReadMay)
{
    AccountGuard guard;
    const Target target = JobFor(0).target;
    std::list<AccountGuard::Place> places;
    const auto now = std::chrono::steady_clock::now();
    for (int i = 0; i < 3; ++i) {
        EXPECT_FALSE(places.emplace_back(guard, target).Enter(now + 60s, {}));
    }
    AccountGuard::Place late(guard, target);
    EXPECT_EQ(late.Enter(now, {})->cause, Cause::kTimedOut);
    std::stop_source stop;
    stop.request_stop();
    EXPECT_EQ(late.Enter(now + 60s, stop.get_token())->cause, Cause::kCancelled);
    std::jthread accepts([&] { places.front().Leave(End::kAccepted); });
    EXPECT_FALSE(late.Enter(now + 60s, {}));
}

TEST(AccountGuards, ForgetAModuleThatHasFallenSilent)
{
    AccountGuard guard(false, 20ms);
    const Target target = JobFor(0).target;
    std::list<AccountGuard::Place> places;
    const auto until = std::chrono::steady_clock::now() + 60s;
    for (int i = 0; i < 4; ++i) {
        EXPECT_FALSE(places.emplace_back(guard, target).Enter(until, {}));
    }
}

#ifndef SANITIZED  // sanitizers take more memory than the limit leaves
/// In a process of its own, because of the limit.
void RunShortOfThreads(rlim_t memory)
{
    const rlimit limit{memory, memory};
    setrlimit(RLIMIT_AS, &limit);
    std::atomic<int> calls = 0;
    const auto shortage = CallInThreads(2000, kMostAtOnce, [&](std::size_t) {
        ++calls;
        std::this_thread::sleep_for(1ms);
    });
    const bool said =
        shortage && shortage->cause == Cause::kLocal &&
        shortage->message.find(" of 1024 threads could be started") != std::string::npos;
    std::exit(calls == 2000 && said ? 0 : 1);
}

TEST(FanOuts, DoTheirWorkWithFewerThreadsWhenThereAreNoMore)
{
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    // Room for some stacks of eight mebibytes.
    EXPECT_EXIT(RunShortOfThreads(rlim_t{512} << 20U), testing::ExitedWithCode(0), "");
}
#endif

}  // namespace
