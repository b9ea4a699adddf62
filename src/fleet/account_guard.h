// SPDX-License-Identifier: Apache-2.0
/// @file
/// Keeps many reads with one wrong password from locking the account on every module.
#ifndef FLEET_ACCOUNT_GUARD_H
#define FLEET_ACCOUNT_GUARD_H

#include <chrono>
#include <condition_variable>
#include <list>
#include <map>
#include <mutex>
#include <optional>
#include <stop_token>
#include <string>
#include <utility>

#include "common/failure/log_in_gate.h"
#include "module/vkt/vkt_enclosure/target.h"

namespace Tulvo::Fleet {

/// As long as nobody has accepted an account and password, at most three log-ins with it are under
/// way or refused; after three refusals there is no further one. Once somebody has accepted it,
/// nothing is held back any more. Any number of threads may use it, for as many reads as there are.
class AccountGuard
{
public:
    /// @param keepGoing refusals do not count: no more than three log-ins at a time, but on and on.
    /// @param silence a module that needs longer for a log-in has fallen silent, and others are not
    /// kept waiting for it.
    explicit AccountGuard(bool keepGoing = false,
                          std::chrono::milliseconds silence = std::chrono::seconds(10))
        : keepGoing_(keepGoing), silence_(silence)
    {
    }
    AccountGuard(const AccountGuard&) = delete;
    AccountGuard& operator=(const AccountGuard&) = delete;

private:
    using Clock = std::chrono::steady_clock;

    struct Account
    {
        bool accepted = false;
        unsigned refused = 0;
        std::list<Clock::time_point> underWay;  ///< Since when.
    };

public:
    /// The gate of one read.
    class Place final : public LogInGate
    {
    public:
        /// @param guard outlives the place.
        Place(AccountGuard& guard, const Enclosures::Target& target);
        Place(const Place&) = delete;
        Place& operator=(const Place&) = delete;
        ~Place() override { Leave(End::kUnknown); }

        std::optional<Failure> Closed() override;
        std::optional<Failure> Enter(Clock::time_point until, const std::stop_token& stop) override;
        void Leave(End end) override;

    private:
        bool IsClosed() const;
        bool HasRoom(Clock::time_point now) const;

        AccountGuard& guard_;
        Account& account_;
        std::optional<std::list<Clock::time_point>::iterator> taken_;
    };

private:
    const bool keepGoing_;
    const std::chrono::milliseconds silence_;
    std::mutex mutex_;
    std::condition_variable_any changed_;
    std::map<std::pair<std::string, std::string>, Account> accounts_;  ///< By user and password.
};

}  // namespace Tulvo::Fleet

#endif
