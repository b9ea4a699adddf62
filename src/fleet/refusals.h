// SPDX-License-Identifier: Apache-2.0
/// @file
/// Keeps a program that asks again and again from locking accounts: modules count refused log-ins,
/// and some lock an account, or every account of one directory, after a few.
#ifndef FLEET_REFUSALS_H
#define FLEET_REFUSALS_H

#include <chrono>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <set>
#include <stop_token>
#include <string>
#include <utility>

#include "common/failure/log_in_gate.h"
#include "fleet/account_guard.h"
#include "module/vkt/vkt_enclosure/enclosure.h"
#include "module/vkt/vkt_enclosure/target.h"

namespace Tulvo::Fleet {

/// - A target that refused is left alone for a minute, then, when it refuses again, for two, four
///   and so on up to fifteen; or until anything changes that its log-in depends on.
/// - An account that nobody has accepted has at most three log-ins under way or refused
///   (AccountGuard). After three refusals it is used with no target for a minute, then for two and
///   so on, as above.
/// - An account that was accepted counts as one that nobody has accepted when three targets that
///   had accepted it refuse it with no acceptance in between: it was changed or locked.
/// - A program that asks all targets in rounds counts an acceptance for that round only
///   (BeginRound): an account that was changed or locked since is tried three times, not
///   everywhere.
///
/// For any number of threads.
class Refusals
{
    struct Account;

public:
    using Clock = std::chrono::steady_clock;
    using Now = std::function<Clock::time_point()>;

    explicit Refusals(Now now = Clock::now) : now_(std::move(now)) {}

    /// From here on every account is one that nobody has accepted. No read is under way.
    void BeginRound();

    /// Forgets targets that are not among `names`.
    void KeepOnly(const std::set<std::string>& names);

    /// The gate of one read.
    class Gate final : public LogInGate
    {
    public:
        /// @param refusals outlives the gate.
        /// @param name of the target, as the fleet file has it.
        Gate(Refusals& refusals, std::string name, const Enclosures::Target& target);
        Gate(const Gate&) = delete;
        Gate& operator=(const Gate&) = delete;
        ~Gate() override = default;

        std::optional<Failure> Closed() override;
        std::optional<Failure> Enter(Clock::time_point until, const std::stop_token& stop) override;
        void Leave(End end) override;

        /// To be told what came of the read.
        /// @return whether the module itself has refused.
        bool Ended(const std::optional<Failure>& error);

        /// By this gate: the module was not asked.
        bool KeptOut() const { return keptOut_; }
        /// By the module.
        bool Accepted() const { return accepted_; }

    private:
        void CountAcceptance();
        void CountRefusal();

        Refusals& refusals_;
        const std::string name_;
        const std::string credentials_;
        const std::pair<std::string, std::string> account_;
        const std::shared_ptr<AccountGuard> guard_;
        AccountGuard::Place place_;
        bool keptOut_ = false;
        bool accepted_ = false;
    };

private:
    /// Waits that double.
    struct Pause
    {
        unsigned times = 0;
        Clock::time_point until{};

        void Lengthen(Clock::time_point now);
    };
    struct Target
    {
        std::string credentials = {};
        bool accepted = false;
        Pause pause = {};
        std::string why = {};  ///< It refused.
    };
    struct Account
    {
        std::shared_ptr<AccountGuard> guard = std::make_shared<AccountGuard>();
        unsigned refused = 0;  ///< In a row.
        bool accepted = false;
        Pause pause;
        Clock::time_point used{};
    };
    using AccountName = std::pair<std::string, std::string>;  ///< User and password.

    Target& TargetNamed(const std::string& name, const std::string& credentials);
    Account& AccountNamed(const AccountName& name);

    const Now now_;
    std::mutex mutex_;
    std::map<std::string, Target> targets_;
    std::map<AccountName, Account> accounts_;
};

}  // namespace Tulvo::Fleet

#endif
