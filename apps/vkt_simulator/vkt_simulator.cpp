// SPDX-License-Identifier: Apache-2.0
// The program vkt-simulator: plays one enclosure until it is asked to end.
#include <poll.h>
#include <unistd.h>

#include <array>
#include <csignal>
#include <cstdint>
#include <iostream>
#include <new>
#include <nlohmann/json.hpp>
#include <stdexcept>
#include <string>
#include <variant>

#include "apps/host_checks.h"
#include "apps/vkt_simulator/command_line.h"
#include "apps/vkt_simulator/https_server.h"
#include "apps/vkt_simulator/ipmi_sim_server.h"
#include "apps/vkt_simulator/scenario.h"
#include "apps/vkt_simulator/shipped_files.h"
#include "apps/vkt_simulator/stop_signals.h"
#include "apps/vkt_simulator/udp_endpoint.h"

namespace {

using namespace Tulvo::Simulator;

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
void Print(const std::string& text, const StopSignals& signals)
{
    std::array<pollfd, 2> events = {
        {{STDOUT_FILENO, POLLOUT, 0}, {signals.Descriptor(), POLLIN, 0}}};
    poll(events.data(), events.size(), -1);
    if (events[0].revents == 0) {
        throw std::runtime_error("the standard output is not read");
    }
    std::cout << text;
    CheckOutput();
}

int List(const StopSignals& signals)
try {
    for (const std::string& name : ScenarioNames()) {
        const std::string text = ReadScenarioFile(ScenarioFile(name));
        Print(name + "\n    " + ParseScenario(text, name).description + '\n', signals);
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

IpmiSimOptions ServerOptions(const CommandLine& line, const Credentials& credentials)
{
    IpmiSimOptions options;
    options.users = {{credentials.user, credentials.password, credentials.privilege}};
    options.address = line.address;
    options.port = line.port;
    options.modulePath = ModuleFile();
    return options;
}

void PrintEndpoints(const CommandLine& line, const Credentials& credentials,
                    const IpmiSimServer& rmcp, const HttpsServer& https, const StopSignals& signals)
{
    const auto endpoint = [&](std::uint16_t port) {
        return nlohmann::ordered_json{{"address", line.address},
                                      {"port", port},
                                      {"user", credentials.user},
                                      {"password", credentials.password}};
    };
    nlohmann::ordered_json endpoints;
    endpoints["rmcp"] = endpoint(rmcp.Port());
    endpoints["https"] = endpoint(https.Port());
    endpoints["https"]["certificateFile"] = https.CertificateFile();
    endpoints["https"]["pin"] = https.Pin();
    Print(endpoints.dump() + '\n', signals);
}

void PrintStatistics(const HttpsServer& https, const StopSignals& signals)
{
    const HttpsStatistics statistics = https.Statistics();
    nlohmann::ordered_json line;
    line["https"] = {{"handshakes", statistics.handshakes},
                     {"requests", statistics.requests},
                     {"openSessions", statistics.openSessions}};
    Print(line.dump() + '\n', signals);
}

int WaitForTheEnd(const StopSignals& signals, const IpmiSimServer& server)
{
    std::array<pollfd, 2> events = {
        {{signals.Descriptor(), POLLIN, 0}, {server.ExitDescriptor(), POLLIN, 0}}};
    poll(events.data(), events.size(), -1);
    if (events[0].revents != 0) {
        return kEndedOnRequest;
    }
    std::cerr << "vkt-simulator: ipmi_sim has ended by itself\n";
    return kCannotRun;
}

int Play(const CommandLine& line, const StopSignals& signals, const std::string& text,
         const Scenario& scenario)
{
    try {
        IpmiSimOptions options = ServerOptions(line, scenario.credentials);
        options.moduleInput = text;
        options.cancelDescriptor = signals.Descriptor();
        const IpmiSimServer rmcp(options);
        const HttpsServer https(line.address, line.httpsPort, scenario);
        PrintEndpoints(line, scenario.credentials, rmcp, https, signals);
        const int exitCode = WaitForTheEnd(signals, rmcp);
        if (line.statistics) {
            PrintStatistics(https, signals);
        }
        return exitCode;
    } catch (const std::exception& error) {
        if (signals.Received()) {
            return kEndedOnRequest;
        }
        return Complain(error, kCannotRun);
    }
}

int Run(const CommandLine& line, const StopSignals& signals)
{
    if (line.list) {
        return List(signals);
    }
    std::string text;
    Scenario scenario;
    try {
        if (line.scenario.empty()) {
            throw std::runtime_error("--scenario is missing; --help tells more");
        }
        CheckAddress(line);
        const std::string file = ScenarioFile(line.scenario);
        text = ReadScenarioFile(file);
        scenario = ParseScenario(text, file);
    } catch (const std::exception& error) {
        return Complain(error, kWrongUsage);
    }
    return Play(line, signals, text, scenario);
}

int ParseAndRun(int argc, char** argv)
{
    const auto parsed = ParseCommandLine(argc, argv);
    if (const auto* const end = std::get_if<ExitCode>(&parsed)) {
        CheckOutput();  // Help has to arrive, too.
        return *end;
    }
    return Run(std::get<CommandLine>(parsed), StopSignals());
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
