// SPDX-License-Identifier: Apache-2.0
/// @file
/// How long a call may take. A limit is a point in time and is passed down, so that the times of
/// the steps below never add up to more.
#ifndef COMMON_FAILURE_CALL_LIMIT_H
#define COMMON_FAILURE_CALL_LIMIT_H

#include <chrono>
#include <stop_token>

namespace Tulvo {

struct CallLimit
{
    using Clock = std::chrono::steady_clock;

    Clock::time_point until;
    std::stop_token stop = {};  ///< Ends the call at once when stop is requested.

    bool Over() const { return stop.stop_requested() || Clock::now() >= until; }
};

}  // namespace Tulvo

#endif
