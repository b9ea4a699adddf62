// SPDX-License-Identifier: Apache-2.0
/// @file
/// The command `diff`: what has changed between two readings that were printed as JSON.
#ifndef APPS_VKTINVENTORY_DIFF_DIFF_H
#define APPS_VKTINVENTORY_DIFF_DIFF_H

#include <string>
#include <vector>

#include "apps/vktinventory/exit_code.h"
#include "apps/vktinventory/page/entry.h"

namespace Tulvo::Cli {

struct Differences
{
    std::string text;    ///< A line each: "HOST OBJECT FIELD: old -> new".
    bool found = false;  ///< False also where all that there is to tell was not read.
};

/// Compares by host, then by the number of supply or node. What one of both did not read is told as
/// not compared; what it was not asked for is passed over.
/// @param before each host once.
/// @param after  each host once.
Differences Compare(const std::vector<Entry>& before, const std::vector<Entry>& after);

/// @param files two of them; "-" is standard input. As diff(1) ends: 0 alike, 1 different, 2
///              trouble, of which it complains itself.
ExitCode RunDiff(const std::vector<std::string>& files);

}  // namespace Tulvo::Cli

#endif
