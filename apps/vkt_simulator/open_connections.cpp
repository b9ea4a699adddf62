// SPDX-License-Identifier: Apache-2.0
#include "apps/vkt_simulator/open_connections.h"

#include <sys/socket.h>

#include <utility>

namespace Tulvo::Simulator {

namespace {

constexpr int kNone = -1;

thread_local int thisSocket = kNone;

}  // namespace

void OpenConnections::Serve(const std::function<void()>& serve)
{
    serve();
    const std::lock_guard lock(mutex_);
    // The number may be another connection's by now, which is in the account too.
    const auto entry = sockets_.find(std::exchange(thisSocket, kNone));
    if (entry != sockets_.end()) {
        sockets_.erase(entry);
    }
}

void OpenConnections::Enter(int socket)
{
    const std::lock_guard lock(mutex_);
    thisSocket = socket;
    sockets_.insert(socket);
    if (ended_) {
        shutdown(socket, SHUT_RDWR);
    }
}

void OpenConnections::EndThis()
{
    shutdown(thisSocket, SHUT_RDWR);
}

void OpenConnections::EndAll()
{
    const std::lock_guard lock(mutex_);
    ended_ = true;
    for (const int socket : sockets_) {
        shutdown(socket, SHUT_RDWR);
    }
    ending_.notify_all();
}

void OpenConnections::Pause(std::chrono::milliseconds time)
{
    std::unique_lock lock(mutex_);
    ending_.wait_for(lock, time, [&] { return ended_; });
}

}  // namespace Tulvo::Simulator
