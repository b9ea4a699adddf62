// SPDX-License-Identifier: Apache-2.0
/// @file
/// Where the simulator finds what is built or installed together with it.
#ifndef APPS_VKT_SIMULATOR_SHIPPED_FILES_H
#define APPS_VKT_SIMULATOR_SHIPPED_FILES_H

#include <string>
#include <vector>

namespace Tulvo::Simulator {

/// The module of ipmi_sim. @throws std::runtime_error telling where it was looked for.
std::string ModuleFile();

/// The names of the scenarios that come with the simulator, in alphabetical order.
std::vector<std::string> ScenarioNames();

/// The file of a scenario given by name or by path: what exists as a file is a path.
/// @throws std::runtime_error when it is neither.
std::string ScenarioFile(const std::string& nameOrPath);

}  // namespace Tulvo::Simulator

#endif
