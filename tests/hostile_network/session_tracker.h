// SPDX-License-Identifier: Apache-2.0
/// @file
/// Who must have closed what: an account of the sessions that a module opened, kept where every
/// packet can be seen as it was sent.
#ifndef TESTS_HOSTILE_NETWORK_SESSION_TRACKER_H
#define TESTS_HOSTILE_NETWORK_SESSION_TRACKER_H

#include <cstddef>
#include <cstdint>
#include <set>
#include <vector>

#include "tests/ipmi_client/fault_injecting_relay.h"

namespace Tulvo {

/// For one client after the other.
class SessionTracker
{
public:
    /// Notes a packet of the client. When it is the first of a new session, or empty, the
    /// closing messages of the session before are returned: what tells the module to forget it.
    std::vector<Datagram> Asks(const Datagram& datagram);
    void Answers(const Datagram& datagram);

    /// How many of the module's sessions the client never took up, so that it need not close them.
    std::size_t Excused() const;

private:
    std::vector<Datagram> TakeClosingMessages();

    std::uint32_t client_ = 0;  ///< The id that the client gave its session.
    std::vector<Datagram> refusals_;
    Datagram last_;
    std::set<std::uint32_t> opened_;
    std::set<std::uint32_t> takenUp_;
};

}  // namespace Tulvo

#endif
