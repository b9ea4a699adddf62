// SPDX-License-Identifier: Apache-2.0
#include "apps/vkt_simulator/simulation.h"

#include <poll.h>
#include <sys/resource.h>

#include <algorithm>
#include <array>
#include <nlohmann/json.hpp>
#include <stdexcept>

#include "apps/vkt_simulator/fleet_file.h"
#include "apps/vkt_simulator/shipped_files.h"

namespace Tulvo::Simulator {

namespace {

using Json = nlohmann::ordered_json;

// The usual limit of 1024 descriptors is for programs that use select().
void AllowDescriptors(std::size_t enclosures)
{
    constexpr rlim_t kOfAnEnclosure = 5;
    constexpr rlim_t kOfTheProgram = 16;
    constexpr rlim_t kOfConnections = 1024;
    const rlim_t least = kOfTheProgram + enclosures * kOfAnEnclosure;
    rlimit limit = {};
    if (getrlimit(RLIMIT_NOFILE, &limit) != 0) {
        return;
    }
    if (limit.rlim_max < least) {
        throw std::runtime_error("Too many open files: all enclosures together need " +
                                 std::to_string(least) + " descriptors, and " +
                                 std::to_string(limit.rlim_max) +
                                 " are the limit; raise it with ulimit -n");
    }
    limit.rlim_cur = std::max(limit.rlim_cur, std::min(least + kOfConnections, limit.rlim_max));
    setrlimit(RLIMIT_NOFILE, &limit);
}

void CheckPorts(std::uint16_t first, std::size_t count)
{
    if (first + count - 1 > kHighestPort) {
        throw std::runtime_error(std::to_string(count) + " enclosures from port " +
                                 std::to_string(first) + " on would need ports above " +
                                 std::to_string(kHighestPort) + "; begin lower, or with 0");
    }
}

std::vector<IpmiSimOptions> ServerOptions(const CommandLine& line,
                                          std::vector<PlayedScenario>& played, int cancelDescriptor)
{
    const std::string module = ModuleFile();
    std::vector<IpmiSimOptions> all;
    all.reserve(played.size());
    for (PlayedScenario& one : played) {
        const Credentials& credentials = one.scenario.credentials;
        IpmiSimOptions options;
        options.users = {{credentials.user, credentials.password, credentials.privilege}};
        options.address = line.address;
        options.port =
            line.port == 0 ? line.port : static_cast<std::uint16_t>(line.port + all.size());
        options.modulePath = module;
        options.moduleInput = std::move(one.text);
        options.cancelDescriptor = cancelDescriptor;
        all.push_back(std::move(options));
    }
    return all;
}

std::vector<const Scenario*> ScenariosOf(const std::vector<PlayedScenario>& played)
{
    std::vector<const Scenario*> scenarios;
    scenarios.reserve(played.size());
    for (const PlayedScenario& one : played) {
        scenarios.push_back(&one.scenario);
    }
    return scenarios;
}

void WaitFor(int descriptor, int cancelDescriptor)
{
    std::array<pollfd, 2> events = {{{descriptor, POLLIN, 0}, {cancelDescriptor, POLLIN, 0}}};
    poll(events.data(), events.size(), -1);
    if (events[1].revents != 0) {
        throw std::runtime_error("the change of the scenarios was given up on request");
    }
}

}  // namespace

Simulation::Simulation(const CommandLine& line, std::vector<PlayedScenario> played,
                       int cancelDescriptor)
    : address_(line.address), played_(std::move(played))
{
    CheckPorts(line.port, Count());
    CheckPorts(line.httpsPort, Count());
    AllowDescriptors(Count());
    if (!line.noRmcp) {
        rmcp_ = IpmiSimServer::StartAll(ServerOptions(line, played_, cancelDescriptor));
    }
    if (!line.noHttps) {
        https_.emplace(line.address, line.httpsPort, ScenariosOf(played_));
    }
}

void Simulation::CheckAccounts(const std::vector<PlayedScenario>& played) const
{
    for (std::size_t i = 0; i < Count(); ++i) {
        if (played.at(i).scenario.credentials != played_[i].scenario.credentials) {
            throw std::runtime_error(played[i].file +
                                     ": /credentials: cannot change while the simulator runs");
        }
    }
}

// Those that are told first go on while the others are.
void Simulation::Change(const std::vector<PlayedScenario>& played, int cancelDescriptor)
{
    for (std::size_t i = 0; i < rmcp_.size(); ++i) {
        rmcp_[i].ChangeInput(played.at(i).text);
    }
    const FileDescriptor answered = https_ ? https_->Change(ScenariosOf(played)) : FileDescriptor();
    for (IpmiSimServer& server : rmcp_) {
        WaitFor(server.ModuleDescriptor(), cancelDescriptor);
        server.ConfirmInput();
    }
    if (answered.Valid()) {
        WaitFor(answered.Get(), cancelDescriptor);
    }
}

std::string Simulation::Endpoints(std::size_t enclosure) const
{
    const Credentials& credentials = played_[enclosure].scenario.credentials;
    const auto endpoint = [&](std::uint16_t port) {
        return Json{{"address", address_},
                    {"port", port},
                    {"user", credentials.user},
                    {"password", credentials.password}};
    };
    Json line;
    if (!rmcp_.empty()) {
        line["rmcp"] = endpoint(rmcp_[enclosure].Port());
    }
    if (https_) {
        line["https"] = endpoint(https_->Port(enclosure));
        line["https"]["certificateFile"] = https_->CertificateFile(enclosure);
        line["https"]["pin"] = https_->Pin(enclosure);
    }
    return line.dump() + '\n';
}

std::string Simulation::Fleet() const
{
    std::vector<FleetMember> members;
    for (std::size_t i = 0; i < Count(); ++i) {
        members.push_back(rmcp_.empty()
                              ? FleetMember{played_[i], address_, https_->Port(i), https_->Pin(i)}
                              : FleetMember{played_[i], address_, rmcp_[i].Port(), ""});
    }
    return FleetFile(members);
}

std::string Simulation::Statistics() const
{
    const HttpsStatistics statistics = https_->Statistics();
    Json line;
    line["https"] = {{"handshakes", statistics.handshakes},
                     {"requests", statistics.requests},
                     {"openSessions", statistics.openSessions}};
    return line.dump() + '\n';
}

std::vector<int> Simulation::ExitDescriptors() const
{
    std::vector<int> descriptors;
    for (const IpmiSimServer& server : rmcp_) {
        descriptors.push_back(server.ExitDescriptor());
    }
    return descriptors;
}

}  // namespace Tulvo::Simulator
