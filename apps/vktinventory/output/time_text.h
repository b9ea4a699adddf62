// SPDX-License-Identifier: Apache-2.0
#ifndef APPS_VKTINVENTORY_OUTPUT_TIME_TEXT_H
#define APPS_VKTINVENTORY_OUTPUT_TIME_TEXT_H

#include <chrono>
#include <string>

namespace Tulvo::Cli {

/// "2026-11-21T19:07:03Z": whole seconds, UTC.
std::string TimeText(std::chrono::system_clock::time_point time);

}  // namespace Tulvo::Cli

#endif
