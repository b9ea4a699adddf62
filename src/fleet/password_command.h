// SPDX-License-Identifier: Apache-2.0
#ifndef FLEET_PASSWORD_COMMAND_H
#define FLEET_PASSWORD_COMMAND_H

#include <chrono>
#include <stop_token>
#include <string>
#include <variant>

#include "fleet/host_pattern.h"

namespace Tulvo::Fleet {

/// The one line that `command` prints, run by the shell with nothing to read and in a process group
/// of its own, of which nothing is left afterwards. What it says on standard error is shown.
/// @param where begins a mistake's message.
std::variant<std::string, Mistake> RunPasswordCommand(
    const std::string& command, const std::string& where, const std::stop_token& stop,
    std::chrono::milliseconds limit = std::chrono::seconds(30));

}  // namespace Tulvo::Fleet

#endif
