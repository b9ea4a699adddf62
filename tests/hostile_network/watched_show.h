// SPDX-License-Identifier: Apache-2.0
/// @file
/// Runs `vktinventory show` in this process against a module of its own, and looks at what either
/// of them holds.
#ifndef TESTS_HOSTILE_NETWORK_WATCHED_SHOW_H
#define TESTS_HOSTILE_NETWORK_WATCHED_SHOW_H

#include <cstddef>
#include <cstdint>
#include <string>

#include "apps/vkt_simulator/ipmi_sim_server.h"
#include "tests/vktinventory_command/run_command.h"

namespace Tulvo {

/// For a module that plays a scenario that comes with the simulator.
Simulator::IpmiSimOptions OptionsFor(const std::string& scenario);

/// @param seconds that it may take.
Test::Ran Show(std::uint16_t port, int seconds);

/// How many sessions the module has beside the one that asks.
std::size_t SessionsOn(const Simulator::IpmiSimServer& server);

/// Of this process.
std::ptrdiff_t OpenFiles();
std::size_t HeapBytes();

/// Whether something was allocated that nothing points to any more, as AddressSanitizer's leak
/// detector sees it; a build without it sees nothing.
bool LosesMemory();

}  // namespace Tulvo

#endif
