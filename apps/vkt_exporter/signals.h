// SPDX-License-Identifier: Apache-2.0
#ifndef APPS_VKT_EXPORTER_SIGNALS_H
#define APPS_VKT_EXPORTER_SIGNALS_H

#include <condition_variable>
#include <csignal>
#include <functional>
#include <mutex>
#include <stop_token>
#include <thread>

namespace Tulvo::Exporter {

/// SIGTERM, SIGINT and SIGHUP as something to wait for; they interrupt nothing any more. To be made
/// before any other thread starts.
class Signals
{
public:
    Signals();
    Signals(const Signals&) = delete;
    Signals& operator=(const Signals&) = delete;
    ~Signals();

    /// Stop is requested when the program is to end.
    std::stop_token StopToken() const { return end_.get_token(); }

    /// Returns when the program is to end; calls `reload` for each SIGHUP until then.
    void Wait(const std::function<void()>& reload);

private:
    void Watch();

    sigset_t signals_;
    std::stop_source end_;
    std::mutex mutex_;
    std::condition_variable_any changed_;
    bool hungUp_ = false;
    std::thread thread_;
};

}  // namespace Tulvo::Exporter

#endif
