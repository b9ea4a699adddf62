// SPDX-License-Identifier: Apache-2.0
/// @file
/// What the fleet file says, ready for use.
#ifndef APPS_VKT_EXPORTER_CONFIGURATION_H
#define APPS_VKT_EXPORTER_CONFIGURATION_H

#include <memory>
#include <stop_token>
#include <string>
#include <variant>
#include <vector>

#include "fleet/fleet_file.h"
#include "fleet/passwords.h"

namespace Tulvo::Exporter {

/// Never changes but for passwords that are kept elsewhere. Whoever has begun with it keeps it
/// until done, whatever is loaded meanwhile.
struct Configuration
{
    Fleet::FleetFile fleet;
    std::shared_ptr<Fleet::Passwords> passwords = std::make_shared<Fleet::Passwords>();
    std::string discovery;  ///< The answer to /sd.
};
using SharedConfiguration = std::shared_ptr<const Configuration>;

using FleetOrMistakes = std::variant<Fleet::FleetFile, Fleet::Mistakes>;

/// A fleet file with at least one host, none of whose labels has the name of one of a metric; or
/// all mistakes. Runs no password command.
FleetOrMistakes LoadFleet(const std::string& fleetFile);

/// Everything, with every password asked for once, so that no scrape waits for a password command;
/// or all mistakes: those of the file, else those of its password commands, which may succeed
/// later.
/// @param stop ends a password command.
std::variant<SharedConfiguration, Fleet::Mistakes> ConfigurationOf(
    FleetOrMistakes fleet, const std::stop_token& stop = {});

/// The hosts of a fleet as Prometheus' HTTP service discovery takes them: a list of objects, one
/// for all hosts in a row that have the same labels.
std::string DiscoveryOf(const Fleet::FleetFile& fleet);

}  // namespace Tulvo::Exporter

#endif
