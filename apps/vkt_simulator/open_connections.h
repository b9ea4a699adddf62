// SPDX-License-Identifier: Apache-2.0
/// @file
/// The connections that a server's threads are busy with. The HTTP library waits at its end until
/// every client has gone or has been idle for long; this lets it end at once.
#ifndef APPS_VKT_SIMULATOR_OPEN_CONNECTIONS_H
#define APPS_VKT_SIMULATOR_OPEN_CONNECTIONS_H

#include <chrono>
#include <condition_variable>
#include <functional>
#include <mutex>
#include <set>

namespace Tulvo::Simulator {

class OpenConnections
{
public:
    /// Runs `serve`, which serves one connection from its start to its end on this thread.
    void Serve(const std::function<void()>& serve);
    /// Tells which socket this thread's connection has. After EndAll() it is ended at once.
    void Enter(int socket);
    /// Ends this thread's connection: nothing more is read or written.
    void EndThis();
    /// Ends all of them, now and in future, and every Pause().
    void EndAll();
    /// Lets time pass on this thread.
    void Pause(std::chrono::milliseconds time);

private:
    std::mutex mutex_;
    std::condition_variable ending_;
    std::multiset<int> sockets_;
    bool ended_ = false;
};

}  // namespace Tulvo::Simulator

#endif
