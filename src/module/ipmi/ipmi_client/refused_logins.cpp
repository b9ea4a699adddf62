// SPDX-License-Identifier: GPL-3.0-or-later
#include "module/ipmi/ipmi_client/refused_logins.h"

#include <freeipmi/freeipmi.h>

#include <array>
#include <chrono>
#include <cstdint>
#include <deque>
#include <mutex>
#include <string>
#include <tuple>

#include "common/lookup/per_process.h"
#include "module/ipmi/ipmi_client/local_host.h"

namespace Tulvo::Rmcp {
namespace {

// Longer than the 18 seconds for which a status that cannot be read is asked for.
constexpr std::chrono::seconds kKept{20};

constexpr std::size_t kMostKept = 64;

using Salt = std::array<std::uint8_t, 16>;
using Digest = std::array<std::uint8_t, 32>;
using LogInKey = std::tuple<std::string, std::uint16_t, std::string, Digest, int, int>;

struct Refusal
{
    LogInKey key;
    Failure failure;
    Clock::time_point until;
};

class RefusedLogIns
{
public:
    std::optional<Failure> Find(const Credentials& credentials, const LoginSettings& settings,
                                Clock::time_point now)
    {
        const std::lock_guard lock(mutex_);
        DropOld(now);
        if (refusals_.empty()) {
            return {};
        }
        const std::optional<LogInKey> key = KeyOf(credentials, settings);
        for (const Refusal& refusal : refusals_) {
            if (key == refusal.key) {
                return refusal.failure;
            }
        }
        return {};
    }

    void Add(const Credentials& credentials, const LoginSettings& settings, const Failure& failure,
             Clock::time_point now)
    {
        const std::lock_guard lock(mutex_);
        DropOld(now);
        if (std::optional<LogInKey> key = KeyOf(credentials, settings)) {
            refusals_.push_back({std::move(*key), failure, now + kKept});
        }
        if (refusals_.size() > kMostKept) {
            refusals_.pop_front();
        }
    }

    void Clear()
    {
        const std::lock_guard lock(mutex_);
        refusals_.clear();
    }

private:
    void DropOld(Clock::time_point now)
    {
        while (!refusals_.empty() && refusals_.front().until <= now) {
            refusals_.pop_front();
        }
    }

    // The HMAC that a log-in proves the password with, over a random number that no module ever
    // gets.
    std::optional<Digest> DigestOf(const Password& password)
    {
        Digest digest{};
        if (!hasSalt_) {
            hasSalt_ = Randomize(salt_);
        }
        const int length = ipmi_calculate_rakp_3_key_exchange_authentication_code(
            IPMI_AUTHENTICATION_ALGORITHM_RAKP_HMAC_SHA256, password.Data(), Password::kCapacity,
            salt_.data(), static_cast<unsigned>(salt_.size()), 0, IPMI_NAME_ONLY_LOOKUP,
            IPMI_PRIVILEGE_LEVEL_USER, nullptr, 0, digest.data(), digest.size());
        return hasSalt_ && length > 0 ? std::optional(digest) : std::nullopt;
    }

    std::optional<LogInKey> KeyOf(const Credentials& credentials, const LoginSettings& settings)
    {
        const std::optional<Digest> digest = DigestOf(credentials.password);
        if (!digest) {
            return {};
        }
        return LogInKey(credentials.address, settings.port, credentials.userName, *digest,
                        settings.cipherSuite, settings.privilege);
    }

    std::mutex mutex_;
    std::deque<Refusal> refusals_;  ///< The oldest first.
    Salt salt_{};
    bool hasSalt_ = false;
};

RefusedLogIns& OfThisProcess()
{
    static constinit PerProcess<RefusedLogIns> refusedLogIns;
    return refusedLogIns.Get();
}

}  // namespace

std::optional<Failure> EarlierRefusal(const Credentials& credentials, const LoginSettings& settings,
                                      Clock::time_point now)
{
    std::optional<Failure> failure = OfThisProcess().Find(credentials, settings, now);
    if (failure) {
        failure->detail = "as the module said less than " + std::to_string(kKept.count()) +
                          " s ago; not sent again";
    }
    return failure;
}

void KeepRefusal(const Credentials& credentials, const LoginSettings& settings,
                 const Failure& failure, Clock::time_point now)
{
    if (failure.accountRefused) {
        OfThisProcess().Add(credentials, settings, failure, now);
    }
}

void ForgetRefusals()
{
    OfThisProcess().Clear();
}

}  // namespace Tulvo::Rmcp
