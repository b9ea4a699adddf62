// SPDX-License-Identifier: Apache-2.0
#include "apps/vkt_simulator/awaited_signals.h"

#include <poll.h>
#include <sys/signalfd.h>
#include <unistd.h>

#include <csignal>

#include "apps/vkt_simulator/owned_descriptor.h"

namespace Tulvo::Simulator {

AwaitedSignals::AwaitedSignals(std::initializer_list<int> signals)
{
    sigset_t set;
    sigemptyset(&set);
    for (const int signal : signals) {
        sigaddset(&set, signal);
    }
    sigprocmask(SIG_BLOCK, &set, nullptr);
    descriptor_ = Owned(signalfd(-1, &set, SFD_CLOEXEC | SFD_NONBLOCK), "cannot wait for signals");
}

bool AwaitedSignals::Received() const
{
    pollfd readable = {descriptor_.Get(), POLLIN, 0};
    return poll(&readable, 1, 0) == 1;
}

void AwaitedSignals::Forget() const
{
    signalfd_siginfo arrived = {};
    while (read(descriptor_.Get(), &arrived, sizeof arrived) > 0) {
    }
}

}  // namespace Tulvo::Simulator
