// SPDX-License-Identifier: Apache-2.0
/// @file
/// What a report means to whoever ran the command: the exit code, and a line for each trouble.
#ifndef APPS_VKTINVENTORY_OUTCOME_H
#define APPS_VKTINVENTORY_OUTCOME_H

#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "apps/vktinventory/exit_code.h"
#include "apps/vktinventory/report.h"
#include "common/failure/failure.h"

namespace Tulvo::Cli {

ExitCode ExitCodeOf(const Report& report);

/// How a command ends that had no conversation at all, for that reason.
ExitCode ExitCodeOf(const Failure& failure);

/// Of several enclosures.
ExitCode CommonCode(const std::set<ExitCode>& codes);

/// Why there was no conversation: "no connection: ...", and what to do.
/// @param pinsFrom where the file of pins is named that says whom to trust; empty for none.
std::string NoConversation(const Failure& failure, bool overHttps,
                           const std::string& pinsFrom = {});

/// Lines for standard error: why there was no conversation, else what could not be read. Equal
/// failures share a line. Empty when all is well.
std::vector<std::string> Messages(const Report& report);

/// "69 requests, 140 datagrams sent, ... 812 ms".
std::string CostLine(const Enclosures::Enclosure& enclosure);

/// "no answer in time": why in two or three words.
std::string_view WordsFor(const Failure& failure);

}  // namespace Tulvo::Cli

#endif
