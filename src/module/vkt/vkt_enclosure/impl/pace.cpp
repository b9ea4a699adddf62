// SPDX-License-Identifier: Apache-2.0
#include "module/vkt/vkt_enclosure/impl/pace.h"

#include <condition_variable>
#include <mutex>

namespace Tulvo::Enclosures {

Pace::Time RealPace::Now()
{
    return CallLimit::Clock::now();
}

void RealPace::WaitUntil(Time until, const std::stop_token& stop)
{
    std::mutex mutex;
    std::condition_variable_any stopped;
    std::unique_lock lock(mutex);
    stopped.wait_until(lock, stop, until, [] { return false; });
}

Pace::Span RealPace::PartOf(Span span)
{
    return Span(std::uniform_int_distribution<Span::rep>(0, span.count())(random_));
}

}  // namespace Tulvo::Enclosures
