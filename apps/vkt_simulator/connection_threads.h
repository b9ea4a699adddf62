// SPDX-License-Identifier: Apache-2.0
/// @file
/// The threads that serve a server's connections, one at a time each. The HTTP library's own
/// are started where an exception cannot be caught, so that the process ends when the host has no
/// thread left.
#ifndef APPS_VKT_SIMULATOR_CONNECTION_THREADS_H
#define APPS_VKT_SIMULATOR_CONNECTION_THREADS_H

#include <condition_variable>
#include <cstddef>
#include <deque>
#include <functional>
#include <mutex>
#include <stop_token>
#include <thread>
#include <vector>

#include "apps/vkt_simulator/open_connections.h"

namespace Tulvo::Simulator {

class ConnectionThreads
{
public:
    /// Starts all of them; throws std::system_error when the host has not so many left.
    /// @param connections keeps account of what is served; outlives the threads.
    ConnectionThreads(OpenConnections& connections, std::size_t count);

    /// Has one of the threads call `serve`, in the order of the calls, when one is free.
    void Enqueue(std::function<void()> serve);
    /// Waits until all that was enqueued has been served, and ends the threads.
    void Finish() { threads_.clear(); }

private:
    void Work(const std::stop_token& stop);

    OpenConnections& connections_;
    std::mutex mutex_;
    std::condition_variable_any arrived_;
    std::deque<std::function<void()>> waiting_;
    std::vector<std::jthread> threads_;  // Last: they use all of the above.
};

}  // namespace Tulvo::Simulator

#endif
