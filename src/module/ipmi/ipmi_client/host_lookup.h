// SPDX-License-Identifier: GPL-3.0-or-later
/// @file
/// From a host's name to addresses, in bounded time.
#ifndef MODULE_IPMI_IPMI_CLIENT_HOST_LOOKUP_H
#define MODULE_IPMI_IPMI_CLIENT_HOST_LOOKUP_H

#include <sys/socket.h>

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "module/ipmi/ipmi_client/failure.h"
#include "module/ipmi/ipmi_client/waits.h"

namespace Tulvo::Rmcp {

/// An address and port to send to.
struct Endpoint
{
    sockaddr_storage address{};
    socklen_t length = 0;
};

/// Finds the addresses of `host`: an IPv4 or IPv6 address (with or without brackets), or a name. A
/// name is looked up on a thread of its own, which is left behind when it takes longer than
/// `waits` allow; 16 at once have the process's, who comes then waits for one of them to end.
std::optional<Failure> LookUpHost(const std::string& host, std::uint16_t port, const Waits& waits,
                                  std::vector<Endpoint>& endpoints);

}  // namespace Tulvo::Rmcp

#endif
