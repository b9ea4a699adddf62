// SPDX-License-Identifier: Apache-2.0
// A network on loopback for bench/show: delays every datagram, and loses some in each direction.
//
//   vkt_bench_relay SERVER_PORT DELAY_MS LOST_PER_MILLE SEED
//
// Prints the port that it relays from, and ends with its standard input.
#include <chrono>
#include <cstdint>
#include <cstdlib>
#include <iostream>
#include <limits>
#include <random>
#include <thread>
#include <vector>

#include "tests/ipmi_client/fault_injecting_relay.h"

namespace {

using Tulvo::Datagram;
using Tulvo::FaultInjectingRelay;

/// One direction.
FaultInjectingRelay::Filter Network(std::chrono::milliseconds delay, unsigned lostPerMille,
                                    std::uint64_t seed)
{
    return [=, chance = std::mt19937_64(seed)](const Datagram& datagram) mutable {
        std::this_thread::sleep_for(delay);
        const bool lost = chance() % 1000 < lostPerMille;
        return std::vector<Datagram>(lost ? 0 : 1, datagram);
    };
}

}  // namespace

int main(int count, char** arguments)
{
    if (count != 5) {
        std::cerr << "usage: vkt_bench_relay SERVER_PORT DELAY_MS LOST_PER_MILLE SEED\n";
        return 2;
    }
    const auto number = [=](int i) { return std::strtoul(arguments[i], nullptr, 10); };
    const std::chrono::milliseconds delay(number(2));
    const auto lost = static_cast<unsigned>(number(3));
    const FaultInjectingRelay relay(static_cast<std::uint16_t>(number(1)),
                                    Network(delay, lost, 2 * number(4)),
                                    Network(delay, lost, 2 * number(4) + 1));
    std::cout << relay.Port() << std::endl;
    std::cin.ignore(std::numeric_limits<std::streamsize>::max());
}
