// SPDX-License-Identifier: Apache-2.0
/// @file
/// UDP on loopback, for the peers that tests play.
#ifndef TESTS_IPMI_CLIENT_LOOPBACK_H
#define TESTS_IPMI_CLIENT_LOOPBACK_H

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>

#include <cstdint>

namespace Tulvo {

inline sockaddr_in Loopback(std::uint16_t port)
{
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    address.sin_port = htons(port);
    return address;
}

inline const sockaddr* Generic(const sockaddr_in& address)
{
    return reinterpret_cast<const sockaddr*>(&address);
}

inline std::uint16_t BindToFreePort(int socket)
{
    sockaddr_in address = Loopback(0);
    socklen_t length = sizeof address;
    bind(socket, Generic(address), length);
    getsockname(socket, reinterpret_cast<sockaddr*>(&address), &length);
    return ntohs(address.sin_port);
}

}  // namespace Tulvo

#endif
