// SPDX-License-Identifier: GPL-3.0-or-later
#include "module/ipmi/ipmi_client/host_lookup.h"

#include <netdb.h>

#include <cerrno>
#include <cstring>
#include <future>
#include <memory>
#include <system_error>
#include <thread>
#include <utility>

#include "common/text/host.h"

namespace Tulvo::Rmcp {
namespace {

// A name with many addresses would share the wait among too many of them.
constexpr std::size_t kMostEndpoints = 4;

struct Found
{
    std::string failure{};  ///< Empty when there are endpoints.
    std::vector<Endpoint> endpoints{};
};

std::string TextOf(int error)
{
    return error == EAI_SYSTEM ? std::generic_category().message(errno) : gai_strerror(error);
}

std::vector<Endpoint> Copy(const addrinfo* list)
{
    std::vector<Endpoint> endpoints;
    for (; list != nullptr && endpoints.size() < kMostEndpoints; list = list->ai_next) {
        Endpoint endpoint;
        std::memcpy(&endpoint.address, list->ai_addr, list->ai_addrlen);
        endpoint.length = list->ai_addrlen;
        endpoints.push_back(endpoint);
    }
    return endpoints;
}

Found Ask(const std::string& host, std::uint16_t port, int flags)
{
    addrinfo hints{};
    hints.ai_socktype = SOCK_DGRAM;
    hints.ai_flags = flags | AI_NUMERICSERV;
    addrinfo* list = nullptr;
    Found found;
    const int error = getaddrinfo(host.c_str(), std::to_string(port).c_str(), &hints, &list);
    if (error != 0) {
        found.failure = TextOf(error);
    } else {
        found.endpoints = Copy(list);
        freeaddrinfo(list);
    }
    return found;
}

// A resolver may take half a minute to give up and cannot be told to stop, so the wait for it ends
// here and its thread is left to end alone; it owns all that it touches, and the library is linked
// so that dlclose() does not take the code from under it.
Found AskWithin(std::chrono::milliseconds limit, const std::string& host, std::uint16_t port)
{
    std::packaged_task<Found()> task([host, port] { return Ask(host, port, AI_ADDRCONFIG); });
    std::future<Found> future = task.get_future();
    try {
        std::thread(std::move(task)).detach();
    } catch (const std::system_error& fault) {
        return {std::string("no thread can be started to look it up: ") + fault.what()};
    }
    return future.wait_for(limit) == std::future_status::ready ? future.get()
                                                               : Found{TextOf(EAI_AGAIN)};
}

}  // namespace

std::optional<Failure> LookUpHost(const std::string& host, std::uint16_t port,
                                  std::chrono::milliseconds limit, std::vector<Endpoint>& endpoints)
{
    const std::string name = Text::WithoutBrackets(host);
    Found found = Ask(name, port, AI_NUMERICHOST);
    if (!found.failure.empty()) {
        found = AskWithin(limit, name, port);
    }
    if (!found.failure.empty()) {
        return Failure{CONNECTION_FAILED, "the address cannot be resolved",
                       "check its spelling and the name service", found.failure};
    }
    endpoints = std::move(found.endpoints);
    return {};
}

}  // namespace Tulvo::Rmcp
