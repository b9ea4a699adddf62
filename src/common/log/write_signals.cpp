// SPDX-License-Identifier: Apache-2.0
#include "common/log/write_signals.h"

#include <time.h>

#include <initializer_list>

namespace Tulvo::Logging {

WriteSignals::WriteSignals() : own_{}, maskToRestore_{}
{
    sigset_t pending{};
    sigpending(&pending);
    sigemptyset(&own_);
    for (const int signal : {SIGPIPE, SIGXFSZ}) {
        if (sigismember(&pending, signal) == 0) {
            sigaddset(&own_, signal);
        }
    }
    pthread_sigmask(SIG_BLOCK, &own_, &maskToRestore_);
}

WriteSignals::~WriteSignals()
{
    constexpr timespec kDoNotWait = {0, 0};
    while (sigtimedwait(&own_, nullptr, &kDoNotWait) > 0) {
    }
    pthread_sigmask(SIG_SETMASK, &maskToRestore_, nullptr);
}

}  // namespace Tulvo::Logging
