// SPDX-License-Identifier: Apache-2.0
/// @file
/// The one thing that all objects of a transport share in a process: the request to
/// stop everything, and the number of sessions that are still to be closed then.
#ifndef COMMON_INTERRUPTION_INTERRUPTION_H
#define COMMON_INTERRUPTION_INTERRUPTION_H

#include <chrono>

namespace Tulvo::Interruption {

/// A descriptor that is readable, for ever, once Raise() was called; wait on it beside a socket.
/// -1, which poll() leaves out, when the process has no descriptor to spare.
int Descriptor();

/// May be called from a signal handler.
void Raise();
bool Raised();

/// Counts the sessions that this process may hold on modules, half-open ones included.
class OpenSession
{
public:
    OpenSession();
    OpenSession(const OpenSession&) = delete;
    OpenSession& operator=(const OpenSession&) = delete;
    ~OpenSession();
};

/// Waits until no session is counted. False when that takes longer than `limit`.
bool WaitForNone(std::chrono::milliseconds limit);

}  // namespace Tulvo::Interruption

#endif
