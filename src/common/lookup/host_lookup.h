// SPDX-License-Identifier: Apache-2.0
/// @file
/// From a host's name to addresses, in bounded time and with a bounded number of threads.
#ifndef COMMON_LOOKUP_HOST_LOOKUP_H
#define COMMON_LOOKUP_HOST_LOOKUP_H

#include <sys/socket.h>

#include <chrono>
#include <cstdint>
#include <functional>
#include <string>
#include <vector>

namespace Tulvo::LookUp {

/// An address and port to send to.
struct Endpoint
{
    sockaddr_storage address{};
    socklen_t length = 0;
};

struct Found
{
    std::string failure{};  ///< Empty when there are endpoints.
    int systemError = 0;    ///< With a failure: the errno behind it; 0 for none.
    bool byName = false;    ///< The host was no address.
    std::vector<Endpoint> endpoints{};
};

/// How long a name is looked up.
struct Limit
{
    std::chrono::steady_clock::time_point until;
    std::function<bool()> isStopped = {};  ///< Asked often; null where nothing stops it.
};

/// Finds the addresses of `host`: an IPv4 or IPv6 address (with or without brackets), or a name. A
/// name is looked up on a thread of its own, which is left behind when it takes longer than `limit`
/// allows; 16 at once have the process's, who comes then waits for one of them to end.
Found Host(const std::string& host, std::uint16_t port, const Limit& limit);

}  // namespace Tulvo::LookUp

#endif
