// SPDX-License-Identifier: Apache-2.0
#include "common/platform/sleep.h"

#include <time.h>

#include <cerrno>

namespace Tulvo {

namespace {

timespec MonotonicTimeIn(std::uint32_t milliseconds)
{
    constexpr long kNanosecondsPerSecond = 1'000'000'000;
    timespec time{};
    clock_gettime(CLOCK_MONOTONIC, &time);
    time.tv_sec += static_cast<time_t>(milliseconds / 1000);
    time.tv_nsec += static_cast<long>(milliseconds % 1000) * 1'000'000;
    time.tv_sec += time.tv_nsec / kNanosecondsPerSecond;
    time.tv_nsec %= kNanosecondsPerSecond;
    return time;
}

}  // namespace

void Sleep(std::uint32_t milliseconds)
{
    // An absolute end: a host that is interrupted often would stretch a relative wait each time.
    const timespec end = MonotonicTimeIn(milliseconds);
    while (clock_nanosleep(CLOCK_MONOTONIC, TIMER_ABSTIME, &end, nullptr) == EINTR) {
    }
}

}  // namespace Tulvo
