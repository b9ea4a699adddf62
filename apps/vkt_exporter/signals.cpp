// SPDX-License-Identifier: Apache-2.0
#include "apps/vkt_exporter/signals.h"

namespace Tulvo::Exporter {

Signals::Signals() : signals_()
{
    sigemptyset(&signals_);
    for (const int signal : {SIGTERM, SIGINT, SIGHUP}) {
        sigaddset(&signals_, signal);
    }
    pthread_sigmask(SIG_BLOCK, &signals_, nullptr);
    thread_ = std::thread([this] { Watch(); });
}

Signals::~Signals()
{
    pthread_kill(thread_.native_handle(), SIGINT);
    thread_.join();
}

void Signals::Watch()
{
    int signal = 0;
    while (sigwait(&signals_, &signal) != 0 || signal == SIGHUP) {
        const std::lock_guard lock(mutex_);
        hungUp_ = true;
        changed_.notify_all();
    }
    end_.request_stop();
}

void Signals::Wait(const std::function<void()>& reload)
{
    std::unique_lock lock(mutex_);
    while (changed_.wait(lock, end_.get_token(), [this] { return hungUp_; }) &&
           !end_.stop_requested()) {
        hungUp_ = false;
        lock.unlock();
        reload();
        lock.lock();
    }
}

}  // namespace Tulvo::Exporter
