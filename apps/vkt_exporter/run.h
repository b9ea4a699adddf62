// SPDX-License-Identifier: Apache-2.0
#ifndef APPS_VKT_EXPORTER_RUN_H
#define APPS_VKT_EXPORTER_RUN_H

#include "apps/vkt_exporter/command_line.h"

namespace Tulvo::Exporter {

/// Serves until SIGTERM or SIGINT, or only looks for mistakes. To be called before any thread
/// starts. Throws std::exception, with what to do about it, when it cannot.
ExitCode Run(const CommandLine& line);

}  // namespace Tulvo::Exporter

#endif
