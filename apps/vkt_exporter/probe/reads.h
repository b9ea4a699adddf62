// SPDX-License-Identifier: Apache-2.0
/// @file
/// Which scrapes are answered by which read, and how many of either there are at a time.
#ifndef APPS_VKT_EXPORTER_PROBE_READS_H
#define APPS_VKT_EXPORTER_PROBE_READS_H

#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <deque>
#include <functional>
#include <list>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <stop_token>
#include <string>
#include <thread>
#include <vector>

#include "apps/vkt_exporter/configuration.h"
#include "module/vkt/vkt_enclosure/enclosure.h"
#include "module/vkt/vkt_enclosure/health.h"

namespace Tulvo::Exporter {

/// What a scrape asks for, and what a read does for one or several of them.
struct Wanted
{
    std::string target;  ///< As the fleet file has it, which has it.
    SharedConfiguration configuration;
    Enclosures::Sections sections = Enclosures::kEverything;
    std::chrono::steady_clock::time_point until;  ///< When it is to be answered.
    bool withLog = false;
};

/// What a read gave.
struct ReadResult
{
    Enclosures::Enclosure enclosure;
    Enclosures::Expectations expected;
    std::string log;  ///< If wanted.
};

/// How a scrape ends.
struct Answer
{
    enum class Kind
    {
        kRead,      ///< By a read.
        kLate,      ///< Its time was over before a read for it could end.
        kTooMany,   ///< There was no place for it.
        kStopping,  ///< The program ends.
    };
    Kind kind = Kind::kRead;
    std::shared_ptr<const ReadResult> result;  ///< Of kRead.
};

/// Does the reads, each in a thread that waits for the module. Threads are started as they are
/// needed; of those that have nothing to do a few stay.
///
/// A target has one read at a time. A scrape shares the one under way when that reads the same
/// sections by the same configuration, and keeps its log if that is wanted; otherwise it waits for
/// the next one. Scrapes that wait share their read, too, which then ends in time for the first of
/// them; whoever has at least a second more gets another one, should that time not have been
/// enough. A scrape whose time is over before its read has ended is answered then.
///
/// Whoever has gone meanwhile makes no difference: the read goes on to its log-out.
class Reads
{
public:
    using Clock = std::chrono::steady_clock;
    /// Reads an enclosure; called by many threads.
    using Read = std::function<ReadResult(const Wanted& wanted, const std::stop_token& stop)>;
    using Done = std::function<void(const Answer& answer)>;

    struct Counts
    {
        std::size_t inFlight = 0;  ///< Reads.
        std::size_t waiting = 0;   ///< Targets with scrapes that wait for a read.
        std::size_t scrapes = 0;   ///< That are to be answered.
        std::size_t threads = 0;
    };

    /// @param mostInFlight reads at a time. Twice as many scrapes have room.
    Reads(Read read, std::size_t mostInFlight);
    Reads(const Reads&) = delete;
    Reads& operator=(const Reads&) = delete;
    /// Stops, and waits for all threads.
    ~Reads();

    /// Does not wait. `done` is called once, here or by another thread.
    void Ask(Wanted wanted, Done done);

    /// Answers all scrapes, has all reads cancelled and waits until they have ended, for `limit` at
    /// the longest.
    /// @return whether all have.
    bool Stop(std::chrono::milliseconds limit);

    Counts Now() const;

private:
    struct Scrape
    {
        Wanted wanted;
        Done done;
    };
    using Scrapes = std::vector<Scrape>;
    struct Running
    {
        Wanted wanted;
        Scrapes scrapes;
    };
    struct Target
    {
        Scrapes waiting;
        std::unique_ptr<Running> running;
    };
    using Targets = std::map<std::string, Target>;
    using Threads = std::list<std::thread>;

    static bool Gives(const Running& running, const Wanted& wanted);
    static std::unique_ptr<Running> TakeNext(Scrapes& waiting);
    std::optional<Answer::Kind> Take(Scrape& scrape);
    bool HaveThread();
    void Work(Threads::iterator own);
    void ReadNext(std::unique_lock<std::mutex>& lock);
    ReadResult ReadSafely(const Wanted& wanted) const;
    Scrapes End(Targets::iterator target, const ReadResult& result);
    void WatchDeadlines(const std::stop_token& stop);
    static bool MayBeLate(const Target& target, const Scrape& scrape);
    Clock::time_point FirstDeadline() const;
    Scrapes TakeLate(Clock::time_point now);
    Scrapes TakeAll();

    const Read read_;
    const std::size_t mostInFlight_;
    std::stop_source stop_;
    mutable std::mutex mutex_;
    std::condition_variable work_;
    std::condition_variable ended_;
    std::condition_variable_any deadlines_;
    bool deadlinesChanged_ = false;
    Targets targets_;
    std::deque<std::string> ready_;  ///< Targets whose next read may begin.
    std::size_t inFlight_ = 0;
    std::size_t scrapes_ = 0;
    Threads threads_;
    Threads lastEnded_;     ///< To be joined by the next that ends.
    std::size_t idle_ = 0;  ///< Of the threads.
    std::jthread clock_;
};

}  // namespace Tulvo::Exporter

#endif
