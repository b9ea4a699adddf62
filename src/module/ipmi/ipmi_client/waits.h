// SPDX-License-Identifier: GPL-3.0-or-later
/// @file
/// How long a module is waited for.
#ifndef MODULE_IPMI_IPMI_CLIENT_WAITS_H
#define MODULE_IPMI_IPMI_CLIENT_WAITS_H

#include <algorithm>
#include <chrono>
#include <limits>

#include "module/ipmi/ipmi_client/stop_signal.h"

namespace Tulvo::Rmcp {

using Clock = std::chrono::steady_clock;

/// An answer that takes so many times the slowest one is taken for lost.
inline constexpr int kTimesSlowest = 4;

/// How long a step of a log-in after the first is waited for, of `longest`: half of it at a module
/// that was quick so far. When that one is silent it has forgotten the log-in, or takes no copy of
/// a message that it has answered.
constexpr std::chrono::milliseconds LaterStepLimit(std::chrono::milliseconds longest,
                                                   std::chrono::milliseconds slowest)
{
    return std::clamp(kTimesSlowest * slowest, longest / 2, longest);
}

struct Waits
{
    std::chrono::milliseconds limit{};         ///< For one answer, copies included.
    std::chrono::milliseconds copyInterval{};  ///< After that a copy of the message is sent.
    /// Each copy after twice the time of the one before: a slow module serves every copy.
    bool doubling = false;
    /// What an interval that follows the module's pace may grow to; 0 where it does not.
    std::chrono::milliseconds longestInterval{};
    /// How long a refusal that anybody could have sent waits for the module's own reply, at most
    /// until the next copy would be sent.
    std::chrono::milliseconds doubt = std::chrono::milliseconds::max();
    unsigned mostCopies = std::numeric_limits<unsigned>::max();
    Clock::time_point until = Clock::time_point::max();  ///< No wait goes on beyond.
    const StopSignal* stop = nullptr;                    ///< Ends every wait; null for none.

    /// For a module that has just answered: a longer wait would only delay the caller.
    Waits Brief() const { return WithLimit(std::min(limit, 2 * copyInterval)); }
    Waits WithLimit(std::chrono::milliseconds other) const
    {
        Waits waits = *this;
        waits.limit = other;
        return waits;
    }
    /// No longer than until `end`.
    Waits Within(Clock::time_point end) const
    {
        Waits waits = *this;
        if (end < until) {
            waits.until = end;
            waits.limit = std::clamp(
                std::chrono::ceil<std::chrono::milliseconds>(end - Clock::now()), {}, limit);
        }
        return waits;
    }
    /// Waits longer for a module that has needed so long for an answer before.
    void FollowPace(std::chrono::milliseconds slowest)
    {
        copyInterval = std::max(copyInterval, std::min(kTimesSlowest * slowest, longestInterval));
        if (doubt != std::chrono::milliseconds::max()) {
            doubt = std::max(doubt, 2 * slowest);
        }
    }
    /// When a wait that begins now ends.
    Clock::time_point Deadline() const
    {
        const auto now = Clock::now();
        return limit == std::chrono::milliseconds::max() || until - now < limit ? until
                                                                                : now + limit;
    }
    bool IsStopped() const { return stop != nullptr && stop->IsRaised(); }
};

}  // namespace Tulvo::Rmcp

#endif
