// SPDX-License-Identifier: Apache-2.0
/// @file
/// Ctrl-C, Ctrl-Z and their like. A thread of its own waits for them, because the main thread may
/// be deep in a wait; it has the conversation with the module ended and gives the terminal its echo
/// back before it ends or stops the process.
#ifndef APPS_VKTINVENTORY_INTERRUPT_H
#define APPS_VKTINVENTORY_INTERRUPT_H

#include <cstdint>
#include <optional>
#include <stop_token>

#include "apps/vktinventory/exit_code.h"

namespace Tulvo::Cli {

/// To be called before any other thread starts. Also lets a broken pipe or a limit of
/// file sizes be an error of write().
/// Throws std::runtime_error when the host has no thread left.
void WatchForInterrupts();

/// What becomes of the output when a signal ends the process.
enum class AtSignal : std::uint8_t
{
    kSayNoMore,      ///< Nothing is printed any more.
    kPrintComplete,  ///< Whoever reads prints what it has, as long as the Conversation lives.
};

/// While one lives, a signal has it stopped and waits for its end, as long as a log-out may take or
/// until another signal comes.
class Conversation
{
public:
    explicit Conversation(AtSignal atSignal = AtSignal::kSayNoMore);
    Conversation(const Conversation&) = delete;
    Conversation& operator=(const Conversation&) = delete;
    ~Conversation();
    /// Stop is requested when the process is asked to end.
    std::stop_token StopToken() const;

private:
    AtSignal atSignal_;
};

/// How the process ends because of a signal; nothing when none has come.
std::optional<ExitCode> Interrupted();

}  // namespace Tulvo::Cli

#endif
