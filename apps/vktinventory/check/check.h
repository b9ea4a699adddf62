// SPDX-License-Identifier: Apache-2.0
/// @file
/// An enclosure as a service of Nagios, Icinga and their kin, by the Monitoring Plugins guidelines:
/// a state, one line, numbers for graphs, and more lines for who looks closer.
#ifndef APPS_VKTINVENTORY_CHECK_CHECK_H
#define APPS_VKTINVENTORY_CHECK_CHECK_H

#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "apps/vktinventory/check/check_options.h"
#include "apps/vktinventory/check/range.h"
#include "module/vkt/vkt_enclosure/catalogue.h"
#include "module/vkt/vkt_enclosure/enclosure.h"
#include "module/vkt/vkt_enclosure/health.h"

namespace Tulvo::Cli {

/// What stands behind `check` cannot be understood; what() says which word and why.
class BadCheck : public std::runtime_error
{
public:
    using std::runtime_error::runtime_error;
};

/// An object's name in lower case without blanks: "node4".
std::string PlainName(std::string_view object);

struct Threshold
{
    const Enclosures::Field* metric = nullptr;
    Enclosures::Health severity = Enclosures::Health::kWarning;
    Range range;
    std::string text;  ///< The range as it was typed.
};

/// What a check reads and how it judges that.
struct CheckPlan
{
    std::vector<Threshold> thresholds;
    std::vector<std::string> ignored;  ///< Objects, as PlainName() has them.
    Enclosures::Expectations expected;
    Enclosures::Health unreachable = Enclosures::Health::kCritical;

    /// Health, and what else has a threshold.
    Enclosures::Sections Sections() const;
};

/// Throws BadCheck.
CheckPlan PlanOf(const CheckOptions& options);

struct CheckResult
{
    Enclosures::Health state = Enclosures::Health::kUnknown;
    std::string text;  ///< All that goes to standard output.
};

CheckResult Check(const CheckPlan& plan, const Enclosures::Enclosure& enclosure);

/// "VKT UNKNOWN - why" of a check that could not be made.
CheckResult NoCheck(std::string_view why);

/// As the guidelines number them: 0 ok, 1 warning, 2 critical, 3 unknown.
int CheckCode(Enclosures::Health state);

}  // namespace Tulvo::Cli

#endif
