// SPDX-License-Identifier: Apache-2.0
/// @file
/// When a fault begins and ends.
#ifndef APPS_VKT_SIMULATOR_FAULT_SCHEDULE_H
#define APPS_VKT_SIMULATOR_FAULT_SCHEDULE_H

#include <optional>

namespace Tulvo::Simulator {

/// Which of the requests that match a fault it applies to.
struct FaultSchedule
{
    unsigned int after = 0;             ///< how many are served well before the first
    std::optional<unsigned int> times;  ///< how many it applies to from there; without it: all

    /// Counts one request. Whether the fault applies to it.
    bool AppliesToNext()
    {
        if (after > 0) {
            --after;
            return false;
        }
        if (times == 0U) {
            return false;
        }
        if (times) {
            --*times;
        }
        return true;
    }
};

}  // namespace Tulvo::Simulator

#endif
