// SPDX-License-Identifier: Apache-2.0
/// @file
/// The report for programs; docs/json.md describes it.
#ifndef APPS_VKTINVENTORY_OUTPUT_RENDER_JSON_H
#define APPS_VKTINVENTORY_OUTPUT_RENDER_JSON_H

#include <string>

#include "apps/vktinventory/report.h"

namespace Tulvo::Cli {

/// One object and a line feed, in ASCII.
std::string RenderJson(const Report& report);

}  // namespace Tulvo::Cli

#endif
