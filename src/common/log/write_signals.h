// SPDX-License-Identifier: Apache-2.0
/// @file
/// Signals that a failing write sends to its own thread.
#ifndef COMMON_LOG_WRITE_SIGNALS_H
#define COMMON_LOG_WRITE_SIGNALS_H

#include <signal.h>

namespace Tulvo::Logging {

/// As long as it lives, a write of this thread to a pipe that nobody reads, or beyond the limit of
/// a file's size, fails but sends no signal, which would end a host that did not expect it.
class WriteSignals
{
public:
    WriteSignals();
    ~WriteSignals();
    WriteSignals(const WriteSignals&) = delete;
    WriteSignals& operator=(const WriteSignals&) = delete;

private:
    sigset_t own_;  ///< Signals that only a write of ours can have sent.
    sigset_t maskToRestore_;
};

}  // namespace Tulvo::Logging

#endif
