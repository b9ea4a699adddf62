// SPDX-License-Identifier: GPL-3.0-or-later
/// @file
/// A stop token that a wait for a datagram can hear.
#ifndef MODULE_IPMI_IPMI_CLIENT_STOP_SIGNAL_H
#define MODULE_IPMI_IPMI_CLIENT_STOP_SIGNAL_H

#include <sys/eventfd.h>
#include <sys/types.h>
#include <unistd.h>

#include <functional>
#include <optional>
#include <stop_token>
#include <utility>

#include "common/platform/file_descriptor.h"

namespace Tulvo::Rmcp {

/// Belongs to the process that made it: the descriptor that fork() hands on is its parent's, too,
/// which a stop request of the child would wake again and again, with nothing to stop.
class StopSignal
{
public:
    /// Takes a descriptor of the process only for a token that can ever ask to stop.
    explicit StopSignal(std::stop_token token) : token_(std::move(token))
    {
        if (token_.stop_possible()) {
            event_ = FileDescriptor(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK));
            callback_.emplace(token_, [this] {
                if (process_ == getpid()) {
                    eventfd_write(event_.Get(), 1);
                }
            });
        }
    }
    StopSignal(const StopSignal&) = delete;
    StopSignal& operator=(const StopSignal&) = delete;
    ~StopSignal() = default;

    bool IsOf(const std::stop_token& token) const
    {
        return token_ == token && process_ == getpid();
    }
    bool IsRaised() const { return token_.stop_requested(); }
    /// Readable once stop is requested; -1, which poll() leaves out, when that cannot be.
    int Descriptor() const { return event_.Get(); }

private:
    const pid_t process_ = getpid();
    std::stop_token token_;
    FileDescriptor event_;
    std::optional<std::stop_callback<std::function<void()>>> callback_;
};

}  // namespace Tulvo::Rmcp

#endif
