// SPDX-License-Identifier: Apache-2.0
/// @file
/// Where reads of many modules with one account wait for each other, so that a wrong password does
/// not lock the account on all of them.
#ifndef COMMON_FAILURE_LOG_IN_GATE_H
#define COMMON_FAILURE_LOG_IN_GATE_H

#include <chrono>
#include <cstdint>
#include <optional>
#include <stop_token>
#include <utility>

#include "common/failure/failure.h"

namespace Tulvo {

/// Of one read. Called by the thread that reads.
class LogInGate
{
public:
    /// How a log-in ended.
    enum class End : std::uint8_t
    {
        kAccepted,  ///< The module has taken user and password.
        kRefused,   ///< The module has refused them, or has shown that it has others.
        kUnknown,   ///< Neither: it fell silent, or failed for another reason.
    };

    virtual ~LogInGate() = default;

    /// Asked before anything is sent: why not to ask this module at all, if there is a reason.
    virtual std::optional<Failure> Closed() = 0;

    /// Called when the module has answered, before anything leaves that depends on the password.
    /// Waits for leave, until `until` at the latest or until stop is requested.
    /// @return nothing when the log-in may go on, else why it must not.
    virtual std::optional<Failure> Enter(std::chrono::steady_clock::time_point until,
                                         const std::stop_token& stop) = 0;

    /// What became of it: once after every Enter() that gave leave.
    virtual void Leave(End end) = 0;
};

/// The way of one log-in through a gate, which may be none.
class LogInPass
{
public:
    /// @param gate outlives the log-in; nullptr: every log-in may go on
    explicit LogInPass(LogInGate* gate = nullptr) : gate_(gate) {}
    LogInPass(const LogInPass&) = delete;
    LogInPass& operator=(const LogInPass&) = delete;
    ~LogInPass() { Leave(LogInGate::End::kUnknown); }

    /// False when the log-in must not go on, for the reason in Refusal(). Inside it stays true.
    bool Enter(std::chrono::steady_clock::time_point until, const std::stop_token& stop)
    {
        if (gate_ != nullptr && !inside_) {
            refusal_ = gate_->Enter(until, stop);
            inside_ = !refusal_;
        }
        return !refusal_;
    }

    /// Tells the gate how the log-in ended, if it was let in; then it is outside again.
    void Leave(LogInGate::End end)
    {
        if (std::exchange(inside_, false)) {
            gate_->Leave(end);
        }
    }

    /// Why the last Enter() was false; nothing when it was true.
    const std::optional<Failure>& Refusal() const { return refusal_; }

private:
    LogInGate* gate_;
    bool inside_ = false;
    std::optional<Failure> refusal_;
};

}  // namespace Tulvo

#endif
