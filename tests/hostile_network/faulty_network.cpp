// SPDX-License-Identifier: Apache-2.0
#include "tests/hostile_network/faulty_network.h"

#include <unistd.h>

#include <algorithm>
#include <iterator>
#include <optional>
#include <utility>

#include "tests/ipmi_client/loopback.h"

namespace Tulvo {
namespace {

constexpr std::size_t kRemembered = 100;

std::optional<Fault> FaultAt(std::size_t point, const PerMille& perMille)
{
    for (std::size_t i = 0; i < perMille.size(); ++i) {
        if (point < perMille[i]) {
            return static_cast<Fault>(i);
        }
        point -= perMille[i];
    }
    return std::nullopt;
}

void Append(std::vector<Datagram>& all, std::vector<Datagram> more)
{
    std::move(more.begin(), more.end(), std::back_inserter(all));
}

}  // namespace

std::vector<Datagram> FaultyDirection::Pass(const Datagram& datagram, FaultCounts& counts)
{
    std::vector<Datagram> arriving{datagram};
    if (const auto fault = FaultAt(Below(1000), perMille_)) {
        arriving = Meet(*fault, datagram);
        const std::uint8_t type = datagram.size() > kPayloadType ? datagram[kPayloadType] : 0;
        ++counts[type][static_cast<std::size_t>(*fault)];
    }
    Release(arriving);
    Remember(datagram);
    return arriving;
}

std::vector<Datagram> FaultyDirection::Meet(Fault fault, const Datagram& datagram)
{
    switch (fault) {
        case Fault::kLost:
            return {};
        case Fault::kDoubled:
            return {datagram, datagram};
        case Fault::kHeld:
            if (!MayBeLate(datagram)) {
                return {};
            }
            held_.push_back({datagram, 1 + static_cast<unsigned>(Below(3))});
            return {};
        case Fault::kFollowedByOldOne:
            return {datagram, past_.empty() ? datagram : past_[Below(past_.size())]};
        case Fault::kCut:
            return {Cut(datagram)};
        case Fault::kBitFlipped:
            return {Flip(datagram)};
    }
    return {datagram};
}

Datagram FaultyDirection::Cut(Datagram datagram)
{
    datagram.resize(Below(datagram.size() + 1));
    return datagram;
}

Datagram FaultyDirection::Flip(Datagram datagram)
{
    if (!datagram.empty()) {
        const std::size_t bit = Below(8 * datagram.size());
        datagram[bit / 8] ^= static_cast<std::uint8_t>(1U << bit % 8);
    }
    return datagram;
}

// ipmi_sim takes a message of the log-in, when it comes within the session, for another log-in: the
// session's privilege falls back, and every request is refused from then on.
bool FaultyDirection::MayBeLate(const Datagram& datagram)
{
    return !Carries(datagram, kRakp1) && !Carries(datagram, kRakp3);
}

void FaultyDirection::Remember(const Datagram& datagram)
{
    if (!MayBeLate(datagram)) {
        return;
    }
    past_.push_back(datagram);
    if (past_.size() > kRemembered) {
        past_.pop_front();
    }
}

void FaultyDirection::Release(std::vector<Datagram>& arriving)
{
    for (Held& held : held_) {
        if (held.packetsToWait-- == 0) {
            arriving.push_back(std::move(held.datagram));
        }
    }
    std::erase_if(held_, [](const Held& held) { return held.datagram.empty(); });
}

// A packet without content, which no client sends, stands for the end.
std::vector<Datagram> FaultyNetwork::ToServer(const Datagram& datagram)
{
    std::vector<Datagram> arriving = tracker_.Asks(datagram);
    if (datagram.empty()) {
        end_.count_down();
    } else {
        Append(arriving, toServer_.Pass(datagram, counts_));
    }
    return arriving;
}

// When the relay has come to the second one, what it had to send for the first has left.
void FaultyNetwork::EndAt(std::uint16_t relayPort)
{
    const int speaker = socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    const sockaddr_in relay = Loopback(relayPort);
    for (int i = 0; i < 2; ++i) {
        sendto(speaker, nullptr, 0, 0, Generic(relay), sizeof relay);
    }
    close(speaker);
    end_.wait();
}

std::vector<Datagram> FaultyNetwork::ToClient(const Datagram& datagram)
{
    tracker_.Answers(datagram);
    return toClient_.Pass(datagram, counts_);
}

}  // namespace Tulvo
