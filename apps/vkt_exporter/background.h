// SPDX-License-Identifier: Apache-2.0
#ifndef APPS_VKT_EXPORTER_BACKGROUND_H
#define APPS_VKT_EXPORTER_BACKGROUND_H

#include <condition_variable>
#include <deque>
#include <functional>
#include <mutex>
#include <stop_token>
#include <thread>

namespace Tulvo::Exporter {

/// A thread that works off, one after the other, what neither the server nor a read may wait for.
class Background
{
public:
    using Task = std::function<void(const std::stop_token& stop)>;

    Background();
    Background(const Background&) = delete;
    Background& operator=(const Background&) = delete;
    /// Has the task that runs stopped, and drops the others.
    ~Background() = default;

    void Post(Task task);

private:
    void Work(const std::stop_token& stop);

    std::mutex mutex_;
    std::condition_variable_any posted_;
    std::deque<Task> tasks_;
    std::jthread thread_;
};

}  // namespace Tulvo::Exporter

#endif
