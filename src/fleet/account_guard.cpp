// SPDX-License-Identifier: Apache-2.0
#include "fleet/account_guard.h"

#include <algorithm>
#include <cstddef>

namespace Tulvo::Fleet {
namespace {

constexpr std::size_t kMostUndecided = 3;

Failure NotAsked()
{
    return {Cause::kRefused,
            "not asked: three modules have refused this user and password",
            "check user and password",
            {}};
}

Failure StillWaiting(const std::stop_token& stop)
{
    if (stop.stop_requested()) {
        return {Cause::kCancelled, "the read was cancelled", "", {}};
    }
    return {Cause::kTimedOut,
            "the time was over before another module had accepted this user and password",
            "allow more time",
            {}};
}

}  // namespace

AccountGuard::Place::Place(AccountGuard& guard, const Enclosures::Target& target)
    : guard_(guard), account_([&]() -> Account& {
          const std::lock_guard lock(guard.mutex_);
          return guard.accounts_[{target.user, target.password}];
      }())
{
}

bool AccountGuard::Place::IsClosed() const
{
    return !account_.accepted && !guard_.keepGoing_ && account_.refused >= kMostUndecided;
}

std::optional<Failure> AccountGuard::Place::Closed()
{
    const std::lock_guard lock(guard_.mutex_);
    return IsClosed() ? std::optional(NotAsked()) : std::nullopt;
}

bool AccountGuard::Place::HasRoom(Clock::time_point now) const
{
    const auto underWay =
        std::count_if(account_.underWay.begin(), account_.underWay.end(),
                      [this, now](auto since) { return now < since + guard_.silence_; });
    const std::size_t refused = guard_.keepGoing_ ? 0 : account_.refused;
    return static_cast<std::size_t>(underWay) + refused < kMostUndecided;
}

std::optional<Failure> AccountGuard::Place::Enter(Clock::time_point until,
                                                  const std::stop_token& stop)
{
    std::unique_lock lock(guard_.mutex_);
    for (;;) {
        if (IsClosed()) {
            return NotAsked();
        }
        if (account_.accepted) {
            return std::nullopt;
        }
        const auto now = Clock::now();
        if (HasRoom(now)) {
            taken_ = account_.underWay.insert(account_.underWay.end(), now);
            return std::nullopt;
        }
        if (stop.stop_requested() || now >= until) {
            return StillWaiting(stop);
        }
        // All that changes without notice is that a log-in has been silent for too long.
        auto wake = until;
        for (const auto since : account_.underWay) {
            wake = since + guard_.silence_ > now ? std::min(wake, since + guard_.silence_) : wake;
        }
        guard_.changed_.wait_until(lock, stop, wake, [this] {
            return account_.accepted || IsClosed() || HasRoom(Clock::now());
        });
    }
}

void AccountGuard::Place::Leave(End end)
{
    {
        const std::lock_guard lock(guard_.mutex_);
        if (taken_) {
            account_.underWay.erase(*taken_);
            taken_.reset();
        }
        account_.accepted = account_.accepted || end == End::kAccepted;
        account_.refused += end == End::kRefused ? 1 : 0;
    }
    guard_.changed_.notify_all();
}

}  // namespace Tulvo::Fleet
