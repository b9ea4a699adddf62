// SPDX-License-Identifier: Apache-2.0
#include "apps/vktinventory/check/run_check.h"

#include <exception>

#include "apps/vktinventory/output/diagnostics.h"

namespace Tulvo::Cli {

ExitCode EndCheck(const CheckResult& result)
{
    const bool told = WriteOut(result.text);
    return static_cast<ExitCode>(CheckCode(told ? result.state : Enclosures::Health::kUnknown));
}

ExitCode RunCheck(const CheckOptions& options,
                  const std::function<Enclosures::Enclosure(CheckPlan&)>& read)
{
    CheckResult result;
    try {
        CheckPlan plan = PlanOf(options);
        const Enclosures::Enclosure enclosure = read(plan);
        result = Check(plan, enclosure);
    } catch (const std::exception& reason) {
        result = NoCheck(reason.what());
    }
    return EndCheck(result);
}

}  // namespace Tulvo::Cli
