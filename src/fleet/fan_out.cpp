// SPDX-License-Identifier: Apache-2.0
#include "fleet/fan_out.h"

#include <algorithm>
#include <atomic>
#include <exception>
#include <mutex>
#include <string>
#include <system_error>
#include <thread>
#include <vector>

namespace Tulvo::Fleet {
namespace {

/// What several threads work off.
class Work
{
public:
    Work(std::size_t count, const std::function<void(std::size_t)>& call)
        : count_(count), call_(call)
    {
    }

    void Run() noexcept
    {
        for (;;) {
            const std::size_t index = next_++;
            if (index >= count_) {
                return;
            }
            try {
                call_(index);
            } catch (...) {
                const std::lock_guard lock(mutex_);
                fault_ = fault_ ? fault_ : std::current_exception();
                next_ = count_;
            }
        }
    }

    void Rethrow()
    {
        if (fault_) {
            std::rethrow_exception(fault_);
        }
    }

private:
    const std::size_t count_;
    const std::function<void(std::size_t)>& call_;
    std::atomic<std::size_t> next_ = 0;
    std::mutex mutex_;
    std::exception_ptr fault_;
};

Failure FewThreads(std::size_t started, std::size_t wanted, const std::system_error& fault)
{
    return {Cause::kLocal,
            "only " + std::to_string(started) + " of " + std::to_string(wanted) +
                " threads could be started (" + fault.code().message() + ")",
            "ask fewer enclosures at a time, or raise the limits of memory and processes",
            {}};
}

}  // namespace

std::optional<Failure> CallInThreads(std::size_t count, unsigned width,
                                     const std::function<void(std::size_t)>& work)
{
    Work all(count, work);
    const std::size_t wanted = std::min<std::size_t>(count, std::clamp(width, 1U, kMostAtOnce));
    std::optional<Failure> shortage;
    {
        std::vector<std::jthread> threads;
        threads.reserve(wanted);
        try {
            while (threads.size() < wanted) {
                threads.emplace_back([&all] { all.Run(); });
            }
        } catch (const std::system_error& fault) {
            shortage = FewThreads(threads.size(), wanted, fault);
        }
        if (threads.empty()) {
            all.Run();
        }
    }
    all.Rethrow();
    return shortage;
}

std::optional<Failure> FanOut(std::size_t count, const JobOf& jobOf, const ReadOne& read,
                              const Deliver& deliver, AccountGuard& guard,
                              const FanOutOptions& options)
{
    std::mutex delivering;
    return CallInThreads(count, options.width, [&](std::size_t index) {
        const Job job = jobOf(index);
        AccountGuard::Place place(guard, job.target);
        Enclosures::Enclosure enclosure =
            read(job.target, {.deadline = job.timeout,
                              .stop = options.stop,
                              .firstAnswer = job.connectTimeout,
                              .gate = job.gate ? job.gate.get() : &place});
        const std::lock_guard lock(delivering);
        deliver(index, std::move(enclosure));
    });
}

}  // namespace Tulvo::Fleet
