// SPDX-License-Identifier: Apache-2.0
#include "apps/vkt_exporter/probe/reads.h"

#include <algorithm>
#include <exception>
#include <system_error>
#include <utility>

namespace Tulvo::Exporter {
namespace {

using namespace std::chrono_literals;

constexpr std::size_t kMostIdle = 8;
/// Who has less time beyond a read's end than this would gain nothing by another read.
constexpr std::chrono::seconds kWorthAnotherRead = 1s;
constexpr std::chrono::hours kNever = 1h;

bool WasCutShort(const Enclosures::Enclosure& enclosure)
{
    const std::vector<Enclosures::Missing> missing = Enclosures::NotRead(enclosure);
    return (enclosure.error && enclosure.error->cause == Cause::kTimedOut) ||
           std::any_of(missing.begin(), missing.end(), [](const Enclosures::Missing& value) {
               return value.failure.cause == Cause::kTimedOut;
           });
}

/// Takes those out of `scrapes` that are to be taken.
template <class Scrapes, class IsTaken>
Scrapes TakeOut(Scrapes& scrapes, const IsTaken& isTaken)
{
    const auto from = std::stable_partition(scrapes.begin(), scrapes.end(),
                                            [&](const auto& scrape) { return !isTaken(scrape); });
    Scrapes taken(std::make_move_iterator(from), std::make_move_iterator(scrapes.end()));
    scrapes.erase(from, scrapes.end());
    return taken;
}

template <class Scrapes>
void Append(Scrapes& scrapes, Scrapes&& more)
{
    std::move(more.begin(), more.end(), std::back_inserter(scrapes));
}

template <class Scrapes>
void Tell(const Scrapes& scrapes, const Answer& answer)
{
    for (const auto& scrape : scrapes) {
        scrape.done(answer);
    }
}

void Join(std::list<std::thread>& threads)
{
    for (std::thread& thread : threads) {
        thread.join();
    }
}

}  // namespace

Reads::Reads(Read read, std::size_t mostInFlight)
    : read_(std::move(read)),
      mostInFlight_(mostInFlight),
      clock_([this](const std::stop_token& stop) { WatchDeadlines(stop); })
{
}

Reads::~Reads()
{
    while (!Stop(kNever)) {
    }
}

void Reads::Ask(Wanted wanted, Done done)
{
    Scrape scrape{std::move(wanted), std::move(done)};
    std::optional<Answer::Kind> refused;
    {
        const std::lock_guard lock(mutex_);
        refused = Take(scrape);
    }
    if (refused) {
        scrape.done({*refused, nullptr});
    }
}

std::optional<Answer::Kind> Reads::Take(Scrape& scrape)
{
    if (stop_.stop_requested()) {
        return Answer::Kind::kStopping;
    }
    if (scrapes_ >= 2 * mostInFlight_) {
        return Answer::Kind::kTooMany;
    }
    const auto place = targets_.try_emplace(scrape.wanted.target).first;
    auto& [name, target] = *place;
    if (target.running != nullptr && Gives(*target.running, scrape.wanted)) {
        target.running->scrapes.push_back(std::move(scrape));
    } else {
        if (target.running == nullptr && target.waiting.empty()) {
            if (!HaveThread()) {
                targets_.erase(place);
                return Answer::Kind::kTooMany;
            }
            ready_.push_back(name);
            work_.notify_one();
        }
        target.waiting.push_back(std::move(scrape));
    }
    ++scrapes_;
    deadlinesChanged_ = true;
    deadlines_.notify_one();
    return std::nullopt;
}

bool Reads::Gives(const Running& running, const Wanted& wanted)
{
    return running.wanted.sections == wanted.sections &&
           running.wanted.configuration == wanted.configuration &&
           (running.wanted.withLog || !wanted.withLog);
}

/// Whether one more read will find a thread, at once or when another read has ended.
bool Reads::HaveThread()
{
    if (idle_ > ready_.size() || threads_.size() >= mostInFlight_) {
        return true;
    }
    const auto own = threads_.emplace(threads_.end());
    try {
        *own = std::thread([this, own] { Work(own); });
    } catch (const std::system_error&) {
        threads_.erase(own);
        return !threads_.empty();
    }
    return true;
}

void Reads::Work(Threads::iterator own)
{
    std::unique_lock lock(mutex_);
    while (!stop_.stop_requested()) {
        if (!ready_.empty()) {
            ReadNext(lock);
        } else if (idle_ < kMostIdle) {
            ++idle_;
            work_.wait(lock);
            --idle_;
        } else {
            break;
        }
    }
    Threads ended = std::exchange(lastEnded_, {});
    lastEnded_.splice(lastEnded_.end(), threads_, own);
    ended_.notify_all();
    lock.unlock();
    Join(ended);
}

void Reads::ReadNext(std::unique_lock<std::mutex>& lock)
{
    const auto target = targets_.find(ready_.front());
    ready_.pop_front();
    target->second.running = TakeNext(target->second.waiting);
    const Wanted wanted = target->second.running->wanted;
    ++inFlight_;
    lock.unlock();
    const auto result = std::make_shared<const ReadResult>(ReadSafely(wanted));
    lock.lock();
    --inFlight_;
    const Scrapes answered = End(target, *result);
    lock.unlock();
    Tell(answered, {Answer::Kind::kRead, result});
    lock.lock();
}

/// The first of those that wait, with all that can share its read.
std::unique_ptr<Reads::Running> Reads::TakeNext(Scrapes& waiting)
{
    auto next = std::make_unique<Running>();
    next->wanted = waiting.front().wanted;
    next->scrapes = TakeOut(waiting, [&next](const Scrape& scrape) {
        return scrape.wanted.sections == next->wanted.sections;
    });
    for (const auto& [wanted, done] : next->scrapes) {
        next->wanted.configuration = wanted.configuration;
        next->wanted.until = std::min(next->wanted.until, wanted.until);
        next->wanted.withLog = next->wanted.withLog || wanted.withLog;
    }
    return next;
}

ReadResult Reads::ReadSafely(const Wanted& wanted) const
{
    try {
        return read_(wanted, stop_.get_token());
    } catch (const std::exception& fault) {
        ReadResult result;
        result.enclosure.error = Failure{
            Cause::kLocal,
            std::string("the read ended by a fault of this program's host: ") + fault.what(),
            "free memory, or raise this process's limits",
            {}};
        return result;
    }
}

/// @return those whom `result` answers.
Reads::Scrapes Reads::End(Targets::iterator target, const ReadResult& result)
{
    auto& [name, state] = *target;
    const std::unique_ptr<Running> ended = std::move(state.running);
    if (WasCutShort(result.enclosure)) {
        Append(state.waiting, TakeOut(ended->scrapes, [&ended](const Scrape& scrape) {
                   return scrape.wanted.until >= ended->wanted.until + kWorthAnotherRead;
               }));
    }
    scrapes_ -= ended->scrapes.size();
    if (state.waiting.empty()) {
        targets_.erase(target);
    } else {
        ready_.push_back(name);
        work_.notify_one();
    }
    return std::move(ended->scrapes);
}

void Reads::WatchDeadlines(const std::stop_token& stop)
{
    std::unique_lock lock(mutex_);
    while (!stop.stop_requested()) {
        const Scrapes late = TakeLate(Clock::now());
        if (!late.empty()) {
            lock.unlock();
            Tell(late, {Answer::Kind::kLate, nullptr});
            lock.lock();
        }
        deadlines_.wait_until(lock, stop, FirstDeadline(), [this] { return deadlinesChanged_; });
        deadlinesChanged_ = false;
    }
}

/// A read answers those itself that it ends in time for.
bool Reads::MayBeLate(const Target& target, const Scrape& scrape)
{
    return target.running == nullptr || scrape.wanted.until < target.running->wanted.until;
}

Reads::Clock::time_point Reads::FirstDeadline() const
{
    Clock::time_point first = Clock::now() + kNever;
    for (const auto& [name, target] : targets_) {
        for (const Scrape& scrape : target.waiting) {
            first = std::min(first, scrape.wanted.until);
        }
        if (target.running == nullptr) {
            continue;
        }
        for (const Scrape& scrape : target.running->scrapes) {
            first = MayBeLate(target, scrape) ? std::min(first, scrape.wanted.until) : first;
        }
    }
    return first;
}

Reads::Scrapes Reads::TakeLate(Clock::time_point now)
{
    Scrapes late;
    const auto isLate = [now](const Scrape& scrape) { return scrape.wanted.until <= now; };
    for (auto place = targets_.begin(); place != targets_.end();) {
        Target& target = place->second;
        Append(late, TakeOut(target.waiting, isLate));
        if (target.running != nullptr) {
            Append(late, TakeOut(target.running->scrapes, [&](const Scrape& scrape) {
                       return isLate(scrape) && MayBeLate(target, scrape);
                   }));
        } else if (target.waiting.empty()) {
            std::erase(ready_, place->first);
            place = targets_.erase(place);
            continue;
        }
        ++place;
    }
    scrapes_ -= late.size();
    return late;
}

Reads::Scrapes Reads::TakeAll()
{
    Scrapes all;
    for (auto& [name, target] : targets_) {
        Append(all, std::exchange(target.waiting, {}));
        if (target.running != nullptr) {
            Append(all, std::exchange(target.running->scrapes, {}));
        }
    }
    std::erase_if(targets_, [](const auto& entry) { return entry.second.running == nullptr; });
    ready_.clear();
    scrapes_ = 0;
    return all;
}

bool Reads::Stop(std::chrono::milliseconds limit)
{
    stop_.request_stop();
    Scrapes all;
    {
        const std::lock_guard lock(mutex_);
        all = TakeAll();
        work_.notify_all();
    }
    Tell(all, {Answer::Kind::kStopping, nullptr});
    std::unique_lock lock(mutex_);
    const bool ended = ended_.wait_for(lock, limit, [this] { return threads_.empty(); });
    if (ended) {
        Join(lastEnded_);
        lastEnded_.clear();
    }
    return ended;
}

Reads::Counts Reads::Now() const
{
    const std::lock_guard lock(mutex_);
    return {inFlight_, ready_.size(), scrapes_, threads_.size()};
}

}  // namespace Tulvo::Exporter
