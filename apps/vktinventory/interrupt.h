// SPDX-License-Identifier: Apache-2.0
/// @file
/// Ctrl-C, Ctrl-Z and their like. A thread of its own waits for them, because the main thread may
/// be deep in a wait of the library; it gives back what the command holds, the terminal's echo too,
/// before it ends or stops the process.
#ifndef APPS_VKTINVENTORY_INTERRUPT_H
#define APPS_VKTINVENTORY_INTERRUPT_H

namespace Tulvo::Cli {

/// To be called before any other thread starts. Also lets a broken pipe or a limit of
/// file sizes be an error of write().
/// Throws std::runtime_error when the host has no thread left.
void WatchForInterrupts();

}  // namespace Tulvo::Cli

#endif
