// SPDX-License-Identifier: Apache-2.0
/// @file
/// The report for people: aligned, at most 80 columns wide, what needs attention first.
#ifndef APPS_VKTINVENTORY_OUTPUT_RENDER_TABLE_H
#define APPS_VKTINVENTORY_OUTPUT_RENDER_TABLE_H

#include <string>

#include "apps/vktinventory/report.h"

namespace Tulvo::Cli {

/// @param colour whether to colour what needs attention.
std::string RenderTable(const Report& report, bool colour);

}  // namespace Tulvo::Cli

#endif
