// SPDX-License-Identifier: Apache-2.0
#include "fleet/refusals.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <cstddef>
#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace {

using namespace Tulvo;
using namespace Tulvo::Fleet;
using namespace std::chrono_literals;
using testing::HasSubstr;

Enclosures::Target At(const std::string& host, const std::string& password = "secret")
{
    return {.host = host, .user = "monitor", .password = password};
}

/// Modules that take one password, a clock, and how often each was asked for a log-in.
class RefusalsOfATest : public testing::Test
{
protected:
    /// Reads as a read does: "read", "refused", or why nobody was asked.
    std::string Read(const Enclosures::Target& target)
    {
        Refusals::Gate gate(refusals_, target.host, target);
        std::optional<Failure> failure = gate.Closed();
        if (!failure) {
            failure = gate.Enter(Refusals::Clock::now(), {});
        }
        if (!failure) {
            ++logIns_;
            const bool accepted = target.password == accepted_;
            gate.Leave(accepted ? LogInGate::End::kAccepted : LogInGate::End::kRefused);
            failure = accepted ? std::nullopt
                               : std::optional(Failure{Cause::kRefused, "wrong password", "", {}});
        }
        const bool refused = gate.Ended(failure);
        EXPECT_EQ(refused, failure && failure->message == "wrong password");
        EXPECT_EQ(gate.KeptOut(), failure && !refused);
        EXPECT_EQ(gate.Accepted(), !failure);
        return failure ? refused ? "refused" : failure->message : "read";
    }

    void Pass(std::chrono::seconds time) { now_ += time; }

    std::string accepted_ = "secret";
    int logIns_ = 0;
    Refusals::Clock::time_point now_{};
    Refusals refusals_{[this] { return now_; }};
};

TEST_F(RefusalsOfATest, LeaveATargetAloneForTwiceAsLongEachTime)
{
    Read(At("other"));  // else three refusals would close the account
    for (const std::chrono::minutes pause : {1min, 2min, 4min, 8min, 15min, 15min}) {
        EXPECT_EQ(Read(At("a", "old")), "refused");
        EXPECT_EQ(Read(At("a", "old")), "not asked for " +
                                            std::to_string(std::chrono::seconds(pause).count()) +
                                            " s more, because it refused: wrong password");
        Pass(pause - 1s);
        EXPECT_THAT(Read(At("a", "old")), HasSubstr("for 1 s more"));
        Pass(1s);
        accepted_ = "old";
        Read(At("b", "old"));  // so that the account stays open
        accepted_ = "secret";
    }
    EXPECT_EQ(logIns_, 1 + 6 * 2);
}

struct ChangeRow
{
    const char* what;
    std::function<void(Enclosures::Target&)> change;
};

TEST_F(RefusalsOfATest, EndWithAnyChangeOfWhatTheLogInDependsOn)
{
    const ChangeRow rows[] = {
        {"password", [](Enclosures::Target& target) { target.password = "another"; }},
        {"user", [](Enclosures::Target& target) { target.user = "service"; }},
        {"port", [](Enclosures::Target& target) { target.port = 624; }},
        {"key",
         [](Enclosures::Target& target) { target.transport = Enclosures::RmcpPlus{.kg = "k"}; }},
        {"suite",
         [](Enclosures::Target& target) {
             target.transport = Enclosures::RmcpPlus{.cipherSuite = 3};
         }},
        {"privilege",
         [](Enclosures::Target& target) {
             target.transport = Enclosures::RmcpPlus{.privilege = Enclosures::Privilege::kUser};
         }},
        {"transport", [](Enclosures::Target& target) { target.transport = Enclosures::Https{}; }},
    };
    for (const ChangeRow& row : rows) {
        SCOPED_TRACE(row.what);
        Refusals fresh([this] { return now_; });
        const auto read = [&fresh](const Enclosures::Target& target) {
            Refusals::Gate gate(fresh, "a", target);
            const bool asked = !gate.Closed();
            gate.Ended(Failure{Cause::kRefused, "wrong", "", {}});
            return asked;
        };
        Enclosures::Target target = At("a", "old");
        EXPECT_TRUE(read(target));
        EXPECT_FALSE(read(target));
        row.change(target);
        EXPECT_TRUE(read(target));
    }
}

TEST_F(RefusalsOfATest, AreForgottenOnceTheTargetAccepts)
{
    accepted_ = "other";
    Read(At("a"));
    Pass(1min);
    accepted_ = "secret";
    EXPECT_EQ(Read(At("a")), "read");
    accepted_ = "other";
    Read(At("a"));
    Pass(1min);
    EXPECT_EQ(Read(At("a")), "refused");  // and not left alone for two minutes
}

TEST_F(RefusalsOfATest, OfThreeTargetsKeepTheAccountFromAllOthers)
{
    accepted_ = "other";
    for (const char* const host : {"a", "b", "c"}) {
        EXPECT_EQ(Read(At(host)), "refused");
    }
    const std::string closed = "three modules in a row refused this user and password";
    EXPECT_THAT(Read(At("d")), HasSubstr(closed));
    EXPECT_EQ(Read(At("d", "another")), "refused");  // another account
    Pass(1min);
    for (const char* const host : {"d", "e", "f"}) {
        EXPECT_EQ(Read(At(host)), "refused");
    }
    Pass(1min);
    EXPECT_THAT(Read(At("g")), HasSubstr("not asked for 60 s more"));
    Pass(1min);
    accepted_ = "secret";
    for (const char* const host : {"g", "h", "i", "j"}) {
        EXPECT_EQ(Read(At(host)), "read");
    }
}

TEST_F(RefusalsOfATest, OfAFewDoNotCloseAnAccountThatOthersAccept)
{
    EXPECT_EQ(Read(At("good")), "read");
    accepted_ = "other";
    for (const char* const host : {"a", "b", "c", "d"}) {
        EXPECT_EQ(Read(At(host)), "refused");
    }
    accepted_ = "secret";
    EXPECT_EQ(Read(At("good")), "read");
}

TEST_F(RefusalsOfATest, OfTargetsThatHadAcceptedCloseTheAccount)
{
    for (const char* const host : {"a", "b", "c", "d"}) {
        EXPECT_EQ(Read(At(host)), "read");
    }
    accepted_ = "changed by somebody";
    for (const char* const host : {"a", "b", "c"}) {
        EXPECT_EQ(Read(At(host)), "refused");
    }
    EXPECT_THAT(Read(At("d")), HasSubstr("three modules in a row"));
}

TEST_F(RefusalsOfATest, KeepAtMostThreeLogInsOfAnUnknownAccountUnderWay)
{
    std::vector<std::unique_ptr<Refusals::Gate>> gates;
    for (const char* const host : {"a", "b", "c", "d"}) {
        gates.push_back(std::make_unique<Refusals::Gate>(refusals_, host, At(host)));
        EXPECT_FALSE(gates.back()->Closed());
    }
    const auto now = Refusals::Clock::now();
    for (std::size_t i = 0; i < 3; ++i) {
        EXPECT_FALSE(gates[i]->Enter(now, {}));
    }
    EXPECT_EQ(gates[3]->Enter(now, {})->cause, Cause::kTimedOut);
    gates[0]->Leave(LogInGate::End::kAccepted);
    EXPECT_FALSE(gates[3]->Enter(now, {}));
}

TEST_F(RefusalsOfATest, OfAnotherRoundAreThreeHoweverManyAreAskedAtATime)
{
    std::vector<std::unique_ptr<Refusals::Gate>> gates;
    for (const char* const host : {"a", "b", "c", "d"}) {
        EXPECT_EQ(Read(At(host)), "read");
    }
    refusals_.BeginRound();
    const auto now = Refusals::Clock::now();
    for (const char* const host : {"a", "b", "c", "d"}) {
        gates.push_back(std::make_unique<Refusals::Gate>(refusals_, host, At(host)));
        EXPECT_FALSE(gates.back()->Closed());
    }
    for (std::size_t i = 0; i < 3; ++i) {
        EXPECT_FALSE(gates[i]->Enter(now, {}));
    }
    EXPECT_EQ(gates[3]->Enter(now, {})->cause, Cause::kTimedOut);
    for (std::size_t i = 0; i < 3; ++i) {
        gates[i]->Leave(LogInGate::End::kRefused);
    }
    EXPECT_EQ(gates[3]->Enter(now, {})->cause, Cause::kRefused);
    refusals_.BeginRound();
    EXPECT_THAT(Read(At("d")), HasSubstr("not asked for 60 s more"));
    Pass(1min);
    EXPECT_EQ(Read(At("d")), "read");
}

TEST_F(RefusalsOfATest, OfTargetsThatAreGoneAreForgotten)
{
    accepted_ = "other";
    Read(At("a"));
    Read(At("b"));
    refusals_.KeepOnly({"b"});
    EXPECT_EQ(Read(At("a")), "refused");
    EXPECT_THAT(Read(At("b")), HasSubstr("not asked"));
}

}  // namespace
