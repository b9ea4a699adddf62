// SPDX-License-Identifier: Apache-2.0
/// @file
/// Judges what `show` says of an enclosure that it could hardly reach, by what it says of the same
/// one undisturbed.
#ifndef TESTS_HOSTILE_NETWORK_SHOW_VERDICT_H
#define TESTS_HOSTILE_NETWORK_SHOW_VERDICT_H

#include <string>
#include <vector>

#include "tests/vktinventory_command/run_command.h"

namespace Tulvo {

struct Verdict
{
    /// "everything read", "something not read", "no connection", "refused".
    std::string outcome;
    /// What is wrong with it: a value that is neither right nor told of as not read.
    std::vector<std::string> complaints;
};

/// @param whole what `show --format json` prints when nothing is in its way.
Verdict Judge(const Test::Ran& ran, const std::string& whole);

}  // namespace Tulvo

#endif
