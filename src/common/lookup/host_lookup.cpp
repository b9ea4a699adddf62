// SPDX-License-Identifier: Apache-2.0
#include "common/lookup/host_lookup.h"

#include <netdb.h>

#include <algorithm>
#include <cerrno>
#include <condition_variable>
#include <cstring>
#include <future>
#include <mutex>
#include <system_error>
#include <thread>
#include <utility>

#include "common/lookup/per_process.h"
#include "common/text/host.h"

namespace Tulvo::LookUp {
namespace {

using Clock = std::chrono::steady_clock;

// A name with many addresses would share the wait among too many of them.
constexpr std::size_t kMostEndpoints = 4;

// A name service that does not answer would otherwise be left a thread for every query.
constexpr std::size_t kMostLookUps = 16;

Found NotFound(std::string failure, int systemError = 0)
{
    Found found;
    found.failure = std::move(failure);
    found.systemError = systemError;
    return found;
}

Found NotFound(int error)
{
    return error == EAI_SYSTEM ? NotFound(std::generic_category().message(errno), errno)
                               : NotFound(gai_strerror(error));
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
    const int error = getaddrinfo(host.c_str(), std::to_string(port).c_str(), &hints, &list);
    if (error != 0) {
        return NotFound(error);
    }
    Found found;
    found.endpoints = Copy(list);
    freeaddrinfo(list);
    return found;
}

/// Waits within `limit` for `isReady`, which waits itself; a stop request is seen soon.
template <class IsReady>
bool InSlices(const Limit& limit, IsReady isReady)
{
    constexpr std::chrono::milliseconds kSlice{20};
    for (;;) {
        const auto until =
            limit.isStopped ? std::min(limit.until, Clock::now() + kSlice) : limit.until;
        if (isReady(until)) {
            return true;
        }
        if (until == limit.until || limit.isStopped()) {
            return false;
        }
    }
}

/// How many look-ups run in the process.
class Places
{
public:
    /// Waits for one to be free; false when none is by then.
    bool Take(const Limit& limit)
    {
        std::unique_lock lock(mutex_);
        const bool free = InSlices(limit, [&](Clock::time_point until) {
            return freed_.wait_until(lock, until, [this] { return taken_ < kMostLookUps; });
        });
        taken_ += free ? 1U : 0U;
        return free;
    }

    void GiveBack()
    {
        const std::lock_guard lock(mutex_);
        --taken_;
        freed_.notify_one();
    }

private:
    std::mutex mutex_;
    std::condition_variable freed_;
    std::size_t taken_ = 0;
};

Places& ThePlaces()
{
    static constinit PerProcess<Places> places;
    return places.Get();
}

/// A place that is given back by whoever has it last.
class TakenPlace
{
public:
    explicit TakenPlace(Places& places) : places_(&places) {}
    TakenPlace(TakenPlace&& other) noexcept : places_(std::exchange(other.places_, nullptr)) {}
    TakenPlace(const TakenPlace&) = delete;
    TakenPlace& operator=(const TakenPlace&) = delete;
    TakenPlace& operator=(TakenPlace&&) = delete;
    ~TakenPlace()
    {
        if (places_ != nullptr) {
            places_->GiveBack();
        }
    }

private:
    Places* places_;
};

// A resolver may take half a minute to give up and cannot be told to stop, so the wait for it ends
// here and its thread is left to end alone; it owns all that it touches, and the library is linked
// so that dlclose() does not take the code from under it.
Found AskWithin(const Limit& limit, const std::string& host, std::uint16_t port)
{
    Places& places = ThePlaces();
    if (!places.Take(limit)) {
        return NotFound(std::to_string(kMostLookUps) +
                        " look-ups of this process still wait for the name service");
    }
    TakenPlace place(places);
    std::packaged_task<Found()> task([host, port] { return Ask(host, port, AI_ADDRCONFIG); });
    std::future<Found> future = task.get_future();
    try {
        std::thread([place = std::move(place), task = std::move(task)]() mutable {
            task();
        }).detach();
    } catch (const std::system_error& fault) {
        return NotFound(std::string("no thread can be started to look it up: ") + fault.what(),
                        fault.code().value());
    }
    const bool ready = InSlices(limit, [&future](Clock::time_point until) {
        return future.wait_until(until) == std::future_status::ready;
    });
    return ready ? future.get() : NotFound(EAI_AGAIN);
}

}  // namespace

Found Host(const std::string& host, std::uint16_t port, const Limit& limit)
{
    const std::string name = Text::WithoutBrackets(host);
    Found found = Ask(name, port, AI_NUMERICHOST);
    if (!found.failure.empty()) {
        found = AskWithin(limit, name, port);
        found.byName = true;
    }
    return found;
}

}  // namespace Tulvo::LookUp
