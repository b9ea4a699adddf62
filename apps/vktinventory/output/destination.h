// SPDX-License-Identifier: Apache-2.0
/// @file
/// Where results go: to standard output, or to the file that -o names.
#ifndef APPS_VKTINVENTORY_OUTPUT_DESTINATION_H
#define APPS_VKTINVENTORY_OUTPUT_DESTINATION_H

#include <string>
#include <string_view>

namespace Tulvo::Cli {

/// @param output as -o has it; empty without it.
bool IsStandardOutput(const std::string& output);

/// Writes behind what is there to standard output; a file becomes the text, unless that is empty.
/// @return false when that failed; errno says why.
bool WriteResult(std::string_view text, const std::string& output);

/// @param reason errno of WriteResult().
void ComplainAboutResult(int reason, const std::string& output);

}  // namespace Tulvo::Cli

#endif
