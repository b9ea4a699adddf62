// SPDX-License-Identifier: Apache-2.0
#include "apps/vkt_exporter/probe/reads.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <condition_variable>
#include <map>
#include <mutex>
#include <new>
#include <optional>
#include <set>
#include <string>
#include <thread>
#include <vector>

namespace {

using namespace Tulvo;
using namespace Tulvo::Exporter;
using namespace std::chrono_literals;
using Kind = Answer::Kind;
using testing::ElementsAre;
using testing::UnorderedElementsAre;

constexpr auto kLong = 1h;  // no test waits that long

std::string NameOf(Kind kind)
{
    const std::map<Kind, std::string> names = {{Kind::kRead, "read"},
                                               {Kind::kLate, "late"},
                                               {Kind::kTooMany, "too many"},
                                               {Kind::kStopping, "stopping"}};
    return names.at(kind);
}

/// Reads that go on until the test ends them, and the answers that scrapes got.
class ReadsOfATest : public testing::Test
{
protected:
    ReadResult Read(const Wanted& wanted, const std::stop_token& stop)
    {
        std::unique_lock lock(mutex_);
        begun_.push_back(wanted);
        EXPECT_TRUE(underWay_.insert(wanted.target).second) << "two reads of one target";
        changed_.notify_all();
        if (heedsStop_) {
            changed_.wait(lock, stop, [&] { return results_.contains(wanted.target); });
        } else {
            changed_.wait(lock, [&] { return results_.contains(wanted.target); });
        }
        underWay_.erase(wanted.target);
        auto result = results_.extract(wanted.target);
        return result ? result.mapped() : ReadResult{};
    }

    /// Ends the read of a target.
    void End(const std::string& target, const ReadResult& result = {})
    {
        const std::lock_guard lock(mutex_);
        results_[target] = result;
        changed_.notify_all();
    }

    /// What a scrape of this name wants, and how it is answered.
    void Scrape(
        Reads& reads, const std::string& name, const std::string& target,
        std::chrono::milliseconds time = kLong,
        const std::function<void(Wanted&)>& change = [](Wanted&) {})
    {
        Wanted wanted{
            .target = target, .configuration = configuration_, .until = Reads::Clock::now() + time};
        change(wanted);
        reads.Ask(std::move(wanted), [this, name](const Answer& answer) {
            const std::lock_guard lock(mutex_);
            answers_.push_back(name + ": " + NameOf(answer.kind) +
                               (answer.result ? " " + answer.result->log : ""));
            changed_.notify_all();
        });
    }

    std::vector<std::string> Answers(std::size_t count)
    {
        std::unique_lock lock(mutex_);
        changed_.wait(lock, [&] { return answers_.size() >= count; });
        return answers_;
    }

    std::vector<Wanted> Begun(std::size_t count)
    {
        std::unique_lock lock(mutex_);
        changed_.wait(lock, [&] { return begun_.size() >= count; });
        return begun_;
    }

    Reads::Read Reader()
    {
        return [this](const Wanted& wanted, const std::stop_token& stop) {
            return Read(wanted, stop);
        };
    }

    bool heedsStop_ = true;
    const SharedConfiguration configuration_ = std::make_shared<Configuration>();

private:
    std::mutex mutex_;
    std::condition_variable_any changed_;
    std::vector<Wanted> begun_;
    std::set<std::string> underWay_;
    std::map<std::string, ReadResult> results_;
    std::vector<std::string> answers_;
};

ReadResult Logged(const std::string& log)
{
    ReadResult result;
    result.log = log;
    return result;
}

ReadResult CutShort()
{
    ReadResult result;
    result.enclosure.error = Failure{Cause::kTimedOut, "the time was over", "", {}};
    return result;
}

TEST_F(ReadsOfATest, AreSharedByScrapesThatWantTheSame)
{
    Reads reads(Reader(), 4);
    Scrape(reads, "first", "a");
    Begun(1);
    Scrape(reads, "second", "a");
    EXPECT_EQ(reads.Now().scrapes, 2U);
    End("a", Logged("1"));
    EXPECT_THAT(Answers(2), UnorderedElementsAre("first: read 1", "second: read 1"));
    EXPECT_EQ(Begun(1).size(), 1U);
}

struct NotSharedRow
{
    const char* what;
    std::function<void(Wanted&)> change;
};

TEST_F(ReadsOfATest, AreNotSharedByScrapesThatWantSomethingElse)
{
    const NotSharedRow rows[] = {
        {"other sections", [](Wanted& wanted) { wanted.sections = Enclosures::kPower; }},
        {"the log too", [](Wanted& wanted) { wanted.withLog = true; }},
        {"by files that were read again",
         [](Wanted& wanted) { wanted.configuration = std::make_shared<Configuration>(); }},
    };
    std::size_t begun = 0;
    Reads reads(Reader(), 4);
    for (const NotSharedRow& row : rows) {
        SCOPED_TRACE(row.what);
        Scrape(reads, "first", "a");
        Begun(++begun);
        Scrape(reads, "second", "a", kLong, row.change);
        EXPECT_EQ(Begun(begun).size(), begun);  // it waits for the other's end
        End("a", Logged("1"));
        EXPECT_EQ(Answers(begun)[begun - 1], "first: read 1");
        Begun(++begun);
        End("a", Logged("2"));
        EXPECT_EQ(Answers(begun)[begun - 1], "second: read 2");
    }
}

TEST_F(ReadsOfATest, WithALogAreSharedByWhoeverWantsNone)
{
    Reads reads(Reader(), 4);
    Scrape(reads, "first", "a", kLong, [](Wanted& wanted) { wanted.withLog = true; });
    Begun(1);
    Scrape(reads, "second", "a");
    End("a", Logged("1"));
    EXPECT_THAT(Answers(2), UnorderedElementsAre("first: read 1", "second: read 1"));
}

TEST_F(ReadsOfATest, AreBounded)
{
    Reads reads(Reader(), 2);
    Scrape(reads, "a", "a");
    Scrape(reads, "b", "b");
    Begun(2);
    Scrape(reads, "c", "c");
    Scrape(reads, "d", "d");
    EXPECT_EQ(reads.Now().inFlight, 2U);
    EXPECT_EQ(reads.Now().waiting, 2U);
    Scrape(reads, "e", "e");
    EXPECT_THAT(Answers(1), ElementsAre("e: too many"));
    Scrape(reads, "a again", "a");
    EXPECT_EQ(Answers(2)[1], "a again: too many");
    End("a");
    Begun(3);
    Scrape(reads, "f", "f");
    for (const char* const target : {"b", "c", "d", "f"}) {
        End(target);
    }
    EXPECT_EQ(Answers(7).size(), 7U);
    EXPECT_EQ(Begun(5).size(), 5U);
}

TEST_F(ReadsOfATest, AreNotBegunForAScrapeWhoseTimeIsOver)
{
    Reads reads(Reader(), 1);
    Scrape(reads, "a", "a");
    Begun(1);
    Scrape(reads, "late", "b", 1ms);
    EXPECT_THAT(Answers(1), ElementsAre("late: late"));
    EXPECT_EQ(reads.Now().waiting, 0U);
    Scrape(reads, "b", "b");
    End("a");
    EXPECT_EQ(Begun(2)[1].target, "b");
    End("b");
    Answers(3);
    EXPECT_EQ(Begun(2).size(), 2U);
}

TEST_F(ReadsOfATest, GoOnWhenAScrapeThatSharesThemHasLessTime)
{
    Reads reads(Reader(), 2);
    Scrape(reads, "a", "a");
    Begun(1);
    Scrape(reads, "hasty", "a", 1ms);
    EXPECT_THAT(Answers(1), ElementsAre("hasty: late"));
    End("a", Logged("1"));
    EXPECT_EQ(Answers(2)[1], "a: read 1");
}

TEST_F(ReadsOfATest, ThatWereCutShortAreDoneAgainForWhoeverHasMoreTime)
{
    Reads reads(Reader(), 2);
    Scrape(reads, "short", "a", 1000s);
    Begun(1);
    Scrape(reads, "as short", "a", 1000s);
    Scrape(reads, "long", "a", 2000s);
    End("a", CutShort());
    EXPECT_THAT(Answers(2), UnorderedElementsAre("short: read ", "as short: read "));
    const Wanted again = Begun(2)[1];
    EXPECT_GT(again.until, Reads::Clock::now() + 1500s);
    End("a", CutShort());
    EXPECT_EQ(Answers(3)[2], "long: read ");
    EXPECT_EQ(Begun(2).size(), 2U);
}

TEST_F(ReadsOfATest, OfScrapesThatWaitedEndInTimeForTheFirst)
{
    Reads reads(Reader(), 2);
    Scrape(reads, "status", "a", kLong,
           [](Wanted& wanted) { wanted.sections = Enclosures::kModuleOnly; });
    Begun(1);
    Scrape(reads, "long", "a", 2000s);
    Scrape(reads, "short", "a", 1000s);
    Scrape(reads, "power", "a", 500s, [](Wanted& wanted) { wanted.sections = Enclosures::kPower; });
    End("a");
    const Wanted first = Begun(2)[1];
    EXPECT_EQ(first.sections, Enclosures::kEverything);
    EXPECT_LT(first.until, Reads::Clock::now() + 1500s);
    EXPECT_GT(first.until, Reads::Clock::now() + 700s);
    End("a", Logged("1"));
    EXPECT_EQ(Begun(3)[2].sections, Enclosures::kPower);
    End("a", Logged("2"));
    EXPECT_THAT(Answers(4), UnorderedElementsAre("status: read ", "long: read 1", "short: read 1",
                                                 "power: read 2"));
}

TEST_F(ReadsOfATest, ThatFailOnThisSideSayWhy)
{
    Reads reads([](const Wanted&, const std::stop_token&) -> ReadResult { throw std::bad_alloc(); },
                1);
    std::mutex mutex;
    std::condition_variable answered;
    std::optional<Failure> error;
    reads.Ask(
        {.target = "a", .configuration = configuration_, .until = Reads::Clock::now() + kLong},
        [&](const Answer& answer) {
            const std::lock_guard lock(mutex);
            error = answer.result->enclosure.error;
            answered.notify_all();
        });
    std::unique_lock lock(mutex);
    answered.wait(lock, [&] { return error.has_value(); });
    EXPECT_EQ(error->cause, Cause::kLocal);
    EXPECT_THAT(error->message, testing::HasSubstr("bad_alloc"));
}

TEST_F(ReadsOfATest, EndWhenTheyAreStopped)
{
    Reads reads(Reader(), 2);
    Scrape(reads, "read", "a");
    Begun(1);
    Scrape(reads, "shares", "a");
    Scrape(reads, "waits", "a", kLong, [](Wanted& wanted) { wanted.withLog = true; });
    EXPECT_TRUE(reads.Stop(kLong));
    Scrape(reads, "comes after", "c");
    EXPECT_THAT(Answers(4), UnorderedElementsAre("read: stopping", "shares: stopping",
                                                 "waits: stopping", "comes after: stopping"));
    EXPECT_EQ(Begun(1).size(), 1U);
    EXPECT_EQ(reads.Now().threads, 0U);
}

TEST_F(ReadsOfATest, ThatDoNotEndAreNotWaitedForForEver)
{
    heedsStop_ = false;
    Reads reads(Reader(), 1);
    Scrape(reads, "a", "a");
    Begun(1);
    EXPECT_FALSE(reads.Stop(1ms));
    EXPECT_THAT(Answers(1), ElementsAre("a: stopping"));
    End("a");
    EXPECT_TRUE(reads.Stop(kLong));
}

TEST_F(ReadsOfATest, LeaveAFewThreadsBehind)
{
    constexpr std::size_t kMany = 64;
    Reads reads(Reader(), kMany);
    for (std::size_t i = 0; i < kMany; ++i) {
        Scrape(reads, "all", std::to_string(i));
    }
    Begun(kMany);
    EXPECT_EQ(reads.Now().threads, kMany);
    for (std::size_t i = 0; i < kMany; ++i) {
        End(std::to_string(i));
    }
    Answers(kMany);
    while (reads.Now().threads > 8) {
        std::this_thread::yield();
    }
    Scrape(reads, "one", "0");
    Begun(kMany + 1);
    EXPECT_LE(reads.Now().threads, 8U);
    End("0");
    Answers(kMany + 1);
}

}  // namespace
