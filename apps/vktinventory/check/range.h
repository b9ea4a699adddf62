// SPDX-License-Identifier: Apache-2.0
#ifndef APPS_VKTINVENTORY_CHECK_RANGE_H
#define APPS_VKTINVENTORY_CHECK_RANGE_H

#include <limits>
#include <optional>
#include <string_view>

namespace Tulvo::Cli {

/// Values that are fine, in the notation of the Monitoring Plugins guidelines: "10" is 0 to 10,
/// "10:" 10 and above, "~:10" 10 and below, "10:20" both and what lies between; "@10:20" is all
/// but that.
struct Range
{
    double start = 0;
    double end = std::numeric_limits<double>::infinity();
    bool inverted = false;  ///< Written with '@'.

    /// Whether the value calls for an alert.
    bool Alerts(double value) const { return (start <= value && value <= end) == inverted; }
};

/// Nothing when `text` is no range.
std::optional<Range> ParseRange(std::string_view text);

}  // namespace Tulvo::Cli

#endif
