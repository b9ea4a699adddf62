// SPDX-License-Identifier: Apache-2.0
#include "fleet/refusals.h"

#include <algorithm>
#include <cstdint>
#include <string_view>
#include <variant>

namespace Tulvo::Fleet {
namespace {

using namespace std::chrono_literals;

constexpr std::chrono::minutes kFirstPause = 1min;
constexpr std::chrono::minutes kLongestPause = 15min;
constexpr unsigned kMostRefused = 3;  // in a row

/// One text of several, which no other several give.
class Joined
{
public:
    void Add(std::string_view text)
    {
        text_ += std::to_string(text.size()).append(":").append(text);
    }
    void Add(std::uint64_t number) { Add(std::to_string(number)); }
    std::string Take() { return std::move(text_); }

private:
    std::string text_;
};

void AddTransport(Joined& joined, const Enclosures::RmcpPlus& rmcp)
{
    joined.Add(rmcp.cipherSuite.value_or(0));
    joined.Add(rmcp.privilege ? static_cast<std::uint64_t>(*rmcp.privilege) : 0);
    joined.Add(rmcp.kg);
}

void AddTransport(Joined& joined, const Enclosures::Https& https)
{
    joined.Add(static_cast<std::uint64_t>(https.authentication));
}

/// All that decides whether a module takes the log-in.
std::string CredentialsOf(const Enclosures::Target& target)
{
    Joined joined;
    joined.Add(target.host);
    joined.Add(target.port);
    joined.Add(target.user);
    joined.Add(target.password);
    joined.Add(target.transport.index());
    std::visit([&joined](const auto& transport) { AddTransport(joined, transport); },
               target.transport);
    return joined.Take();
}

std::string SecondsUntil(Refusals::Clock::time_point until, Refusals::Clock::time_point now)
{
    return std::to_string(std::chrono::ceil<std::chrono::seconds>(until - now).count()) + " s";
}

Failure LeftAlone(std::string what)
{
    return {Cause::kRefused,
            std::move(what),
            "check user and password; what changes in a password file is used at once",
            {}};
}

}  // namespace

void Refusals::Pause::Lengthen(Clock::time_point now)
{
    until = now + std::min(kFirstPause * (1U << std::min(times, 10U)), kLongestPause);
    ++times;
}

void Refusals::BeginRound()
{
    const std::lock_guard lock(mutex_);
    for (auto& [name, account] : accounts_) {
        account.guard = std::make_shared<AccountGuard>();
        account.refused = 0;
        account.accepted = false;
    }
}

void Refusals::KeepOnly(const std::set<std::string>& names)
{
    const std::lock_guard lock(mutex_);
    std::erase_if(targets_, [&names](const auto& entry) { return !names.contains(entry.first); });
}

Refusals::Target& Refusals::TargetNamed(const std::string& name, const std::string& credentials)
{
    Target& target = targets_[name];
    if (target.credentials != credentials) {
        target = {.credentials = credentials};
    }
    return target;
}

/// Accounts that have not been used for a while are forgotten, so that passwords which change for
/// ever do not fill the memory.
Refusals::Account& Refusals::AccountNamed(const AccountName& name)
{
    const auto now = now_();
    if (!accounts_.contains(name)) {
        std::erase_if(accounts_, [now](const auto& entry) {
            return entry.second.used + 2 * kLongestPause < now;
        });
    }
    Account& account = accounts_[name];
    account.used = now;
    return account;
}

Refusals::Gate::Gate(Refusals& refusals, std::string name, const Enclosures::Target& target)
    : refusals_(refusals),
      name_(std::move(name)),
      credentials_(CredentialsOf(target)),
      account_(target.user, target.password),
      guard_([this] {
          const std::lock_guard lock(refusals_.mutex_);
          return refusals_.AccountNamed(account_).guard;
      }()),
      place_(*guard_, target)
{
}

std::optional<Failure> Refusals::Gate::Closed()
{
    const auto now = refusals_.now_();
    std::optional<Failure> failure;
    {
        const std::lock_guard lock(refusals_.mutex_);
        const Target& target = refusals_.TargetNamed(name_, credentials_);
        const Account& account = refusals_.AccountNamed(account_);
        if (now < target.pause.until) {
            failure = LeftAlone("not asked for " + SecondsUntil(target.pause.until, now) +
                                " more, because it refused: " + target.why);
        } else if (now < account.pause.until) {
            failure = LeftAlone("not asked for " + SecondsUntil(account.pause.until, now) +
                                " more, because three modules in a row refused this user and "
                                "password");
        }
    }
    if (!failure) {
        failure = place_.Closed();
    }
    keptOut_ = keptOut_ || failure;
    return failure;
}

std::optional<Failure> Refusals::Gate::Enter(Clock::time_point until, const std::stop_token& stop)
{
    auto failure = place_.Enter(until, stop);
    keptOut_ = keptOut_ || failure;
    return failure;
}

void Refusals::Gate::Leave(End end)
{
    place_.Leave(end);
    accepted_ = accepted_ || end == End::kAccepted;
    const std::lock_guard lock(refusals_.mutex_);
    if (end == End::kAccepted) {
        CountAcceptance();
    } else if (end == End::kRefused) {
        CountRefusal();
    }
}

bool Refusals::Gate::Ended(const std::optional<Failure>& error)
{
    if (keptOut_ || !error || error->cause != Cause::kRefused) {
        return false;
    }
    const std::lock_guard lock(refusals_.mutex_);
    Target& target = refusals_.TargetNamed(name_, credentials_);
    target.accepted = false;
    target.why = error->message;
    target.pause.Lengthen(refusals_.now_());
    return true;
}

void Refusals::Gate::CountAcceptance()
{
    Target& target = refusals_.TargetNamed(name_, credentials_);
    target.accepted = true;
    target.pause = {};
    Account& account = refusals_.AccountNamed(account_);
    account.accepted = true;
    account.refused = 0;
    account.pause = {};
}

void Refusals::Gate::CountRefusal()
{
    Target& target = refusals_.TargetNamed(name_, credentials_);
    const bool hadAccepted = std::exchange(target.accepted, false);
    Account& account = refusals_.AccountNamed(account_);
    const bool isOld = guard_ != account.guard;  // it began before the account was closed
    const bool counts = !isOld && (hadAccepted || !account.accepted);
    if (counts && ++account.refused >= kMostRefused) {
        account.guard = std::make_shared<AccountGuard>();
        account.refused = 0;
        account.accepted = false;
        account.pause.Lengthen(refusals_.now_());
    }
}

}  // namespace Tulvo::Fleet
