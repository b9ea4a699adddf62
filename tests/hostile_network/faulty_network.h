// SPDX-License-Identifier: Apache-2.0
/// @file
/// A network that loses, doubles, delays, reorders, repeats, cuts and changes packets, as a seed
/// says. It is put between client and module with a FaultInjectingRelay.
#ifndef TESTS_HOSTILE_NETWORK_FAULTY_NETWORK_H
#define TESTS_HOSTILE_NETWORK_FAULTY_NETWORK_H

#include <array>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <latch>
#include <random>
#include <string_view>
#include <vector>

#include "tests/hostile_network/session_tracker.h"
#include "tests/ipmi_client/fault_injecting_relay.h"

namespace Tulvo {

enum class Fault
{
    kLost,
    kDoubled,
    kHeld,  ///< Delivered behind one to three later packets of its direction, if there are any.
    kFollowedByOldOne,
    kCut,
    kBitFlipped,
};
inline constexpr std::array<std::string_view, 6> kFaultNames{
    "lost", "doubled", "held", "followed by an old one", "cut", "bit flipped"};

/// How many packets of a thousand meet each fault, in the order of Fault.
using PerMille = std::array<unsigned, kFaultNames.size()>;

/// What carried each packet that met with one, by kind of packet and of fault.
using FaultCounts = std::array<std::array<unsigned, kFaultNames.size()>, 256>;

/// One direction of the network.
class FaultyDirection
{
public:
    FaultyDirection(std::uint64_t seed, const PerMille& perMille)
        : chance_(seed), perMille_(perMille)
    {
    }

    /// What arrives instead of the packet.
    std::vector<Datagram> Pass(const Datagram& datagram, FaultCounts& counts);

private:
    struct Held
    {
        Datagram datagram;
        unsigned packetsToWait;
    };

    std::size_t Below(std::size_t end) { return chance_() % end; }
    static bool MayBeLate(const Datagram& datagram);
    std::vector<Datagram> Meet(Fault fault, const Datagram& datagram);
    Datagram Cut(Datagram datagram);
    Datagram Flip(Datagram datagram);
    void Remember(const Datagram& datagram);
    void Release(std::vector<Datagram>& arriving);

    std::mt19937_64 chance_;
    const PerMille& perMille_;
    std::vector<Held> held_;
    std::deque<Datagram> past_;
};

/// Both directions. The functions run on the relay's thread; look at the rest when it has ended.
class FaultyNetwork
{
public:
    FaultyNetwork(std::uint64_t seed, const PerMille& perMille)
        : perMille_(perMille), toServer_(2 * seed, perMille_), toClient_(2 * seed + 1, perMille_)
    {
    }
    FaultyNetwork(const FaultyNetwork&) = delete;
    FaultyNetwork& operator=(const FaultyNetwork&) = delete;

    /// The closing messages of a session always arrive in the end, however late: once the next one
    /// begins, or at the end.
    std::vector<Datagram> ToServer(const Datagram& datagram);
    std::vector<Datagram> ToClient(const Datagram& datagram);

    /// Waits until all closing messages have left the relay.
    void EndAt(std::uint16_t relayPort);

    const SessionTracker& Tracker() const { return tracker_; }
    const FaultCounts& Counts() const { return counts_; }

private:
    const PerMille perMille_;
    FaultyDirection toServer_;
    FaultyDirection toClient_;
    SessionTracker tracker_;
    FaultCounts counts_{};
    std::latch end_{2};
};

}  // namespace Tulvo

#endif
