// SPDX-License-Identifier: Apache-2.0
/// @file
/// How long a call may take. A limit is a point in time and is passed down, so that the times of
/// the steps below never add up to more.
#ifndef COMMON_FAILURE_CALL_LIMIT_H
#define COMMON_FAILURE_CALL_LIMIT_H

#include <algorithm>
#include <chrono>
#include <optional>
#include <stop_token>

namespace Tulvo {

class LogInGate;

/// When a call ends at the latest, and what ends it before.
struct CallLimit
{
    using Clock = std::chrono::steady_clock;  ///< Of all times here.

    Clock::time_point until;    ///< The call has returned by then, or soon after.
    std::stop_token stop = {};  ///< Ends the call at once when stop is requested.
    /// Of a call that looks for the peer: when it has to have answered. Not set: any time.
    std::optional<Clock::time_point> firstAnswer = {};
    LogInGate* gate = nullptr;  ///< Of a call that may log in; null for none.
    /// Of a request: how long the peer may leave it unanswered. Not set: as long as the transport
    /// holds an answer for possible.
    std::optional<Clock::duration> longestSilence = {};

    /// When a peer that has not answered yet is given up.
    Clock::time_point UntilFirstAnswer() const
    {
        return firstAnswer ? std::min(*firstAnswer, until) : until;
    }
    /// Whether the call has to end now.
    bool Over() const { return stop.stop_requested() || Clock::now() >= until; }
};

}  // namespace Tulvo

#endif
