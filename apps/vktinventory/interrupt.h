// SPDX-License-Identifier: Apache-2.0
/// @file
/// Ctrl-C, Ctrl-Z and their like. A thread of its own waits for them, because the main thread may
/// be deep in a wait; it has the conversation with the module ended and gives the terminal its echo
/// back before it ends or stops the process.
#ifndef APPS_VKTINVENTORY_INTERRUPT_H
#define APPS_VKTINVENTORY_INTERRUPT_H

#include <stop_token>

namespace Tulvo::Cli {

/// To be called before any other thread starts. Also lets a broken pipe or a limit of
/// file sizes be an error of write().
/// Throws std::runtime_error when the host has no thread left.
void WatchForInterrupts();

/// While one lives, a signal has it stopped and waits for its end, as long as a log-out may take.
class Conversation
{
public:
    Conversation();
    Conversation(const Conversation&) = delete;
    Conversation& operator=(const Conversation&) = delete;
    ~Conversation();
    /// Stop is requested when the process is asked to end.
    std::stop_token StopToken() const;
};

}  // namespace Tulvo::Cli

#endif
