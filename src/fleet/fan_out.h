// SPDX-License-Identifier: Apache-2.0
/// @file
/// Asks many enclosures side by side.
#ifndef FLEET_FAN_OUT_H
#define FLEET_FAN_OUT_H

#include <chrono>
#include <cstddef>
#include <functional>
#include <memory>
#include <optional>
#include <stop_token>

#include "common/failure/failure.h"
#include "common/failure/log_in_gate.h"
#include "fleet/account_guard.h"
#include "module/vkt/vkt_enclosure/enclosure.h"
#include "module/vkt/vkt_enclosure/target.h"

namespace Tulvo::Fleet {

/// Enclosures at the same time, unless said otherwise.
inline constexpr unsigned kUsualFanOut = 64;
/// More are not asked at the same time.
inline constexpr unsigned kMostAtOnce = 1024;

/// Calls work(0) to work(count - 1), each once, in at most `width` threads; returns when all have
/// returned. What work throws is thrown on, after the calls that have begun have returned; the
/// others are not made then.
/// @return why there were fewer threads than wanted, if so. Without any the calling thread does
/// all.
std::optional<Failure> CallInThreads(std::size_t count, unsigned width,
                                     const std::function<void(std::size_t)>& work);

/// One enclosure to read.
struct Job
{
    Enclosures::Target target;
    std::chrono::milliseconds timeout{30'000};        ///< For all of the read.
    std::chrono::milliseconds connectTimeout{5'000};  ///< For the first answer.
    std::shared_ptr<LogInGate> gate = {};             ///< Its own; without one it is the guard's.
};

/// How to fan out.
struct FanOutOptions
{
    unsigned width = kUsualFanOut;  ///< From 1 to kMostAtOnce.
    std::stop_token stop = {};      ///< Ends all reads; sessions are given back.
};

/// Gives job `index`; called just before that one is read, by many threads at a time.
using JobOf = std::function<Job(std::size_t index)>;
/// Reads an enclosure: Enclosures::ReadEnclosure() with some scope. Called by many threads.
using ReadOne = std::function<Enclosures::Enclosure(const Enclosures::Target& target,
                                                    const Enclosures::Limits& limits)>;
/// Takes a result as soon as it is there; one call at a time, by any thread.
using Deliver = std::function<void(std::size_t index, Enclosures::Enclosure&& enclosure)>;

/// Reads `count` enclosures and delivers each once, whatever happened: Enclosure::error says why
/// one could not be read, was not asked (kRefused, by the guard) or was cancelled. No more results
/// are held than there are threads.
/// @param guard outlives the call; one guard may serve several.
/// @return why there were fewer threads than wanted, if so.
std::optional<Failure> FanOut(std::size_t count, const JobOf& jobOf, const ReadOne& read,
                              const Deliver& deliver, AccountGuard& guard,
                              const FanOutOptions& options = {});

}  // namespace Tulvo::Fleet

#endif
