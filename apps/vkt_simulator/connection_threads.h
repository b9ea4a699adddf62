// SPDX-License-Identifier: Apache-2.0
/// @file
/// The threads that serve a server's connections, one each, from the connection's start to its end.
/// A server without clients has none of them.
#ifndef APPS_VKT_SIMULATOR_CONNECTION_THREADS_H
#define APPS_VKT_SIMULATOR_CONNECTION_THREADS_H

#include <condition_variable>
#include <cstddef>
#include <functional>
#include <list>
#include <mutex>
#include <thread>

#include "common/platform/file_descriptor.h"

namespace Tulvo::Simulator {

class ConnectionThreads
{
public:
    /// Serves one connection of a port, given by its number. What it throws ends the connection.
    using Serve = std::function<void(std::size_t port, const FileDescriptor& socket)>;

    /// @param most connections that are served at a time
    ConnectionThreads(Serve serve, std::size_t most) : serve_(std::move(serve)), most_(most) {}
    /// Waits until all have been served.
    ~ConnectionThreads();
    ConnectionThreads(const ConnectionThreads&) = delete;
    ConnectionThreads& operator=(const ConnectionThreads&) = delete;

    /// Waits for room, and has a new thread serve the connection. When the host has no thread left,
    /// the connection is closed.
    void Start(std::size_t port, FileDescriptor socket);

private:
    using Threads = std::list<std::thread>;

    void WaitForRoom();
    void Work(Threads::iterator self, std::size_t port, const FileDescriptor& socket);

    const Serve serve_;
    const std::size_t most_;
    std::mutex mutex_;  ///< for all that follows
    std::condition_variable changed_;
    Threads running_;
    Threads ended_;  ///< to be joined
};

}  // namespace Tulvo::Simulator

#endif
