// SPDX-License-Identifier: Apache-2.0
#include "apps/vkt_simulator/fault.h"

#include <algorithm>

namespace Tulvo::Simulator {

namespace {

void Apply(const Fault& fault, Delivery& delivery)
{
    switch (fault.kind) {
        case FaultKind::kLatency:
            delivery.latency += fault.latency;
            break;
        case FaultKind::kDrop:
            delivery.dropped = true;
            break;
        case FaultKind::kTruncate:
            delivery.answer.bytes.resize(std::min(fault.keptBytes, delivery.answer.bytes.size()));
            break;
        case FaultKind::kCompletionCode:
            delivery.answer.completionCode = fault.completionCode;
            if (!fault.keepData) {
                delivery.answer.bytes.clear();
            }
            break;
        case FaultKind::kLoginLatency:
            break;
    }
}

}  // namespace

bool Fault::Matches(std::uint8_t requestNetFn, std::uint8_t requestCommand,
                    const std::vector<std::uint8_t>& data) const
{
    return kind != FaultKind::kLoginLatency && requestNetFn == netFn && requestCommand == command &&
           data.size() >= dataPrefix.size() &&
           std::equal(dataPrefix.begin(), dataPrefix.end(), data.begin());
}

Delivery FaultyEnclosure::Serve(std::uint8_t netFn, std::uint8_t command,
                                const std::vector<std::uint8_t>& data)
{
    Delivery delivery;
    delivery.crashed = ++requests_ == crashAtRequest_;
    delivery.answer = enclosure_.Serve(netFn, command, data);
    for (Fault& fault : faults_) {
        if (fault.Matches(netFn, command, data) && fault.schedule.AppliesToNext()) {
            Apply(fault, delivery);
        }
    }
    return delivery;
}

std::chrono::milliseconds FaultyEnclosure::NextLogInLatency()
{
    std::chrono::milliseconds latency{0};
    for (Fault& fault : faults_) {
        if (fault.kind == FaultKind::kLoginLatency && fault.schedule.AppliesToNext()) {
            latency += fault.latency;
        }
    }
    return latency;
}

}  // namespace Tulvo::Simulator
