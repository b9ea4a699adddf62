// SPDX-License-Identifier: Apache-2.0
/// @file
/// What a command asks of one enclosure, and what it found.
#ifndef APPS_VKTINVENTORY_ASK_H
#define APPS_VKTINVENTORY_ASK_H

#include <optional>
#include <string>

#include "apps/vktinventory/input/command_line.h"
#include "apps/vktinventory/report.h"
#include "fleet/fleet_file.h"
#include "module/vkt/vkt_enclosure/enclosure.h"
#include "module/vkt/vkt_enclosure/target.h"

namespace Tulvo::Cli {

/// Asks; after a selection there is only the module's status, and the error is the selection's.
Enclosures::Enclosure Ask(const Options& options, const Enclosures::Target& target,
                          const Enclosures::Limits& limits);

/// @param member who the enclosure is, and what it should have.
Report ReportFor(const Options& options, const Fleet::Member& member,
                 Enclosures::Enclosure enclosure);

/// Only the module knows how many nodes and slots it has; a number above that is wrong usage where
/// one enclosure was asked. Nothing when the number is right.
std::optional<std::string> WrongNumber(const Options& options, const Enclosures::Module& module);

}  // namespace Tulvo::Cli

#endif
