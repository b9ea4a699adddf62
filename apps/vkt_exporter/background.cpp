// SPDX-License-Identifier: Apache-2.0
#include "apps/vkt_exporter/background.h"

#include <utility>

namespace Tulvo::Exporter {

Background::Background() : thread_([this](const std::stop_token& stop) { Work(stop); })
{
}

void Background::Post(Task task)
{
    {
        const std::lock_guard lock(mutex_);
        tasks_.push_back(std::move(task));
    }
    posted_.notify_one();
}

void Background::Work(const std::stop_token& stop)
{
    std::unique_lock lock(mutex_);
    while (posted_.wait(lock, stop, [this] { return !tasks_.empty(); }) && !stop.stop_requested()) {
        const Task task = std::move(tasks_.front());
        tasks_.pop_front();
        lock.unlock();
        task(stop);
        lock.lock();
    }
}

}  // namespace Tulvo::Exporter
