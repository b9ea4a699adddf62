// SPDX-License-Identifier: Apache-2.0
/// @file
/// What is wrong with an enclosure's HTTPS service, whatever its module would answer.
#ifndef APPS_VKT_SIMULATOR_HTTPS_FAULT_H
#define APPS_VKT_SIMULATOR_HTTPS_FAULT_H

#include <chrono>
#include <cstdint>
#include <optional>
#include <vector>

#include "apps/vkt_simulator/fault_schedule.h"

namespace Tulvo::Simulator {

enum class HttpsFaultKind
{
    kLatency,
    kStatus,
    kGarbage,
    kClose
};

struct HttpsFault
{
    HttpsFaultKind kind = HttpsFaultKind::kLatency;
    std::chrono::milliseconds latency{0};  ///< kLatency: how much later the reply comes
    int status = 0;                        ///< kStatus: the error in place of a reply
    FaultSchedule schedule;
};

struct HttpsBehaviour
{
    bool expiredCertificate = false;
    /// How many requests a session is good for; without it: any number.
    std::optional<std::uint32_t> sessionLifetime;
    std::vector<HttpsFault> faults;
};

}  // namespace Tulvo::Simulator

#endif
