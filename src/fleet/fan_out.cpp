// SPDX-License-Identifier: Apache-2.0
#include "fleet/fan_out.h"

#include <algorithm>
#include <atomic>
#include <mutex>
#include <system_error>
#include <thread>
#include <utility>
#include <vector>

namespace Tulvo::Fleet {

void FanOut(std::size_t count, const JobOf& jobOf, const ReadOne& read, const Deliver& deliver,
            const FanOutOptions& options)
{
    std::atomic<std::size_t> next = 0;
    std::mutex delivering;
    const auto work = [&] {
        for (std::size_t index = next++; index < count; index = next++) {
            const Job job = jobOf(index);
            Enclosures::Enclosure enclosure =
                read(job.target, {.deadline = job.timeout, .stop = options.stop});
            const std::lock_guard lock(delivering);
            deliver(index, std::move(enclosure));
        }
    };
    std::vector<std::jthread> threads;
    const std::size_t others = std::min<std::size_t>(options.width, count);
    try {
        while (threads.size() + 1 < others) {
            threads.emplace_back(work);
        }
    } catch (const std::system_error&) {
        // With fewer threads it takes longer.
    }
    work();
}

}  // namespace Tulvo::Fleet
