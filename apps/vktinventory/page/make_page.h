// SPDX-License-Identifier: Apache-2.0
/// @file
/// The command `page`: readings in, a page out.
#ifndef APPS_VKTINVENTORY_PAGE_MAKE_PAGE_H
#define APPS_VKTINVENTORY_PAGE_MAKE_PAGE_H

#include <memory>
#include <optional>
#include <string>

#include "apps/vktinventory/exit_code.h"
#include "apps/vktinventory/input/command_line.h"
#include "apps/vktinventory/output/renderer.h"

namespace Tulvo::Cli {

/// Why a page cannot go where it would; nothing when it can.
std::optional<std::string> WhyNoPage(const Options& options);

/// Makes one of readings that were printed before. Complains itself.
ExitCode MakePageOfReadings(const Options& options);

/// Gives the page when all of a round are complete, and nothing before.
std::unique_ptr<Renderer> PageRenderer();

}  // namespace Tulvo::Cli

#endif
