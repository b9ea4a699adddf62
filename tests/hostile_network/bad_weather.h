// SPDX-License-Identifier: Apache-2.0
/// @file
/// A network that loses, doubles, delays, reorders, repeats, cuts and changes packets, as a seed
/// says. It is put between client and module with a MeddlingRelay.
#ifndef TESTS_HOSTILE_NETWORK_BAD_WEATHER_H
#define TESTS_HOSTILE_NETWORK_BAD_WEATHER_H

#include <array>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <latch>
#include <random>
#include <string_view>
#include <vector>

#include "tests/hostile_network/session_ledger.h"
#include "tests/ipmi_client/meddling_relay.h"

namespace Tulvo {

enum class Mishap
{
    lost,
    doubled,
    held,  ///< Delivered behind one to three later packets of its direction, if there are any.
    followedByOldOne,
    cut,
    bitFlipped,
};
inline constexpr std::array<std::string_view, 6> kMishapNames{
    "lost", "doubled", "held", "followed by an old one", "cut", "bit flipped"};

/// How many packets of a thousand meet each mishap, in the order of Mishap.
using PerMille = std::array<unsigned, kMishapNames.size()>;

/// What carried each packet that met with one, by kind of packet and of mishap.
using MishapCounts = std::array<std::array<unsigned, kMishapNames.size()>, 256>;

/// One direction of the way.
class BadLane
{
public:
    BadLane(std::uint64_t seed, const PerMille& perMille) : chance_(seed), perMille_(perMille) {}

    /// What arrives instead of the packet.
    std::vector<Datagram> Pass(const Datagram& datagram, MishapCounts& counts);

private:
    struct Held
    {
        Datagram datagram;
        unsigned packetsToWait;
    };

    std::size_t Below(std::size_t end) { return chance_() % end; }
    static bool MayBeLate(const Datagram& datagram);
    std::vector<Datagram> Meet(Mishap mishap, const Datagram& datagram);
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
class BadWeather
{
public:
    BadWeather(std::uint64_t seed, const PerMille& perMille)
        : perMille_(perMille), toServer_(2 * seed, perMille_), toClient_(2 * seed + 1, perMille_)
    {
    }
    BadWeather(const BadWeather&) = delete;
    BadWeather& operator=(const BadWeather&) = delete;

    /// The last words of a session always arrive at last, however late: once the next one begins,
    /// or at the end.
    std::vector<Datagram> ToServer(const Datagram& datagram);
    std::vector<Datagram> ToClient(const Datagram& datagram);

    /// Waits until all last words have left the relay.
    void EndAt(std::uint16_t relayPort);

    const SessionLedger& Ledger() const { return ledger_; }
    const MishapCounts& Counts() const { return counts_; }

private:
    const PerMille perMille_;
    BadLane toServer_;
    BadLane toClient_;
    SessionLedger ledger_;
    MishapCounts counts_{};
    std::latch end_{2};
};

}  // namespace Tulvo

#endif
