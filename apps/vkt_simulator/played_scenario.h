// SPDX-License-Identifier: Apache-2.0
/// @file
/// The scenarios of all the enclosures that one simulator plays.
#ifndef APPS_VKT_SIMULATOR_PLAYED_SCENARIO_H
#define APPS_VKT_SIMULATOR_PLAYED_SCENARIO_H

#include <cstddef>
#include <string>
#include <vector>

#include "apps/vkt_simulator/scenario.h"

namespace Tulvo::Simulator {

/// What one enclosure is played from.
struct PlayedScenario
{
    std::string file;
    std::string text;   ///< the file's, but for serial number and name where they are numbered
    Scenario scenario;  ///< what the text says
};

/// Which enclosures play which files: the files in turn, again and again.
struct ScenarioPlan
{
    std::vector<std::string> files;
    std::size_t count = 1;  ///< of enclosures
    /// Whether serial number and name get the enclosure's number appended: from 1, with as many
    /// digits as `count` has, the text before it being cut where it would be too long with it.
    bool numbered = false;
};

/// Reads the files.
/// @throws std::runtime_error as ReadScenarioFile() and ParseScenario() do.
std::vector<PlayedScenario> ReadScenarios(const ScenarioPlan& plan);

}  // namespace Tulvo::Simulator

#endif
