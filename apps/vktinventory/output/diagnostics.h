// SPDX-License-Identifier: Apache-2.0
/// @file
/// All that goes to standard error. Quiet by default: of what the libraries log, only warnings
/// about the configuration are then shown.
#ifndef APPS_VKTINVENTORY_OUTPUT_DIAGNOSTICS_H
#define APPS_VKTINVENTORY_OUTPUT_DIAGNOSTICS_H

#include <string>
#include <string_view>

namespace Tulvo::Cli {

/// "vktinventory: text" on standard error; what is not printable is escaped.
void Complain(std::string_view text);

/// @param verbosity 0 quiet, 1 errors, warnings and notices as log lines, 2 and above traces too.
void StartLogging(int verbosity);

/// Silences this process for good: drops what is logged, and stops every thread that would
/// complain or print from now on. For the thread that ends the process.
void EndOutput();

/// Writes all of it to standard output.
/// @return false when that failed; errno says why. A line that was begun is taken out of a file
/// again.
bool WriteOut(std::string_view text);

/// Says that WriteOut() failed.
/// @param reason the errno that it left.
void ComplainAboutOutput(int reason);

/// Whether a line of progress has somebody to look at it: standard error is a terminal that can
/// erase a line.
bool WantsProgress();

/// Shows a line on standard error until the next one, or anything else, takes its place; an empty
/// one erases it.
void ShowProgress(std::string_view line);

/// Whether standard output takes colours: a terminal, and the environment does not object.
bool WantsColour();

}  // namespace Tulvo::Cli

#endif
