// SPDX-License-Identifier: Apache-2.0
#ifndef APPS_VKTINVENTORY_CHECK_RUN_CHECK_H
#define APPS_VKTINVENTORY_CHECK_RUN_CHECK_H

#include <functional>

#include "apps/vktinventory/check/check.h"
#include "apps/vktinventory/exit_code.h"

namespace Tulvo::Cli {

/// Prints the result. The exit code is the guidelines' own: no enumerator means what it says here.
ExitCode EndCheck(const CheckResult& result);

/// Asks with `read` for what the plan takes, and prints what that means; `read` may add what is
/// expected of the enclosure. Whatever is thrown is an
/// unknown state: a scheduler must never take a check that was not made for a good one.
ExitCode RunCheck(const CheckOptions& options,
                  const std::function<Enclosures::Enclosure(CheckPlan&)>& read);

}  // namespace Tulvo::Cli

#endif
