// SPDX-License-Identifier: Apache-2.0
/// @file
/// The enclosures that one vkt-simulator plays, over both transports.
#ifndef APPS_VKT_SIMULATOR_SIMULATION_H
#define APPS_VKT_SIMULATOR_SIMULATION_H

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

#include "apps/vkt_simulator/command_line.h"
#include "apps/vkt_simulator/https_server.h"
#include "apps/vkt_simulator/ipmi_sim_server.h"
#include "apps/vkt_simulator/played_scenario.h"

namespace Tulvo::Simulator {

class Simulation
{
public:
    /// Returns when every enclosure answers.
    /// @param cancelDescriptor when it becomes readable meanwhile, the start is given up
    /// @throws std::runtime_error with what was tried, what came back and what to do.
    Simulation(const CommandLine& line, std::vector<PlayedScenario> played, int cancelDescriptor);

    /// Plays other scenarios, one for each enclosure, with the same ports, certificates and
    /// sessions. Returns when every answer is theirs.
    /// @param played of the same accounts, as CheckAccounts() tells
    /// @param cancelDescriptor when it becomes readable meanwhile, the change is given up
    /// @throws std::runtime_error when a server has ended, or the change was given up.
    void Change(const std::vector<PlayedScenario>& played, int cancelDescriptor);
    /// @throws std::runtime_error naming the file with another account than the enclosure has.
    void CheckAccounts(const std::vector<PlayedScenario>& played) const;

    std::size_t Count() const { return played_.size(); }
    /// Where an enclosure answers, as a line of JSON.
    std::string Endpoints(std::size_t enclosure) const;
    /// A fleet file with all of them, over RMCP+ unless that is left out.
    std::string Fleet() const;
    /// What came over HTTPS, as a line of JSON.
    std::string Statistics() const;
    /// Each readable (in the sense of poll) as soon as a server has ended by itself.
    std::vector<int> ExitDescriptors() const;

private:
    std::string address_;
    std::vector<PlayedScenario> played_;
    std::vector<IpmiSimServer> rmcp_;  ///< empty when that is left out
    std::optional<HttpsServer> https_;
};

}  // namespace Tulvo::Simulator

#endif
