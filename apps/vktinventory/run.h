// SPDX-License-Identifier: Apache-2.0
/// @file
/// From the wanted to the exit code: connect, ask, print.
#ifndef APPS_VKTINVENTORY_RUN_H
#define APPS_VKTINVENTORY_RUN_H

#include <string>

#include "apps/vktinventory/exit_code.h"
#include "apps/vktinventory/input/command_line.h"

namespace Tulvo::Cli {

/// Runs the whole command; prints results to standard output and all else to standard error.
ExitCode Run(int argc, char** argv);

}  // namespace Tulvo::Cli

#endif
