// SPDX-License-Identifier: Apache-2.0
/// @file
/// The connections that a server's threads are busy with, so that it can end without waiting until
/// every client has gone or has been idle for long.
#ifndef APPS_VKT_SIMULATOR_OPEN_CONNECTIONS_H
#define APPS_VKT_SIMULATOR_OPEN_CONNECTIONS_H

#include <chrono>
#include <condition_variable>
#include <mutex>
#include <set>

namespace Tulvo::Simulator {

class OpenConnections
{
public:
    /// Takes a socket into the account. After EndAll() nothing can be read or written any more.
    void Enter(int socket);
    /// To be called before the socket is closed.
    void Leave(int socket);
    /// Ends all of them, now and in future, and every Pause().
    void EndAll();
    /// Lets time pass on this thread.
    void Pause(std::chrono::milliseconds time);

private:
    std::mutex mutex_;
    std::condition_variable ending_;
    std::set<int> sockets_;
    bool ended_ = false;
};

}  // namespace Tulvo::Simulator

#endif
