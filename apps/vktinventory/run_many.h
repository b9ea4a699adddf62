// SPDX-License-Identifier: Apache-2.0
/// @file
/// One command for several enclosures, or again and again for one.
#ifndef APPS_VKTINVENTORY_RUN_MANY_H
#define APPS_VKTINVENTORY_RUN_MANY_H

#include "apps/vktinventory/exit_code.h"
#include "apps/vktinventory/input/command_line.h"
#include "apps/vktinventory/input/targets.h"

namespace Tulvo::Cli {

/// Asks all targets, as many at a time as wanted, and prints each as soon as the format allows.
/// Before another round their passwords are renewed.
ExitCode RunMany(const Options& options, Targets& targets);

}  // namespace Tulvo::Cli

#endif
