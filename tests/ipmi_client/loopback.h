// SPDX-License-Identifier: Apache-2.0
/// @file
/// UDP on loopback, for the peers that tests play.
#ifndef TESTS_IPMI_CLIENT_LOOPBACK_H
#define TESTS_IPMI_CLIENT_LOOPBACK_H

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>

#include <cerrno>
#include <cstdint>
#include <system_error>

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
    if (bind(socket, Generic(address), length) != 0 ||
        getsockname(socket, reinterpret_cast<sockaddr*>(&address), &length) != 0) {
        throw std::system_error(errno, std::generic_category(), "bind to loopback");
    }
    return ntohs(address.sin_port);
}

}  // namespace Tulvo

#endif
