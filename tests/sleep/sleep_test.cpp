// SPDX-License-Identifier: Apache-2.0
#include "common/platform/sleep.h"

#include <gtest/gtest.h>
#include <signal.h>
#include <sys/time.h>

#include <chrono>

namespace Tulvo {
namespace {

using std::chrono::milliseconds;
using std::chrono::steady_clock;

steady_clock::duration TimeOfSleep(std::uint32_t duration)
{
    const auto start = steady_clock::now();
    Sleep(duration);
    return steady_clock::now() - start;
}

volatile sig_atomic_t alarms = 0;

void CountAlarm(int)
{
    alarms = alarms + 1;
}

/// Interrupts this process every few milliseconds as long as it lives.
class AlarmClock
{
public:
    AlarmClock()
    {
        struct sigaction action = {};
        action.sa_handler = CountAlarm;
        sigaction(SIGALRM, &action, &earlier_);
        const itimerval every5ms = {{0, 5000}, {0, 5000}};
        setitimer(ITIMER_REAL, &every5ms, nullptr);
    }
    ~AlarmClock()
    {
        const itimerval never = {};
        setitimer(ITIMER_REAL, &never, nullptr);
        sigaction(SIGALRM, &earlier_, nullptr);
    }
    AlarmClock(const AlarmClock&) = delete;
    AlarmClock& operator=(const AlarmClock&) = delete;

private:
    struct sigaction earlier_ = {};
};

TEST(SleepTest, LastsAtLeastAsLongAsAsked)
{
    for (const std::uint32_t duration : {0U, 1U, 20U, 1001U}) {
        EXPECT_GE(TimeOfSleep(duration), milliseconds(duration)) << duration << " ms";
    }
}

TEST(SleepTest, IsNotCutShortByASignalHandler)
{
    alarms = 0;
    const AlarmClock interrupts;
    EXPECT_GE(TimeOfSleep(200), milliseconds(200));
    EXPECT_GT(alarms, 0);
}

}  // namespace
}  // namespace Tulvo
