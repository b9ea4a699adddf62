// SPDX-License-Identifier: Apache-2.0
#ifndef TESTS_VKT_SIMULATOR_SHELL_H
#define TESTS_VKT_SIMULATOR_SHELL_H

#include <sys/wait.h>

#include <array>
#include <cstdint>
#include <cstdio>
#include <stdexcept>
#include <string>

namespace Tulvo::Simulator {

/// Runs a shell command: both its output streams, then "exit " and its exit code.
inline std::string Shell(const std::string& command)
{
    std::string output;
    FILE* pipe = popen((command + " 2>&1").c_str(), "r");
    if (pipe == nullptr) {
        throw std::runtime_error("cannot run " + command);
    }
    std::array<char, 256> block;
    while (std::fgets(block.data(), block.size(), pipe) != nullptr) {
        output += block.data();
    }
    return output + "exit " + std::to_string(WEXITSTATUS(pclose(pipe)));
}

/// Sends one raw request with ipmitool; `options` stand before the command.
inline std::string Ipmitool(std::uint16_t port, const std::string& options, const std::string& raw)
{
    return Shell("ipmitool -I lanplus -C 3 -p " + std::to_string(port) + " -U admin " + options +
                 " raw " + raw);
}

}  // namespace Tulvo::Simulator

#endif
