// SPDX-License-Identifier: Apache-2.0
/// @file
/// A UDP port held for a server, and the question whether that server answers on it.
#ifndef APPS_VKT_SIMULATOR_UDP_ENDPOINT_H
#define APPS_VKT_SIMULATOR_UDP_ENDPOINT_H

#include <sys/socket.h>

#include <cstdint>
#include <stdexcept>
#include <string>
#include <system_error>

#include "common/platform/file_descriptor.h"

namespace Tulvo::Simulator {

/// A numeric address with a port.
struct SocketAddress
{
    /// @throws std::runtime_error when `address` is not a numeric IPv4 or IPv6 address.
    SocketAddress(const std::string& address, std::uint16_t port);

    std::uint16_t Port() const;
    bool IsLoopback() const;
    /// The address under which this machine itself reaches a server that listens here.
    SocketAddress Reachable() const;
    const sockaddr* Get() const { return reinterpret_cast<const sockaddr*>(&storage); }
    sockaddr* Get() { return reinterpret_cast<sockaddr*>(&storage); }

    sockaddr_storage storage = {};
    socklen_t length = 0;
};

/// What is said when a server cannot listen: where, why, and the option that names another place;
/// `portOption` is the one for ports.
std::runtime_error CannotListen(const std::string& transport, const std::string& address,
                                std::uint16_t port, const std::error_code& why,
                                const std::string& portOption);

/// Keeps a UDP port from all but a server that binds it with SO_REUSEADDR, and takes none of
/// the server's packets. Without it, two servers started at the same time could be given the same
/// port and, as `ipmi_sim` sets that option, both would run on it.
class PortReservation
{
public:
    /// @throws std::system_error when the port is taken or the address is not this machine's.
    explicit PortReservation(SocketAddress address);
    const SocketAddress& Address() const { return address_; }

private:
    SocketAddress address_;
    FileDescriptor socket_;
};

/// Whether an IPMI server at `address` gives its system GUID (32 hexadecimal digits) as `guid`,
/// asked once, without a session, and waited for `milliseconds`.
bool AnswersWithGuid(const SocketAddress& address, const std::string& guid, int milliseconds);

}  // namespace Tulvo::Simulator

#endif
