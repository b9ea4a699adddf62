// SPDX-License-Identifier: Apache-2.0
/// @file
/// Which keys modules show, for a person who reviews them before they are trusted.
#ifndef APPS_VKTINVENTORY_PINS_RUN_PINS_H
#define APPS_VKTINVENTORY_PINS_RUN_PINS_H

#include "apps/vktinventory/exit_code.h"
#include "apps/vktinventory/input/command_line.h"
#include "apps/vktinventory/input/targets.h"

namespace Tulvo::Cli {

/// Prints a line of a pins-file for each target, in the order given, and on standard error why one
/// has none. Nobody logs in.
ExitCode RunPins(const Options& options, const Targets& targets);

}  // namespace Tulvo::Cli

#endif
