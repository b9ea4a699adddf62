// SPDX-License-Identifier: Apache-2.0
/// @file
/// The report for programs; docs/json.md describes it.
#ifndef APPS_VKTINVENTORY_OUTPUT_RENDER_JSON_H
#define APPS_VKTINVENTORY_OUTPUT_RENDER_JSON_H

#include <string>

#include "apps/vktinventory/report.h"

namespace Tulvo::Cli {

/// One object in ASCII, over many lines, and a line feed.
std::string RenderJson(const Report& report);

/// The same on one line.
std::string RenderJsonLine(const Report& report);

}  // namespace Tulvo::Cli

#endif
