// SPDX-License-Identifier: Apache-2.0
#include "apps/vkt_simulator/connection_threads.h"

#include <exception>
#include <system_error>
#include <utility>

namespace Tulvo::Simulator {

namespace {

void Join(std::list<std::thread>& threads)
{
    for (std::thread& thread : threads) {
        thread.join();
    }
    threads.clear();
}

}  // namespace

ConnectionThreads::~ConnectionThreads()
{
    std::unique_lock lock(mutex_);
    changed_.wait(lock, [this] { return running_.empty(); });
    Join(ended_);
}

void ConnectionThreads::WaitForRoom()
{
    Threads ended;
    {
        std::unique_lock lock(mutex_);
        changed_.wait(lock, [this] { return running_.size() < most_; });
        ended.swap(ended_);
    }
    Join(ended);
}

void ConnectionThreads::Start(std::size_t port, FileDescriptor socket)
{
    WaitForRoom();
    const std::lock_guard lock(mutex_);
    const auto self = running_.emplace(running_.end());
    try {
        *self =
            std::thread([this, self, port](const FileDescriptor& own) { Work(self, port, own); },
                        std::move(socket));
    } catch (const std::system_error&) {
        running_.erase(self);
    }
}

void ConnectionThreads::Work(Threads::iterator self, std::size_t port, const FileDescriptor& socket)
{
    try {
        serve_(port, socket);
    } catch (const std::exception&) {
        // Memory has run out for this connection; others may still be served.
    }
    const std::lock_guard lock(mutex_);
    ended_.splice(ended_.end(), running_, self);
    changed_.notify_all();
}

}  // namespace Tulvo::Simulator
