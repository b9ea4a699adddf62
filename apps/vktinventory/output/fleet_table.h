// SPDX-License-Identifier: Apache-2.0
/// @file
/// The tables of many enclosures: findings with the worst first and equal ones folded, or a row an
/// enclosure, power supply or node in the order given.
#ifndef APPS_VKTINVENTORY_OUTPUT_FLEET_TABLE_H
#define APPS_VKTINVENTORY_OUTPUT_FLEET_TABLE_H

#include <memory>
#include <string>

#include "apps/vktinventory/commands.h"
#include "apps/vktinventory/output/renderer.h"
#include "apps/vktinventory/report.h"

namespace Tulvo::Cli {

/// Prints all at the end of a round.
std::unique_ptr<Renderer> FleetTable(const Command& command, bool colour);

}  // namespace Tulvo::Cli

#endif
