// SPDX-License-Identifier: Apache-2.0
// suite_17_modules SCENARIO COUNT
// Plays so many enclosures that take cipher suite 17 alone, which ipmi_sim does not have. Prints
// the endpoints of each as vkt-simulator does, and ends at SIGTERM.
#include <signal.h>

#include <cstdlib>
#include <deque>
#include <iostream>
#include <string>

#include "apps/vkt_simulator/enclosure.h"
#include "apps/vkt_simulator/scenario.h"
#include "tests/ipmi_client/fake_rmcp_module.h"

namespace {

using Tulvo::Bytes;
using Tulvo::Simulator::Enclosure;

constexpr std::uint8_t kOem = 0x32;

Bytes Served(Enclosure& enclosure, std::uint8_t netFn, std::uint8_t command, const Bytes& data)
{
    if (netFn != kOem) {
        return Tulvo::GrantPrivilege(netFn, command, data);
    }
    const auto answer = enclosure.Serve(netFn, command, data);
    Bytes bytes{answer.completionCode};
    bytes.insert(bytes.end(), answer.bytes.begin(), answer.bytes.end());
    return bytes;
}

}  // namespace

int main(int argc, char** argv)
{
    if (argc != 3) {
        return 2;
    }
    sigset_t ends;
    sigemptyset(&ends);
    sigaddset(&ends, SIGTERM);
    pthread_sigmask(SIG_BLOCK, &ends, nullptr);

    const auto scenario =
        Tulvo::Simulator::ParseScenario(Tulvo::Simulator::ReadScenarioFile(argv[1]), argv[1]);
    std::deque<Enclosure> enclosures;
    std::deque<Tulvo::FakeRmcpModule> modules;
    for (int i = 0; i < std::atoi(argv[2]); ++i) {
        Enclosure& enclosure = enclosures.emplace_back(scenario.enclosure);
        Tulvo::FakeRmcpModuleOptions options;
        options.password = "enclosure";
        options.cipherSuite = 17;
        options.answer = [&enclosure](std::uint8_t netFn, std::uint8_t command, const Bytes& data) {
            return Served(enclosure, netFn, command, data);
        };
        modules.emplace_back(options);
        std::cout << R"({"rmcp": {"address": "127.0.0.1", "port": )" << modules.back().Port()
                  << R"(, "user": "admin", "password": "enclosure"}})" << std::endl;
    }
    int received = 0;
    sigwait(&ends, &received);
    return 0;
}
