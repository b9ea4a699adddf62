// SPDX-License-Identifier: Apache-2.0
#include "tests/hostile_network/session_tracker.h"

#include <algorithm>
#include <cstring>
#include <utility>

namespace Tulvo {
namespace {

/// 0, which is no session's, when the packet is too short to hold an id there.
std::uint32_t IdAt(std::size_t offset, const Datagram& datagram)
{
    std::uint32_t id = 0;
    if (datagram.size() >= offset + sizeof id) {
        std::memcpy(&id, &datagram[offset], sizeof id);
    }
    return id;
}

bool HasStatus(const Datagram& datagram)
{
    return datagram.size() > kStatus && datagram[kStatus] != 0;
}

}  // namespace

std::vector<Datagram> SessionTracker::Asks(const Datagram& datagram)
{
    const bool begins =
        Carries(datagram, kOpenSessionRequest) && IdAt(kConsoleSessionId, datagram) != client_;
    std::vector<Datagram> closing;
    if (begins || datagram.empty()) {
        closing = TakeClosingMessages();
    }
    if (begins) {
        client_ = IdAt(kConsoleSessionId, datagram);
    }
    if (Carries(datagram, kRakp1)) {
        takenUp_.insert(IdAt(kModuleSessionIdInRequest, datagram));
    }
    // The third message of a log-in with a status in it makes the module forget a half-open
    // session.
    if (Carries(datagram, kRakp3) && HasStatus(datagram)) {
        refusals_.push_back(datagram);
    }
    last_ = datagram;
    return closing;
}

std::vector<Datagram> SessionTracker::TakeClosingMessages()
{
    std::vector<Datagram> messages = std::exchange(refusals_, {});
    if (Carries(last_, kSealedIpmi)) {
        messages.push_back(last_);
    }
    return messages;
}

void SessionTracker::Answers(const Datagram& datagram)
{
    if (Carries(datagram, kOpenSessionResponse) && !HasStatus(datagram)) {
        opened_.insert(IdAt(kModuleSessionIdInReply, datagram));
    }
}

std::size_t SessionTracker::Excused() const
{
    return static_cast<std::size_t>(
        std::count_if(opened_.begin(), opened_.end(),
                      [this](std::uint32_t id) { return takenUp_.count(id) == 0; }));
}

}  // namespace Tulvo
