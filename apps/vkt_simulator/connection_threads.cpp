// SPDX-License-Identifier: Apache-2.0
#include "apps/vkt_simulator/connection_threads.h"

#include <exception>
#include <system_error>
#include <utility>

namespace Tulvo::Simulator {

ConnectionThreads::ConnectionThreads(OpenConnections& connections, std::size_t count)
    : connections_(connections)
{
    threads_.reserve(count);
    try {
        while (threads_.size() < count) {
            threads_.emplace_back([this](const std::stop_token& stop) { Work(stop); });
        }
    } catch (const std::system_error& fault) {
        throw std::system_error(fault.code(), "no thread can be started");
    }
}

void ConnectionThreads::Enqueue(std::function<void()> serve)
{
    {
        const std::lock_guard lock(mutex_);
        waiting_.push_back(std::move(serve));
    }
    arrived_.notify_one();
}

void ConnectionThreads::Work(const std::stop_token& stop)
{
    std::unique_lock lock(mutex_);
    while (arrived_.wait(lock, stop, [this] { return !waiting_.empty(); })) {
        const std::function<void()> serve = std::move(waiting_.front());
        waiting_.pop_front();
        lock.unlock();
        try {
            connections_.Serve(serve);
        } catch (const std::exception&) {
            // Memory has run out for this connection; others may still be served.
            connections_.EndThis();
        }
        lock.lock();
    }
}

}  // namespace Tulvo::Simulator
