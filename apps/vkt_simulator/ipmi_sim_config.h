// SPDX-License-Identifier: Apache-2.0
/// @file
/// The two texts that `ipmi_sim` is configured with.
#ifndef APPS_VKT_SIMULATOR_IPMI_SIM_CONFIG_H
#define APPS_VKT_SIMULATOR_IPMI_SIM_CONFIG_H

#include <string>

#include "apps/vkt_simulator/ipmi_sim_server.h"

namespace Tulvo::Simulator {

/// The configuration (`lan.conf`) for `options`. `guid` is 32 hexadecimal digits; the server
/// answers Get System GUID with it.
/// @throws std::runtime_error naming the option that `ipmi_sim` cannot express.
std::string IpmiSimConfiguration(const IpmiSimOptions& options, const std::string& guid);

/// The start-up commands: one management controller at the usual address.
std::string IpmiSimCommands();

}  // namespace Tulvo::Simulator

#endif
