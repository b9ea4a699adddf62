// SPDX-License-Identifier: Apache-2.0
/// @file
/// What can go wrong between a good answer and the one who asked for it.
#ifndef APPS_VKT_SIMULATOR_FAULT_H
#define APPS_VKT_SIMULATOR_FAULT_H

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <vector>

#include "apps/vkt_simulator/enclosure.h"
#include "apps/vkt_simulator/fault_schedule.h"

namespace Tulvo::Simulator {

enum class FaultKind
{
    kLatency,
    kDrop,
    kTruncate,
    kCompletionCode,
    kLoginLatency  ///< of a step of a log-in, which is no request to the enclosure
};

struct Fault
{
    std::uint8_t netFn = 0;
    std::uint8_t command = 0;
    std::vector<std::uint8_t> dataPrefix;  ///< only requests whose data begin with these bytes
    FaultKind kind = FaultKind::kLatency;
    std::chrono::milliseconds latency{
        0};                           ///< kLatency, kLoginLatency: how much later the answer comes
    std::size_t keptBytes = 0;        ///< kTruncate: how many bytes are left at most
    std::uint8_t completionCode = 0;  ///< kCompletionCode: the code instead of the real one
    bool keepData = false;            ///< kCompletionCode: the data stays, which is unusual
    FaultSchedule schedule;

    bool Matches(std::uint8_t requestNetFn, std::uint8_t requestCommand,
                 const std::vector<std::uint8_t>& data) const;
};

/// What a front end does with one request: waits, then sends the answer unless it is dropped.
struct Delivery
{
    Answer answer;
    std::chrono::milliseconds latency{0};
    bool dropped = false;
    bool crashed =
        false;  ///< the module does not survive the request: this process ends as if killed
};

/// An enclosure that answers as its faults let it.
class FaultyEnclosure
{
public:
    /// @param crashAtRequest the number, from 1, of the request that the module does not survive
    FaultyEnclosure(EnclosureState state, std::vector<Fault> faults,
                    std::optional<std::uint32_t> crashAtRequest = {})
        : enclosure_(std::move(state)), faults_(std::move(faults)), crashAtRequest_(crashAtRequest)
    {
    }

    /// Every fault for the request is applied, in the order given.
    Delivery Serve(std::uint8_t netFn, std::uint8_t command, const std::vector<std::uint8_t>& data);

    /// How much later the module answers the next step of a log-in.
    std::chrono::milliseconds NextLogInLatency();

private:
    Enclosure enclosure_;
    std::vector<Fault> faults_;
    std::optional<std::uint32_t> crashAtRequest_;
    std::uint32_t requests_ = 0;
};

}  // namespace Tulvo::Simulator

#endif
