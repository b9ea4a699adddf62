// SPDX-License-Identifier: Apache-2.0
/// @file
/// Many enclosures at the same time, each in a thread of its own.
#ifndef FLEET_FAN_OUT_H
#define FLEET_FAN_OUT_H

#include <chrono>
#include <cstddef>
#include <functional>
#include <stop_token>

#include "module/vkt/vkt_enclosure/enclosure.h"
#include "module/vkt/vkt_enclosure/target.h"

namespace Tulvo::Fleet {

/// So many threads at most.
inline constexpr unsigned kMostAtOnce = 1024;

struct FanOutOptions
{
    unsigned width = 64;  ///< So many are asked at the same time.
    std::stop_token stop = {};
};

/// One enclosure to ask.
struct Job
{
    Enclosures::Target target;
    std::chrono::milliseconds timeout{30'000};
};

/// Called by several threads at a time, just before the enclosure is asked.
using JobOf = std::function<Job(std::size_t index)>;
using ReadOne =
    std::function<Enclosures::Enclosure(const Enclosures::Target&, const Enclosures::Limits&)>;
/// Called by one thread at a time, as soon as an enclosure is complete.
using Deliver = std::function<void(std::size_t index, Enclosures::Enclosure&&)>;

/// Returns when each of `count` enclosures was delivered. What was not begun when a stop was
/// requested is asked all the same, and says that it was cancelled.
void FanOut(std::size_t count, const JobOf& jobOf, const ReadOne& read, const Deliver& deliver,
            const FanOutOptions& options);

}  // namespace Tulvo::Fleet

#endif
