// SPDX-License-Identifier: Apache-2.0
#ifndef TESTS_SUPPORT_RUN_IN_THREADS_H
#define TESTS_SUPPORT_RUN_IN_THREADS_H

#include <cstddef>
#include <functional>
#include <thread>
#include <vector>

namespace Tulvo {

/// Calls `work` with 0 to `count` - 1, each in a thread of its own, and waits for all.
inline void RunInThreads(int count, const std::function<void(int)>& work)
{
    std::vector<std::thread> threads;
    threads.reserve(static_cast<std::size_t>(count));
    for (int number = 0; number < count; ++number) {
        threads.emplace_back(work, number);
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
}

}  // namespace Tulvo

#endif
