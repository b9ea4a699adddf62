// SPDX-License-Identifier: Apache-2.0
#ifndef APPS_VKTINVENTORY_OUTPUT_WRITING_H
#define APPS_VKTINVENTORY_OUTPUT_WRITING_H

#include <string_view>

namespace Tulvo::Cli {

/// Writes a short text if that takes no waiting: a terminal that is held with Ctrl-S, or a pipe
/// that nobody reads, would keep a program from ending.
void WriteIfTaken(int descriptor, std::string_view text);

}  // namespace Tulvo::Cli

#endif
