// SPDX-License-Identifier: Apache-2.0
#include "apps/vkt_simulator/open_connections.h"

#include <sys/socket.h>

namespace Tulvo::Simulator {

void OpenConnections::Enter(int socket)
{
    const std::lock_guard lock(mutex_);
    sockets_.insert(socket);
    if (ended_) {
        shutdown(socket, SHUT_RDWR);
    }
}

void OpenConnections::Leave(int socket)
{
    const std::lock_guard lock(mutex_);
    sockets_.erase(socket);
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
