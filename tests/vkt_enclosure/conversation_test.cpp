// SPDX-License-Identifier: Apache-2.0
#include "module/vkt/vkt_enclosure/impl/conversation.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <map>
#include <numeric>
#include <optional>
#include <stop_token>
#include <string>
#include <vector>

#include "common/log/log.h"
#include "tests/fakes/scripted_module.h"
#include "tests/support/recording_gate.h"

namespace Tulvo::Enclosures {
namespace {

using namespace std::chrono_literals;
using Fakes::Bytes;
using Fakes::ScriptedModule;
using Fakes::StillPace;
using testing::ElementsAre;
using testing::SizeIs;
using Kind = Outcome::Kind;

const IPMICOMMAND kGetDeviceId{0x01, {}, 0x06};

IPMICOMMAND Numbered(std::uint8_t number)
{
    return {0xA5, {number}, 0x32};
}

const Failure kRefusedPassword{Cause::kRefused, "wrong password", "", {}};
const Failure kNoneFree{Cause::kBusy, "no session is free", "", {}};
const Failure kNobody{Cause::kTimedOut, "no answer", "", {}};
const Failure kNobodyListens{Cause::kUnreachable, "nothing listens", "", {}};

class ConversationTest : public testing::Test
{
protected:
    void SetUp() override
    {
        for (std::uint8_t number = 1; number <= 5; ++number) {
            module.Give(Numbered(number), {number});
        }
    }

    /// Asks requests 1 to `count`, in this order, each of a kind of its own.
    SharedFailure AskFor(std::uint8_t count, RequestClass requestClass = RequestClass::kAny,
                         Resend resend = Resend::kFreely)
    {
        std::vector<unsigned> kinds(count);
        std::iota(kinds.begin(), kinds.end(), 0U);
        return AskFor(kinds, requestClass, resend);
    }

    /// Asks requests 1 to as many as there are kinds.
    SharedFailure AskFor(const std::vector<unsigned>& kinds,
                         RequestClass requestClass = RequestClass::kAny,
                         Resend resend = Resend::kFreely)
    {
        Conversation conversation(module, pace, limits);
        for (std::uint8_t number = 1; const unsigned kind : kinds) {
            conversation.Add(
                {.command = Numbered(number),
                 .requestClass = requestClass,
                 .resend = resend,
                 .rank = kind,
                 .done = [this, number](const Outcome& outcome) { outcomes[number] = outcome; }});
            ++number;
        }
        return conversation.Run();
    }

    std::vector<int> Order() const
    {
        std::vector<int> order;
        for (const IPMICOMMAND& request : module.asked) {
            order.push_back(request.data.empty() ? 0 : request.data.front());
        }
        return order;
    }

    StillPace pace;
    ScriptedModule module{pace};
    Limits limits;
    std::map<int, Outcome> outcomes;
};

TEST_F(ConversationTest, AsksEachRequestOnceInOrder)
{
    EXPECT_EQ(nullptr, AskFor(3));
    EXPECT_THAT(Order(), ElementsAre(1, 2, 3));
    EXPECT_EQ(Kind::kAnswer, outcomes[2].kind);
    EXPECT_THAT(outcomes[2].data, ElementsAre(2));
    EXPECT_EQ(1, module.opened);
    EXPECT_EQ(1, module.closed);
}

TEST_F(ConversationTest, TracesEveryRequestAndAnswer)
{
    module.Open({.failure = kNoneFree, .noneFree = true});
    module.Refuse(Numbered(1), 0xC9);
    module.StaySilent(Numbered(2));
    module.Refuse(Numbered(3), 0xD4);
    std::vector<std::string> traced;
    SetLogLevel(4);
    SetLogSink([&traced](const LogRecord& record) { traced.push_back(record.text); });
    AskFor(3);
    SetLogSink({});
    SetLogLevel(2);
    EXPECT_THAT(traced, ElementsAre("no session is free", "a session is open", "32 a5 01: c9",
                                    "32 a5 02: no answer", "32 a5 03: d4",
                                    "the session's privilege is raised", "32 a5 03: 00 03",
                                    "32 a5 02: 00 02"));
}

TEST_F(ConversationTest, AsksOthersWhileTheModuleIsBusyWithOne)
{
    module.Refuse(Numbered(1), 0xC0, 2);
    AskFor(3);
    EXPECT_THAT(Order(), ElementsAre(1, 2, 3, 1, 1));
    EXPECT_EQ(Kind::kAnswer, outcomes[1].kind);
}

TEST_F(ConversationTest, IsPutOffForASecondAtMost)
{
    module.RefuseAlways(Numbered(1), 0xC0);
    const auto begin = pace.now;
    AskFor(1);
    EXPECT_EQ(begin + 1s, pace.now);
    EXPECT_EQ(Kind::kNotRead, outcomes[1].kind);
    EXPECT_EQ(Cause::kBusy, outcomes[1].failure->cause);
    EXPECT_EQ(0xC0, outcomes[1].failure->completionCode);
    EXPECT_LT(module.asked.size(), 10U);
}

TEST_F(ConversationTest, PutsASilentRequestToTheEnd)
{
    module.StaySilent(Numbered(1));
    AskFor(3);
    EXPECT_THAT(Order(), ElementsAre(1, 2, 3, 1));
    EXPECT_EQ(1, module.opened);
}

TEST_F(ConversationTest, TakesTwoSilentRequestsInARowForALostSession)
{
    module.StaySilent(Numbered(1));
    module.StaySilent(Numbered(2));
    AskFor(4);
    EXPECT_THAT(Order(), ElementsAre(1, 2, 3, 4, 1, 2));
    EXPECT_EQ(2, module.opened);
    EXPECT_EQ(2, module.closed);
    EXPECT_EQ(Kind::kAnswer, outcomes[1].kind);
    EXPECT_EQ(Kind::kAnswer, outcomes[2].kind);
}

TEST_F(ConversationTest, PutsOthersOfASilentRequestsKindToTheEnd)
{
    module.StaySilent(Numbered(1), 2);
    module.StaySilent(Numbered(2));
    module.Give(kGetDeviceId, {});
    // 4 is of the same kind, and asked when nothing else is left. Its answer says that the kind has
    // not fallen silent.
    AskFor({1, 1, 3, 1, 5});
    EXPECT_THAT(Order(), ElementsAre(1, 3, 5, 2, 0, 4, 1, 0, 2));
    EXPECT_EQ(1, module.opened);
    EXPECT_EQ(Kind::kNotRead, outcomes[1].kind);
    EXPECT_EQ(Kind::kAnswer, outcomes[2].kind);
}

TEST_F(ConversationTest, TellsALostSessionFromSilentKindsWhenNothingElseIsLeft)
{
    module.StaySilentAlways(Numbered(1));
    module.StaySilentAlways(Numbered(2));
    module.StaySilentAlways(Numbered(3));
    module.Give(kGetDeviceId, {});
    EXPECT_EQ(nullptr, AskFor({1, 1, 1}));
    EXPECT_EQ(1, module.opened);
    module.StaySilentAlways(kGetDeviceId);
    EXPECT_NE(nullptr, AskFor({1, 1, 1}));
    EXPECT_EQ(1 + 4, module.opened);
}

TEST_F(ConversationTest, LeavesARequestUnansweredForAThirdOfTheTimeWhileOthersWait)
{
    module.silenceTime = 1h;
    module.StaySilentAlways(Numbered(1));
    const auto begin = pace.now;
    std::vector<std::chrono::milliseconds> askedAt;
    module.onAsk = [&](std::size_t) {
        askedAt.push_back(std::chrono::duration_cast<std::chrono::milliseconds>(pace.now - begin));
    };
    AskFor(2);
    // Of 29 s; when nothing else is left but a lost session all of the rest.
    EXPECT_THAT(Order(), ElementsAre(1, 2, 1));
    EXPECT_EQ(29000ms / 3, askedAt[1]);
    EXPECT_EQ(begin + 29s, pace.now);
    EXPECT_EQ(Kind::kAnswer, outcomes[2].kind);
}

TEST_F(ConversationTest, WaitsForASlowModuleBeyondAThirdOfTheTime)
{
    limits.deadline = 20s;
    module.answerTime = 4s;
    EXPECT_NE(nullptr, AskFor(5));  // the log-in takes as long
    EXPECT_THAT(Order(), ElementsAre(1, 2, 3, 4));
    EXPECT_EQ(Kind::kAnswer, outcomes[3].kind);
}

TEST_F(ConversationTest, TellsALostSessionFromALostAnswerWhenNothingElseIsLeft)
{
    module.StaySilent(Numbered(1));
    module.StaySilent(kGetDeviceId);
    AskFor(1);
    EXPECT_THAT(Order(), ElementsAre(1, 0, 1));
    EXPECT_EQ(2, module.opened);
    EXPECT_EQ(Kind::kAnswer, outcomes[1].kind);
}

TEST_F(ConversationTest, TriesAPasswordOnceThatIsRefusedWhenALostSessionIsLookedFor)
{
    module.StaySilent(Numbered(1));
    module.Fail(kGetDeviceId, kRefusedPassword);
    const SharedFailure ended = AskFor(1);
    EXPECT_THAT(Order(), ElementsAre(1, 0));
    EXPECT_EQ(1, module.opened);
    ASSERT_NE(nullptr, ended);
    EXPECT_EQ(kRefusedPassword, *ended);
    EXPECT_EQ(ended, outcomes[1].failure);
}

TEST_F(ConversationTest, OpensThreeNewSessionsAtMost)
{
    for (std::uint8_t number = 1; number <= 4; ++number) {
        module.LoseSession(Numbered(number));
    }
    const SharedFailure ended = AskFor(5);
    EXPECT_EQ(4, module.opened);
    ASSERT_NE(nullptr, ended);
    EXPECT_EQ(kNobody, *ended);
    EXPECT_EQ(ended, outcomes[5].failure);
}

TEST_F(ConversationTest, TriesAgainWhenANewSessionFindsNobody)
{
    module.LoseSession(Numbered(1));
    module.Open({}, 1);
    module.Open({.failure = kNobody}, 2);
    EXPECT_EQ(nullptr, AskFor(1));
    EXPECT_EQ(4, module.opened);
    EXPECT_EQ(Kind::kAnswer, outcomes[1].kind);
}

TEST_F(ConversationTest, WaitsForAModuleThatStartsAnewInTheMiddle)
{
    module.LoseSession(Numbered(2));
    module.Open({}, 1);
    module.Open({.failure = kNobodyListens}, 6);
    const auto begin = pace.now;
    EXPECT_EQ(nullptr, AskFor(3));
    EXPECT_GT(pace.now, begin + 5s);
    EXPECT_THAT(Order(), ElementsAre(1, 2, 3, 2));
    EXPECT_EQ(Kind::kAnswer, outcomes[2].kind);
}

TEST_F(ConversationTest, WaitsForAModuleThatStaysAwayNoLongerThanItsTime)
{
    limits.deadline = 5s;
    module.LoseSession(Numbered(2));
    module.Open({}, 1);
    module.Open({.failure = kNobodyListens}, 4);
    const auto begin = pace.now;
    const SharedFailure ended = AskFor(3);
    ASSERT_NE(nullptr, ended);
    EXPECT_EQ(kNobodyListens, *ended);
    EXPECT_LE(pace.now, begin + 4500ms);
    EXPECT_EQ(Kind::kAnswer, outcomes[1].kind);
    EXPECT_EQ(ended, outcomes[3].failure);
}

TEST_F(ConversationTest, DoesNotWaitWhereNobodyHasEverListened)
{
    module.Open({.failure = kNobodyListens});
    const auto begin = pace.now;
    const SharedFailure ended = AskFor(1);
    ASSERT_NE(nullptr, ended);
    EXPECT_EQ(kNobodyListens, *ended);
    EXPECT_EQ(begin, pace.now);
}

TEST_F(ConversationTest, TriesAPasswordOnce)
{
    module.Open({.failure = kRefusedPassword});
    const SharedFailure ended = AskFor(2);
    EXPECT_EQ(1, module.opened);
    EXPECT_THAT(module.asked, SizeIs(0));
    ASSERT_NE(nullptr, ended);
    EXPECT_EQ(kRefusedPassword, *ended);
    EXPECT_EQ(ended, outcomes[2].failure);
}

TEST_F(ConversationTest, WaitsForAFreeSession)
{
    module.Open({.failure = kNoneFree, .noneFree = true}, 3);
    const auto begin = pace.now;
    EXPECT_EQ(nullptr, AskFor(1));
    EXPECT_EQ(4, module.opened);
    EXPECT_GT(pace.now, begin + 1s);
}

TEST_F(ConversationTest, WaitsForAFreeSessionNoLongerThanItsTime)
{
    limits.deadline = 2s;
    module.Open({.failure = kNoneFree, .noneFree = true}, 3);
    const auto begin = pace.now;
    const SharedFailure ended = AskFor(1);
    ASSERT_NE(nullptr, ended);
    EXPECT_EQ(kNoneFree, *ended);
    EXPECT_LE(pace.now, begin + 1800ms);
}

TEST_F(ConversationTest, DoesNotComeBackToAModuleThatIsBusyOtherwise)
{
    module.Open({.failure = kNoneFree});
    ASSERT_NE(nullptr, AskFor(1));
    EXPECT_EQ(1, module.opened);
}

TEST_F(ConversationTest, LeavesATenthOfTheTimeForTheLogOut)
{
    limits.deadline = 5s;
    module.answerTime = 1s;
    const auto begin = pace.now;
    AskFor(5);  // the log-in takes one second, too
    EXPECT_EQ(begin + 4500ms, pace.now);
    EXPECT_EQ(Kind::kAnswer, outcomes[3].kind);
    EXPECT_EQ(Cause::kTimedOut, outcomes[4].failure->cause);
    EXPECT_EQ(1, module.closed);
}

// Amid a request over HTTPS that costs the connection, and a slow module's log-out a handshake.
TEST_F(ConversationTest, GivesTheLogOutOfACancelledReadMoreTimeUnlessTheModuleWasSilent)
{
    struct Case
    {
        const char* what;
        std::chrono::milliseconds deadline;
        std::chrono::milliseconds logOutTime;
        std::chrono::milliseconds takes;  ///< From the second request to the end.
        int closed;
        bool isCancelled;
        bool wasSilent;
    };
    const Case cases[] = {
        {"a slow handshake", 30s, 2500ms, 2500ms, 1, true, false},
        {"no answer", 30s, 1h, 3s, 0, true, false},
        {"nor one before", 30s, 1h, 1s, 0, true, true},
        {"a deadline after two seconds", 2s, 1h, 1800ms, 0, true, false},
        {"no stop", 30s, 1h, 100ms + 1s, 0, false, false},
    };
    for (const Case& given : cases) {
        SCOPED_TRACE(given.what);
        StillPace clock;
        ScriptedModule slow(clock);
        slow.Give(Numbered(1), {});
        slow.Give(Numbered(2), {});
        slow.answerTime = 100ms;  // the log-in's, too
        slow.logOutTime = given.logOutTime;
        if (given.wasSilent) {
            slow.StaySilent(Numbered(1));
        }
        std::stop_source stop;
        Pace::Time begin{};
        slow.onAsk = [&](std::size_t number) {
            begin = number == 1 ? clock.now : begin;
            if (number == 1 && given.isCancelled) {
                stop.request_stop();
            }
        };
        Conversation conversation(slow, clock,
                                  {.deadline = given.deadline, .stop = stop.get_token()});
        for (std::uint8_t number = 1; number <= 2; ++number) {
            conversation.Add(
                {.command = Numbered(number), .rank = number, .done = [](const Outcome&) {}});
        }
        EXPECT_EQ(given.isCancelled, conversation.Run() != nullptr);
        EXPECT_EQ(given.takes, clock.now - begin);
        EXPECT_EQ(given.closed, slow.closed);
    }
}

TEST_F(ConversationTest, TakesNoTimeForNoTimeAndADayForMore)
{
    for (const auto none : {0ms, -1ms, std::chrono::milliseconds::min()}) {
        limits.deadline = none;
        const SharedFailure ended = AskFor(1);
        ASSERT_NE(nullptr, ended) << none.count();
        EXPECT_EQ(Cause::kTimedOut, ended->cause);
        EXPECT_EQ(0, module.opened);
    }
    limits.deadline = std::chrono::milliseconds::max();
    EXPECT_EQ(nullptr, AskFor(1));
}

TEST_F(ConversationTest, SaysThatTheModuleWasBusyWhenItsTimeEndsMeanwhile)
{
    limits.deadline = 500ms;
    module.RefuseAlways(Numbered(1), 0xC0);
    const SharedFailure ended = AskFor(1);
    EXPECT_EQ(Cause::kTimedOut, ended->cause);
    EXPECT_EQ(Cause::kBusy, outcomes[1].failure->cause);
}

TEST_F(ConversationTest, NamesAnotherMakersModule)
{
    module.RefuseAlways(Numbered(1), 0xC1);
    // Manufacturer 0x00A1B2 and product 0x0203, low bytes first.
    module.Give(kGetDeviceId, {0x20, 1, 1, 0, 2, 0xBF, 0xB2, 0xA1, 0x00, 0x03, 0x02});
    const auto begin = pace.now;
    const SharedFailure ended = AskFor(1, RequestClass::kFirst);
    ASSERT_NE(nullptr, ended);
    EXPECT_EQ(Cause::kNoSuchModule, ended->cause);
    EXPECT_EQ("another kind of device answers: manufacturer id 41394, product id 515",
              ended->message);
    EXPECT_THAT(Order(), ElementsAre(1, 1, 0));
    EXPECT_EQ(begin + 1s, pace.now);
}

TEST_F(ConversationTest, KnowsAnotherMakersModuleThatDoesNotSayWhoseItIs)
{
    module.RefuseAlways(Numbered(1), 0xC1);
    module.Refuse(kGetDeviceId, 0xC1);
    const SharedFailure ended = AskFor(1, RequestClass::kFirst);
    ASSERT_NE(nullptr, ended);
    EXPECT_EQ("another kind of device answers", ended->message);
}

TEST_F(ConversationTest, GivesAStartingModuleASecondChance)
{
    module.Refuse(Numbered(1), 0xC1);
    EXPECT_EQ(nullptr, AskFor(1, RequestClass::kFirst));
    EXPECT_EQ(Kind::kAnswer, outcomes[1].kind);
}

/// The module has to show up once: whoever has answered is not held to it again.
TEST_F(ConversationTest, WantsTheFirstAnswerInItsTime)
{
    struct Case
    {
        std::string name;
        std::chrono::milliseconds firstAnswer;
        std::vector<IpmiOpening> openings;
        std::vector<std::optional<std::chrono::milliseconds>> expected;  ///< Of each opening.
    };
    const IpmiOpening kNobodyYet{.failure = kNobodyListens};
    const std::vector<Case> cases{
        {"InTime", 2s, {{}}, {2s}},
        {"AnyTime", 0ms, {{}}, {std::nullopt}},
        {"LongerThanItAll", 48h, {{}}, {24h}},
        {"NoSessionFree", 2s, {{.failure = kNoneFree, .noneFree = true}, {}}, {2s, std::nullopt}},
        {"Never", 2s, {kNobodyYet}, {2s}},
    };
    for (const Case& one : cases) {
        SCOPED_TRACE(one.name);
        ScriptedModule other(pace);
        for (const IpmiOpening& opening : one.openings) {
            other.Open(opening);
        }
        other.Give(Numbered(1), {});
        limits.firstAnswer = one.firstAnswer;
        const auto begin = pace.now;
        Conversation conversation(other, pace, limits);
        conversation.Add({.command = Numbered(1), .done = [](const Outcome&) {}});
        const SharedFailure ended = conversation.Run();
        EXPECT_EQ(one.openings.back().failure, ended ? std::optional(*ended) : std::nullopt);
        ASSERT_EQ(one.expected.size(), other.openLimits.size());
        for (std::size_t at = 0; at < one.expected.size(); ++at) {
            const auto& expected = one.expected[at];
            EXPECT_EQ(expected ? std::optional(begin + *expected) : std::nullopt,
                      other.openLimits[at].firstAnswer);
        }
    }
}

TEST_F(ConversationTest, WantsAFirstAnswerNoMoreOnceThereWasOne)
{
    limits.firstAnswer = 2s;
    module.LoseSession(Numbered(2));
    EXPECT_EQ(nullptr, AskFor(2));
    // Over HTTPS with the password in each request the first of them is the first answer.
    ASSERT_THAT(module.askLimits, SizeIs(3));
    EXPECT_TRUE(module.askLimits[0].firstAnswer);
    EXPECT_FALSE(module.askLimits[1].firstAnswer);
    ASSERT_THAT(module.openLimits, SizeIs(2));
    EXPECT_FALSE(module.openLimits[1].firstAnswer);
}

TEST_F(ConversationTest, AsksNobodyWhoseGateIsClosed)
{
    Tests::RecordingGate gate;
    gate.closed = Failure{Cause::kRefused, "not asked", "", {}};
    limits.gate = &gate;
    const SharedFailure ended = AskFor(2);
    ASSERT_NE(nullptr, ended);
    EXPECT_EQ(*gate.closed, *ended);
    EXPECT_EQ(0, module.opened);
    EXPECT_EQ(ended, outcomes[2].failure);
    EXPECT_EQ(0U, gate.Entered());
}

TEST_F(ConversationTest, AsksTheGateBeforeEachSession)
{
    Tests::RecordingGate gate;
    limits.gate = &gate;
    module.LoseSession(Numbered(2));
    module.onAsk = [&gate](std::size_t asked) {
        if (asked == 1) {
            gate.closed = Failure{Cause::kRefused, "not asked", "", {}};
        }
    };
    const SharedFailure ended = AskFor(3);
    ASSERT_NE(nullptr, ended);
    EXPECT_EQ(*gate.closed, *ended);
    EXPECT_EQ(1, module.opened);
    EXPECT_EQ(Kind::kAnswer, outcomes[1].kind);
    EXPECT_EQ(ended, outcomes[3].failure);
    // Log-ins of either kind are told of it.
    EXPECT_EQ(&gate, module.openLimits[0].gate);
    EXPECT_EQ(&gate, module.askLimits[0].gate);
}

TEST_F(ConversationTest, NeverAsksOneRequestInTwoSessions)
{
    module.LoseSession(Numbered(1));
    module.StaySilent(Numbered(2));
    AskFor(2, RequestClass::kAny, Resend::kAsOneRequest);
    EXPECT_THAT(Order(), ElementsAre(1, 2));
    EXPECT_EQ(Kind::kNotRead, outcomes[1].kind);
    EXPECT_EQ(Kind::kNotRead, outcomes[2].kind);
}

}  // namespace
}  // namespace Tulvo::Enclosures
