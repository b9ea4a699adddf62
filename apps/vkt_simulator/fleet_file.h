// SPDX-License-Identifier: Apache-2.0
/// @file
/// A fleet file, as the command and the exporter read it, with the enclosures that are played.
#ifndef APPS_VKT_SIMULATOR_FLEET_FILE_H
#define APPS_VKT_SIMULATOR_FLEET_FILE_H

#include <cstdint>
#include <string>
#include <vector>

#include "apps/vkt_simulator/played_scenario.h"

namespace Tulvo::Simulator {

/// Where an enclosure is reached.
struct FleetMember
{
    const PlayedScenario& played;
    std::string address;  ///< numeric
    std::uint16_t port;
    std::string pin;  ///< of the certificate; empty: over RMCP+
};

/// A group for each scenario file, named after it.
std::string FleetFile(const std::vector<FleetMember>& members);

/// Puts `text` into `file`, which only this user can read then, in place of what is there; at no
/// time is a part of it there.
/// @throws std::system_error when it cannot be written, or is anything but a file.
void WriteFleetFile(const std::string& file, const std::string& text);

}  // namespace Tulvo::Simulator

#endif
