// SPDX-License-Identifier: Apache-2.0
/// @file
/// State that all objects of one process share.
#ifndef COMMON_LOOKUP_PER_PROCESS_H
#define COMMON_LOOKUP_PER_PROCESS_H

#include <sys/types.h>
#include <unistd.h>

#include <atomic>

namespace Tulvo {

/// For static storage. A child made by fork() gets a state of its own: a lock in its parent's may
/// be held, and a count be of threads, that the child does not have. Never destroyed, as a thread
/// may outlive all else.
template <class State>
class PerProcess
{
public:
    State& Get()
    {
        Held* held = newest_.load();
        while (held == nullptr || held->process != getpid()) {
            auto* const own = new Held{getpid(), held, {}};
            if (newest_.compare_exchange_strong(held, own)) {
                return own->state;
            }
            delete own;
        }
        return held->state;
    }

private:
    struct Held
    {
        pid_t process;
        Held* before;  ///< The parent's; kept, so that it is not taken for lost memory.
        State state;
    };

    std::atomic<Held*> newest_{nullptr};
};

}  // namespace Tulvo

#endif
