// SPDX-License-Identifier: Apache-2.0
#include "apps/vkt_simulator/stop_signals.h"

#include <poll.h>
#include <sys/signalfd.h>

#include <csignal>

#include "apps/vkt_simulator/owned_descriptor.h"

namespace Tulvo::Simulator {

StopSignals::StopSignals()
{
    sigset_t signals;
    sigemptyset(&signals);
    for (const int signal : {SIGTERM, SIGINT, SIGHUP}) {
        sigaddset(&signals, signal);
    }
    sigprocmask(SIG_BLOCK, &signals, nullptr);
    descriptor_ = Owned(signalfd(-1, &signals, SFD_CLOEXEC), "cannot wait for signals");
}

bool StopSignals::Received() const
{
    pollfd readable = {descriptor_.Get(), POLLIN, 0};
    return poll(&readable, 1, 0) == 1;
}

}  // namespace Tulvo::Simulator
