// SPDX-License-Identifier: Apache-2.0
#include "apps/vkt_exporter/web/listening_socket.h"

#include <netdb.h>
#include <sys/socket.h>

#include <array>
#include <cerrno>
#include <charconv>
#include <cstdint>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string_view>
#include <system_error>

#include "common/text/host.h"
#include "common/text/printable.h"

namespace Tulvo::Exporter {

namespace {

struct HostAndPort
{
    std::string host;  ///< Without brackets; empty for every address.
    std::string port;
};

bool IsPort(std::string_view text)
{
    std::uint16_t number = 0;
    const auto [end, fault] = std::from_chars(text.data(), text.data() + text.size(), number);
    return fault == std::errc() && end == text.data() + text.size();
}

std::optional<HostAndPort> Split(const std::string& address)
{
    const std::size_t colon = address.rfind(':');
    if (colon == std::string::npos || !IsPort(std::string_view(address).substr(colon + 1))) {
        return std::nullopt;
    }
    const std::string written = address.substr(0, colon);
    const std::string host = Text::WithoutBrackets(written);
    // Without brackets the last number of an IPv6 address would pass for the port.
    if (host == written && host.find_first_of(":[]") != std::string::npos) {
        return std::nullopt;
    }
    return HostAndPort{host, address.substr(colon + 1)};
}

std::string CannotListen(const std::string& address, const std::string& why)
{
    return "cannot listen on " + Text::PrintableAscii(address, 200) + ": " + why;
}

[[noreturn]] void Fail(const std::string& address, const std::string& why)
{
    throw std::runtime_error(CannotListen(address, why));
}

std::string Advice(int fault)
{
    switch (fault) {
        case EADDRINUSE:
            return "; another program has the port: end it, or choose another port";
        case EACCES:
            return "; choose a port from 1024 on";
        case EADDRNOTAVAIL:
            return "; name an address of this machine";
        default:
            return "";
    }
}

using Addresses = std::unique_ptr<addrinfo, decltype(&freeaddrinfo)>;

Addresses LookUp(const std::string& address, const HostAndPort& parts)
{
    addrinfo hints = {};
    hints.ai_flags = AI_PASSIVE | AI_NUMERICSERV;
    hints.ai_socktype = SOCK_STREAM;
    addrinfo* found = nullptr;
    const int fault = getaddrinfo(parts.host.empty() ? nullptr : parts.host.c_str(),
                                  parts.port.c_str(), &hints, &found);
    if (fault != 0) {
        Fail(address, gai_strerror(fault));
    }
    return {found, freeaddrinfo};
}

/// A socket of this family, else what is wrong in errno. Not SO_REUSEPORT: two exporters would
/// share one port, each with half of the scrapes.
FileDescriptor TryListening(const addrinfo& at, bool everyAddress)
{
    FileDescriptor made(socket(at.ai_family, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
    const int on = 1;
    const int onlyVersion6 = everyAddress ? 0 : 1;
    const bool good =
        made.Valid() && setsockopt(made.Get(), SOL_SOCKET, SO_REUSEADDR, &on, sizeof on) == 0 &&
        (at.ai_family != AF_INET6 || setsockopt(made.Get(), IPPROTO_IPV6, IPV6_V6ONLY,
                                                &onlyVersion6, sizeof onlyVersion6) == 0) &&
        bind(made.Get(), at.ai_addr, at.ai_addrlen) == 0 && listen(made.Get(), SOMAXCONN) == 0;
    if (!good) {
        const int fault = errno;
        made = FileDescriptor();
        errno = fault;
    }
    return made;
}

std::string AddressOf(int descriptor)
{
    sockaddr_storage own = {};
    socklen_t length = sizeof own;
    std::array<char, NI_MAXHOST> host = {};
    std::array<char, NI_MAXSERV> port = {};
    auto* const address = reinterpret_cast<sockaddr*>(&own);
    if (getsockname(descriptor, address, &length) != 0 ||
        getnameinfo(address, length, host.data(), host.size(), port.data(), port.size(),
                    NI_NUMERICHOST | NI_NUMERICSERV) != 0) {
        throw std::runtime_error("cannot tell the address listened on");
    }
    return Text::WithBrackets(host.data()) + ":" + port.data();
}

/// IPv6 first when every address is meant: its sockets take IPv4 too.
const addrinfo* FirstChoice(const addrinfo* found, bool everyAddress)
{
    for (const addrinfo* each = found; everyAddress && each != nullptr; each = each->ai_next) {
        if (each->ai_family == AF_INET6) {
            return each;
        }
    }
    return found;
}

}  // namespace

std::string MistakeInAddress(const std::string& address)
{
    return Split(address) ? ""
                          : CannotListen(address,
                                         "that is not HOST:PORT, such as 127.0.0.1:9842, "
                                         "[::1]:9842 or :9842");
}

ListeningSocket Listen(const std::string& address)
{
    const auto parts = Split(address);
    if (!parts) {
        throw std::runtime_error(MistakeInAddress(address));
    }
    const Addresses found = LookUp(address, *parts);
    const bool everyAddress = parts->host.empty();
    const addrinfo* const first = FirstChoice(found.get(), everyAddress);
    FileDescriptor listening = TryListening(*first, everyAddress);
    // A host without IPv6 has the addresses of version 4.
    if (!listening.Valid() && (errno == EAFNOSUPPORT || errno == EADDRNOTAVAIL)) {
        const int fault = errno;
        for (const addrinfo* each = found.get(); each != nullptr && !listening.Valid();
             each = each->ai_next) {
            listening = TryListening(*each, everyAddress);
        }
        errno = fault;
    }
    if (!listening.Valid()) {
        const int fault = errno;
        Fail(address, std::generic_category().message(fault) + Advice(fault));
    }
    std::string own = AddressOf(listening.Get());
    return {std::move(listening), std::move(own)};
}

}  // namespace Tulvo::Exporter
