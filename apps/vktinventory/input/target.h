// SPDX-License-Identifier: Apache-2.0
/// @file
/// From the command line's words to whom to ask.
#ifndef APPS_VKTINVENTORY_INPUT_TARGET_H
#define APPS_VKTINVENTORY_INPUT_TARGET_H

#include <optional>
#include <string>

#include "apps/vktinventory/input/command_line.h"
#include "module/vkt/vkt_enclosure/target.h"

namespace Tulvo::Cli {

/// A K_g key as it is typed: a text, or "0x" and pairs of hexadecimal digits. Nothing when it is
/// longer than a key may be, or no such pairs.
std::optional<std::string> KeyFrom(const std::string& typed);

/// What no flag names stays unset, so that the configuration decides.
/// @param kg the module's own key; empty for none.
Enclosures::Target TargetOf(const Options& options, std::string password, std::string kg);

}  // namespace Tulvo::Cli

#endif
