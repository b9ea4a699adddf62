// SPDX-License-Identifier: GPL-3.0-or-later
/// @file
/// Datagrams to and from one endpoint, with a bound on every wait.
#ifndef MODULE_IPMI_IPMI_CLIENT_UDP_LINK_H
#define MODULE_IPMI_IPMI_CLIENT_UDP_LINK_H

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <vector>

#include "common/platform/file_descriptor.h"
#include "module/ipmi/ipmi_client/failure.h"
#include "module/ipmi/ipmi_client/host_lookup.h"
#include "module/ipmi/ipmi_client/ipmi_transport.h"
#include "module/ipmi/ipmi_client/stop_signal.h"
#include "module/ipmi/ipmi_client/waits.h"

namespace Tulvo::Rmcp {

using Packet = std::vector<std::uint8_t>;

/// How a wait for a datagram ended.
enum class Reception
{
    kPacket,
    kSilence,      ///< The time is up.
    kInterrupted,  ///< The process wants to end, or the caller wants to stop.
    kFailed,       ///< The network said why: see UdpLink::LastFailure().
};

/// A socket of its own per session, connected, so that the kernel drops what others send and
/// nothing of an earlier session can arrive.
class UdpLink
{
public:
    enum class OnInterruption
    {
        kReturn,
        kGoOn,
    };

    std::optional<Failure> Open(const Endpoint& endpoint);

    /// Waits end when this is raised, too, and datagrams are counted here; null for neither.
    void Attach(const StopSignal* stop, IpmiCost* cost)
    {
        stop_ = stop;
        cost_ = cost;
    }

    /// A datagram that cannot be sent now is like one that gets lost: the caller sends it again.
    void Send(const Packet& packet) const;
    Reception Receive(Clock::time_point deadline, Packet& packet,
                      OnInterruption onInterruption = OnInterruption::kReturn);
    /// What the network said, after Reception::kFailed.
    Failure LastFailure() const;
    /// Whether a datagram has arrived since Open().
    bool HasReceived() const { return hasReceived_; }

private:
    Reception Read(Packet& packet);

    // Twice what an Ethernet frame carries; a longer datagram is no answer of a module.
    std::array<std::uint8_t, 3000> buffer_{};
    FileDescriptor socket_;
    bool hasReceived_ = false;
    int error_ = 0;
    const StopSignal* stop_ = nullptr;
    IpmiCost* cost_ = nullptr;
};

}  // namespace Tulvo::Rmcp

#endif
