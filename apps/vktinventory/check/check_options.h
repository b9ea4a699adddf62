// SPDX-License-Identifier: Apache-2.0
#ifndef APPS_VKTINVENTORY_CHECK_CHECK_OPTIONS_H
#define APPS_VKTINVENTORY_CHECK_CHECK_OPTIONS_H

#include <chrono>
#include <cstdint>
#include <string>
#include <vector>

#include "module/vkt/vkt_enclosure/health.h"

namespace Tulvo::Cli {

/// What stands behind `check`, as it was typed.
struct CheckOptions
{
    std::vector<std::string> warning;   ///< METRIC=RANGE.
    std::vector<std::string> critical;  ///< METRIC=RANGE.
    std::vector<std::string> ignored;   ///< "PSU5", "Node 4", "Chassis", "Module".
    std::uint8_t expectedSupplies = 0;  ///< 0: none in particular.
    std::uint8_t expectedNodes = 0;     ///< 0: none in particular.
    Enclosures::Health unreachable = Enclosures::Health::kCritical;
    std::chrono::seconds timeout{0};  ///< -t; 0 when it was not given.
};

/// How long a check takes without -t and --timeout: schedulers end one that takes much longer.
inline constexpr std::chrono::seconds kCheckTimeout{10};

}  // namespace Tulvo::Cli

#endif
