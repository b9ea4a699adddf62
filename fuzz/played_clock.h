// SPDX-License-Identifier: Apache-2.0
/// @file
/// Time for code that waits, without waiting. A program that links this has its own sources' calls
/// of the steady clock, and of waits for a condition until a time of it, come here first.
#ifndef FUZZ_PLAYED_CLOCK_H
#define FUZZ_PLAYED_CLOCK_H

#include <chrono>

namespace Tulvo::Fuzz {

/// As long as it lives, the steady clock of its thread stands still but for what moves it: this
/// class, and waits, which end at once as if their time was over. One at a time a thread.
class PlayedClock
{
public:
    using Time = std::chrono::steady_clock::time_point;

    PlayedClock();
    ~PlayedClock();
    PlayedClock(const PlayedClock&) = delete;
    PlayedClock& operator=(const PlayedClock&) = delete;

    /// Never back.
    static void MoveTo(Time time);
};

}  // namespace Tulvo::Fuzz

#endif
