// SPDX-License-Identifier: Apache-2.0
// The program vkt-simulator: plays enclosures until it is asked to end.
#include <poll.h>
#include <unistd.h>

#include <array>
#include <csignal>
#include <iostream>
#include <new>
#include <optional>
#include <stdexcept>
#include <string>
#include <variant>
#include <vector>

#include "apps/host_checks.h"
#include "apps/vkt_simulator/awaited_signals.h"
#include "apps/vkt_simulator/command_line.h"
#include "apps/vkt_simulator/fleet_file.h"
#include "apps/vkt_simulator/played_scenario.h"
#include "apps/vkt_simulator/shipped_files.h"
#include "apps/vkt_simulator/simulation.h"
#include "apps/vkt_simulator/udp_endpoint.h"

namespace {

using namespace Tulvo::Simulator;

struct Signals
{
    AwaitedSignals stop{SIGTERM, SIGINT, SIGHUP};
    AwaitedSignals reload{SIGUSR1};
};

ExitCode Complain(const std::exception& error, ExitCode exitCode)
{
    const bool noMemory = dynamic_cast<const std::bad_alloc*>(&error) != nullptr;
    std::cerr << "vkt-simulator: " << (noMemory ? "no memory is left" : error.what()) << '\n';
    return noMemory ? kCannotRun : exitCode;
}

void CheckOutput()
{
    if (!std::cout.flush()) {
        throw std::runtime_error("the standard output cannot be written");
    }
}

/// Whoever started the simulator reads from it what to do next. A pipe that is full, or a terminal
/// that is stopped, must not keep the simulator from ending.
void Print(const std::string& text, const AwaitedSignals& stop)
{
    std::array<pollfd, 2> events = {{{STDOUT_FILENO, POLLOUT, 0}, {stop.Descriptor(), POLLIN, 0}}};
    poll(events.data(), events.size(), -1);
    if (events[0].revents == 0) {
        throw std::runtime_error("the standard output is not read");
    }
    std::cout << text;
    CheckOutput();
}

int List(const AwaitedSignals& stop)
try {
    for (const std::string& name : ScenarioNames()) {
        const std::string text = ReadScenarioFile(ScenarioFile(name));
        Print(name + "\n    " + ParseScenario(text, name).description + '\n', stop);
    }
    return kEndedOnRequest;
} catch (const std::exception& error) {
    return Complain(error, kCannotRun);
}

// The accounts stand in scenario files, so whoever reaches the address can log in.
void CheckAddress(const CommandLine& line)
{
    if (!line.allowRemote && !SocketAddress(line.address, line.port).IsLoopback()) {
        throw std::runtime_error(line.address +
                                 " can be reached from other machines; --allow-remote permits it");
    }
}

void CheckTransports(const CommandLine& line)
{
    if (line.noRmcp && line.noHttps) {
        throw std::runtime_error("--no-rmcp and --no-https leave no transport");
    }
    if (line.noHttps && line.statistics) {
        throw std::runtime_error("--statistics is about HTTPS, which --no-https leaves out");
    }
}

ScenarioPlan PlanOf(const CommandLine& line)
{
    if (line.scenarios.empty()) {
        throw std::runtime_error("--scenario is missing; --help tells more");
    }
    ScenarioPlan plan;
    for (const std::string& scenario : line.scenarios) {
        plan.files.push_back(ScenarioFile(scenario));
    }
    plan.count = line.count.value_or(plan.files.size());
    plan.numbered = line.count || plan.files.size() > 1;
    return plan;
}

void Announce(const CommandLine& line, const Simulation& simulation, const AwaitedSignals& stop)
{
    if (!line.fleetFile.empty()) {
        WriteFleetFile(line.fleetFile, simulation.Fleet());
    }
    for (std::size_t i = 0; i < simulation.Count(); ++i) {
        Print(simulation.Endpoints(i), stop);
    }
}

// What the files say now, if the enclosures can play it.
std::optional<std::vector<PlayedScenario>> ReadChanged(const ScenarioPlan& plan,
                                                       const Simulation& simulation)
{
    try {
        std::vector<PlayedScenario> changed = ReadScenarios(plan);
        simulation.CheckAccounts(changed);
        return changed;
    } catch (const std::exception& error) {
        std::cerr << "vkt-simulator: " << error.what()
                  << "; the scenarios are played as they were\n";
        return std::nullopt;
    }
}

void Reload(const ScenarioPlan& plan, Simulation& simulation, const AwaitedSignals& stop)
{
    if (const auto changed = ReadChanged(plan, simulation)) {
        try {
            simulation.Change(*changed, stop.Descriptor());
            Print("{\"reloaded\": " + std::to_string(changed->size()) + "}\n", stop);
        } catch (const std::exception&) {
            if (!stop.Received()) {
                throw;
            }
        }
    }
}

int PlayUntilTheEnd(const ScenarioPlan& plan, Simulation& simulation, const Signals& signals)
{
    std::vector<pollfd> events = {{signals.stop.Descriptor(), POLLIN, 0},
                                  {signals.reload.Descriptor(), POLLIN, 0}};
    for (const int descriptor : simulation.ExitDescriptors()) {
        events.push_back({descriptor, POLLIN, 0});
    }
    while (poll(events.data(), events.size(), -1) > 0) {
        if (events[0].revents != 0) {
            return kEndedOnRequest;
        }
        if (events[1].revents == 0) {
            break;
        }
        signals.reload.Forget();
        Reload(plan, simulation, signals.stop);
    }
    std::cerr << "vkt-simulator: ipmi_sim has ended by itself\n";
    return kCannotRun;
}

int Play(const CommandLine& line, const ScenarioPlan& plan, std::vector<PlayedScenario> played,
         const Signals& signals)
{
    try {
        Simulation simulation(line, std::move(played), signals.stop.Descriptor());
        Announce(line, simulation, signals.stop);
        const int exitCode = PlayUntilTheEnd(plan, simulation, signals);
        if (line.statistics) {
            Print(simulation.Statistics(), signals.stop);
        }
        return exitCode;
    } catch (const std::exception& error) {
        if (signals.stop.Received()) {
            return kEndedOnRequest;
        }
        return Complain(error, kCannotRun);
    }
}

int Run(const CommandLine& line, const Signals& signals)
{
    if (line.list) {
        return List(signals.stop);
    }
    ScenarioPlan plan;
    std::vector<PlayedScenario> played;
    try {
        CheckTransports(line);
        plan = PlanOf(line);
        CheckAddress(line);
        played = ReadScenarios(plan);
    } catch (const std::exception& error) {
        return Complain(error, kWrongUsage);
    }
    return Play(line, plan, std::move(played), signals);
}

int ParseAndRun(int argc, char** argv)
{
    const auto parsed = ParseCommandLine(argc, argv);
    if (const auto* const end = std::get_if<ExitCode>(&parsed)) {
        CheckOutput();  // Help has to arrive, too.
        return *end;
    }
    return Run(std::get<CommandLine>(parsed), Signals());
}

}  // namespace

int main(int argc, char** argv)
{
    // A closed pipe, or a limit of file sizes, is an error of the output, like a full disk.
    for (const int failedWrite : {SIGPIPE, SIGXFSZ}) {
        std::signal(failedWrite, SIG_IGN);
    }
    try {
        Tulvo::CheckHost();
        return ParseAndRun(argc, argv);
    } catch (const std::exception& error) {
        return Complain(error, kCannotRun);
    }
}
