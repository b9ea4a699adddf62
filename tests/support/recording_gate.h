// SPDX-License-Identifier: Apache-2.0
/// @file
/// A gate before log-ins that does as a test says, and keeps what it was told.
#ifndef TESTS_SUPPORT_RECORDING_GATE_H
#define TESTS_SUPPORT_RECORDING_GATE_H

#include <mutex>
#include <optional>
#include <stop_token>
#include <vector>

#include "common/failure/log_in_gate.h"

namespace Tulvo::Tests {

/// Of any number of threads.
class RecordingGate final : public LogInGate
{
public:
    /// Why nobody is asked, and why a log-in does not go on; nothing where it does.
    std::optional<Failure> closed;
    std::optional<Failure> refusal;

    std::optional<Failure> Closed() override { return closed; }

    std::optional<Failure> Enter(std::chrono::steady_clock::time_point /*until*/,
                                 const std::stop_token& /*stop*/) override
    {
        const std::lock_guard lock(mutex_);
        ++entered_;
        return refusal;
    }

    void Leave(End end) override
    {
        const std::lock_guard lock(mutex_);
        ends_.push_back(end);
    }

    /// How often leave was asked for.
    unsigned Entered()
    {
        const std::lock_guard lock(mutex_);
        return entered_;
    }
    /// How the log-ins ended that had it.
    std::vector<End> Ends()
    {
        const std::lock_guard lock(mutex_);
        return ends_;
    }

private:
    std::mutex mutex_;
    unsigned entered_ = 0;
    std::vector<End> ends_;
};

}  // namespace Tulvo::Tests

#endif
