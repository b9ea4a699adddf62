// SPDX-License-Identifier: Apache-2.0
#include "apps/vkt_simulator/udp_endpoint.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <poll.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <span>
#include <stdexcept>
#include <system_error>

#include "apps/vkt_simulator/owned_descriptor.h"
#include "common/text/hexadecimal.h"

namespace Tulvo::Simulator {

namespace {

constexpr std::uint16_t kDiscardPort = 9;

// Get System GUID in an RMCP packet without a session; the two checksums are the request's own.
constexpr std::array<std::uint8_t, 21> kGetSystemGuid = {
    0x06, 0x00, 0xFF, 0x07,                                // RMCP, no acknowledgement, class IPMI
    0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00,  // no authentication, sequence, session
    0x07,                                                  // length of what follows
    0x20, 0x18, 0xC8,                                      // to the module, network function 6
    0x81, 0x00, 0x37, 0x48};                               // from a remote console, command 0x37

// The answer has the same header of 14 bytes, then 6 of addressing, the completion code, the GUID.
constexpr std::size_t kGuidOffset = 21;
constexpr std::size_t kGuidLength = 16;

FileDescriptor OpenUdp(const SocketAddress& address)
{
    return Owned(socket(address.storage.ss_family, SOCK_DGRAM | SOCK_CLOEXEC, 0),
                 "cannot open a UDP socket");
}

void Check(int result, const char* what)
{
    if (result != 0) {
        throw std::system_error(errno, std::generic_category(), what);
    }
}

sockaddr_in& AsV4(sockaddr_storage& storage)
{
    return reinterpret_cast<sockaddr_in&>(storage);
}

sockaddr_in6& AsV6(sockaddr_storage& storage)
{
    return reinterpret_cast<sockaddr_in6&>(storage);
}

}  // namespace

SocketAddress::SocketAddress(const std::string& address, std::uint16_t port)
{
    if (inet_pton(AF_INET, address.c_str(), &AsV4(storage).sin_addr) == 1) {
        storage.ss_family = AF_INET;
        AsV4(storage).sin_port = htons(port);
        length = sizeof(sockaddr_in);
    } else if (inet_pton(AF_INET6, address.c_str(), &AsV6(storage).sin6_addr) == 1) {
        storage.ss_family = AF_INET6;
        AsV6(storage).sin6_port = htons(port);
        length = sizeof(sockaddr_in6);
    } else {
        throw std::runtime_error('"' + address + "\" is not a numeric IPv4 or IPv6 address");
    }
}

std::uint16_t SocketAddress::Port() const
{
    sockaddr_storage copy = storage;
    return ntohs(storage.ss_family == AF_INET ? AsV4(copy).sin_port : AsV6(copy).sin6_port);
}

bool SocketAddress::IsLoopback() const
{
    sockaddr_storage copy = storage;
    if (storage.ss_family == AF_INET) {
        return (ntohl(AsV4(copy).sin_addr.s_addr) >> 24U) == 127;
    }
    return IN6_IS_ADDR_LOOPBACK(&AsV6(copy).sin6_addr) != 0;
}

SocketAddress SocketAddress::Reachable() const
{
    sockaddr_storage copy = storage;
    if (storage.ss_family == AF_INET && AsV4(copy).sin_addr.s_addr == INADDR_ANY) {
        return {"127.0.0.1", Port()};
    }
    if (storage.ss_family == AF_INET6 && IN6_IS_ADDR_UNSPECIFIED(&AsV6(copy).sin6_addr) != 0) {
        return {"::1", Port()};
    }
    return *this;
}

std::runtime_error CannotListen(const std::string& transport, const std::string& address,
                                std::uint16_t port, const std::error_code& why,
                                const std::string& portOption)
{
    const bool isPort = why == std::errc::address_in_use || why == std::errc::permission_denied;
    return std::runtime_error("cannot listen on " + transport + " port " + std::to_string(port) +
                              " of " + address + ": " + why.message() + "; choose another with " +
                              (isPort ? portOption : "--listen"));
}

PortReservation::PortReservation(SocketAddress address)
    : address_(address), socket_(OpenUdp(address))
{
    Check(bind(socket_.Get(), address_.Get(), address_.length), "cannot have the UDP port");
    Check(getsockname(socket_.Get(), address_.Get(), &address_.length), "cannot see the UDP port");
    // Only now: bound with the option, the port could be one that another server shares already.
    const int on = 1;
    Check(setsockopt(socket_.Get(), SOL_SOCKET, SO_REUSEADDR, &on, sizeof(on)),
          "cannot share the UDP port");
    // A connected socket gets packets from its peer alone, so the server gets all others.
    const SocketAddress discard(address_.storage.ss_family == AF_INET ? "127.0.0.1" : "::1",
                                kDiscardPort);
    Check(connect(socket_.Get(), discard.Get(), discard.length), "cannot mute the UDP port");
}

bool AnswersWithGuid(const SocketAddress& address, const std::string& guid, int milliseconds)
{
    const FileDescriptor udp = OpenUdp(address);
    if (connect(udp.Get(), address.Get(), address.length) != 0 ||
        send(udp.Get(), kGetSystemGuid.data(), kGetSystemGuid.size(), 0) < 0) {
        return false;
    }
    pollfd readable = {udp.Get(), POLLIN, 0};
    std::array<std::uint8_t, 64> answer = {};
    return poll(&readable, 1, milliseconds) == 1 &&
           recv(udp.Get(), answer.data(), answer.size(), 0) >=
               static_cast<ssize_t>(kGuidOffset + kGuidLength) &&
           Text::ToHexPairs(std::span(answer).subspan<kGuidOffset, kGuidLength>()) == guid;
}

}  // namespace Tulvo::Simulator
