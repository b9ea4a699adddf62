// SPDX-License-Identifier: Apache-2.0
/// @file
/// The clock and the waits of a conversation, apart so that tests need not wait.
#ifndef MODULE_VKT_VKT_ENCLOSURE_IMPL_PACE_H
#define MODULE_VKT_VKT_ENCLOSURE_IMPL_PACE_H

#include <chrono>
#include <random>
#include <stop_token>

#include "common/failure/call_limit.h"

namespace Tulvo::Enclosures {

class Pace
{
public:
    using Time = CallLimit::Clock::time_point;
    using Span = std::chrono::milliseconds;

    virtual ~Pace() = default;
    virtual Time Now() = 0;
    /// Returns at `until`, or as soon as stop is requested.
    virtual void WaitUntil(Time until, const std::stop_token& stop) = 0;
    /// A random part of `span`, so that clients that were sent away together do not come back so.
    virtual Span PartOf(Span span) = 0;
};

class RealPace final : public Pace
{
public:
    Time Now() override;
    void WaitUntil(Time until, const std::stop_token& stop) override;
    Span PartOf(Span span) override;

private:
    std::minstd_rand random_{static_cast<std::minstd_rand::result_type>(
        CallLimit::Clock::now().time_since_epoch().count())};
};

}  // namespace Tulvo::Enclosures

#endif
