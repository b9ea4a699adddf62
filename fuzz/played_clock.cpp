// SPDX-License-Identifier: Apache-2.0
#include "fuzz/played_clock.h"

#include <pthread.h>

#include <algorithm>
#include <cerrno>
#include <ctime>
#include <optional>

namespace Tulvo::Fuzz {

namespace {

using namespace std::chrono_literals;
using ClockTime = PlayedClock::Time;

thread_local std::optional<ClockTime> playedTime;

}  // namespace

// The linker's option --wrap calls the two functions so: the first of each pair is the system's,
// the second one stands in for it.
ClockTime SystemsNow() noexcept asm("__real__ZNSt6chrono3_V212steady_clock3nowEv");
ClockTime NowInItsPlace() noexcept asm("__wrap__ZNSt6chrono3_V212steady_clock3nowEv");
int SystemsWait(pthread_cond_t* condition, pthread_mutex_t* mutex, clockid_t clock,
                const timespec* until) asm("__real_pthread_cond_clockwait");
int WaitInItsPlace(pthread_cond_t* condition, pthread_mutex_t* mutex, clockid_t clock,
                   const timespec* until) asm("__wrap_pthread_cond_clockwait");

ClockTime NowInItsPlace() noexcept
{
    return playedTime ? *playedTime : SystemsNow();
}

int WaitInItsPlace(pthread_cond_t* condition, pthread_mutex_t* mutex, clockid_t clock,
                   const timespec* until)
{
    if (!playedTime || clock != CLOCK_MONOTONIC) {
        return SystemsWait(condition, mutex, clock, until);
    }
    PlayedClock::MoveTo(
        ClockTime(std::chrono::seconds(until->tv_sec) + std::chrono::nanoseconds(until->tv_nsec)));
    return ETIMEDOUT;
}

PlayedClock::PlayedClock()
{
    playedTime = ClockTime(1h);
}

PlayedClock::~PlayedClock()
{
    playedTime.reset();
}

void PlayedClock::MoveTo(Time time)
{
    playedTime = std::max(*playedTime, time);
}

}  // namespace Tulvo::Fuzz
