// SPDX-License-Identifier: Apache-2.0
#include <algorithm>
#include <chrono>
#include <set>

#include "fuzz/input_reader.h"
#include "fuzz/played_answers.h"
#include "fuzz/played_clock.h"
#include "fuzz/require.h"
#include "fuzz/targets/read_promises.h"
#include "fuzz/targets/targets.h"
#include "module/ipmi/ipmi_client/ipmi_transport.h"

namespace Tulvo::Fuzz {

namespace {

using namespace std::chrono_literals;
using Clock = CallLimit::Clock;
using End = IpmiExchange::End;

enum AskedFor : std::uint8_t
{
    kRightAnswer,
    kRefusal,    ///< And the completion code.
    kAnyAnswer,  ///< And completion code, length, bytes.
    kCutAnswer,  ///< And how many bytes are left of the right one.
    kSilence,
    kLostSession,
    kUseless,
    kFailure,  ///< And the cause.
    kKindsOfAnswer,
};

/// A transport to a module whose every move the input says, and after its end a good one.
class PlayedTransport final : public IpmiTransport
{
public:
    PlayedTransport(Script& script, const Simulator::Scenario& scenario,
                    std::chrono::milliseconds answerTime)
        : script_(script), enclosure_(scenario.enclosure, scenario.faults), answerTime_(answerTime)
    {
    }

    IpmiOpening Open(const CallLimit& limit) override
    {
        isOpen_ = false;
        ++opened;
        Require(opened < 200, "sessions are not opened again and again");
        Require(!hasFailed_, "a module of which nothing more can be asked is left alone");
        const std::uint8_t instruction = script_.Next();
        Pass(answerTime_, limit);
        if (limit.stop.stop_requested()) {
            return {.failure = Told(Cause::kCancelled)};
        }
        if (instruction == 1) {
            return {.failure = Told(Cause::kBusy), .noneFree = true};
        }
        if (instruction == 2) {
            return {.failure = Told(SomeCause())};
        }
        isOpen_ = true;
        return {};
    }

    IpmiExchange Ask(const IPMICOMMAND& request, Resend resend, const CallLimit& limit) override
    {
        Require(isOpen_ && !hasFailed_, "nothing is asked without a session");
        Require(Clock::now() < limit.until, "nothing is asked when the time is over");
        Require(++asked < 1500, "requests are not asked again and again");
        Require(!wasAskedInVain.contains(BytesOf(request)),
                "what may be asked once is not asked again");
        const std::uint8_t instruction = script_.Next();
        IpmiExchange exchange = limit.stop.stop_requested()
                                    ? Unanswered(End::kSilent, Cause::kCancelled)
                                    : Played(instruction, request);
        Pass(exchange.end == End::kSilent ? 3000ms : answerTime_, limit);
        if (exchange.end == End::kAnswered && Clock::now() >= limit.until) {
            exchange = Unanswered(End::kSilent, Cause::kTimedOut);
        }
        isOpen_ = isOpen_ && exchange.end != End::kLost;
        hasFailed_ = hasFailed_ || exchange.end == End::kFailed;
        if (exchange.end == End::kAnswered && exchange.completionCode == 0) {
            answers[BytesOf(request)] = exchange.data;
        } else if (exchange.end != End::kAnswered && resend == Resend::kAsOneRequest) {
            wasAskedInVain.insert(BytesOf(request));
        }
        return exchange;
    }

    std::optional<Failure> RaisePrivilege(const CallLimit& limit) override
    {
        const std::uint8_t instruction = script_.Next();
        Pass(answerTime_, limit);
        return instruction == 0 ? std::nullopt : std::optional(Told(SomeCause()));
    }

    void Close(const CallLimit& limit) override
    {
        Require(!isOpen_ || (Clock::now() < limit.until && !limit.stop.stop_requested()),
                "there is time for the log-out");
        isOpen_ = false;
    }

    IpmiSessionInfo Info() const override { return {}; }
    IpmiCost Cost() const override { return {.requests = asked}; }

    bool IsOpen() const { return isOpen_; }

    GoodAnswers answers;
    std::set<RequestBytes> wasAskedInVain;  ///< And may not be asked in another session.
    std::uint64_t asked = 0;
    unsigned opened = 0;

private:
    Cause SomeCause() { return static_cast<Cause>(script_.Byte() % 10); }

    static Failure Told(Cause cause) { return {cause, "what the input said", "", {}}; }

    static IpmiExchange Unanswered(End end, Cause cause) { return {end, 0xFF, {}, Told(cause)}; }

    IpmiExchange Played(std::uint8_t instruction, const IPMICOMMAND& request)
    {
        const Simulator::Answer right =
            enclosure_.Serve(request.netFn, request.cmd, request.data).answer;
        IpmiExchange exchange{End::kAnswered, right.completionCode, right.bytes, {}};
        switch (instruction % kKindsOfAnswer) {
            case kRefusal:
                exchange.completionCode = script_.Byte();
                exchange.data.clear();
                return exchange;
            case kAnyAnswer:
                exchange.completionCode = script_.Byte();
                exchange.data = script_.Some(script_.Byte() % 64);
                return exchange;
            case kCutAnswer:
                exchange.data.resize(
                    std::min<std::size_t>(exchange.data.size(), script_.Byte() % 16));
                return exchange;
            case kSilence:
                return Unanswered(End::kSilent, Cause::kTimedOut);
            case kLostSession:
                return Unanswered(End::kLost, SomeCause());
            case kUseless:
                return Unanswered(End::kUseless, Cause::kMalformedAnswer);
            case kFailure:
                return Unanswered(End::kFailed, SomeCause());
            default:
                return exchange;
        }
    }

    static void Pass(std::chrono::milliseconds span, const CallLimit& limit)
    {
        if (!limit.stop.stop_requested()) {
            PlayedClock::MoveTo(std::min(Clock::now() + span, limit.until));
        }
    }

    Script& script_;
    Simulator::FaultyEnclosure enclosure_;
    std::chrono::milliseconds answerTime_;
    bool isOpen_ = false;
    bool hasFailed_ = false;
};

}  // namespace

void RunConversation(Input input)
{
    constexpr auto kDeadline = 30s;
    Script script(input);
    const Task task(script);
    const PlayedClock clock;
    PlayedTransport transport(script, task.scenario, 20ms * script.Byte());
    const Enclosures::Limits limits{.deadline = kDeadline, .stop = script.Stop()};
    const auto begin = Clock::now();
    Converse(task, transport, limits, transport.answers);
    Require(!transport.IsOpen(), "the session is given back");
    Require(Clock::now() <= begin + kDeadline, "a conversation ends in time");
}

// The input is its task, and a byte for how many times 20 ms an answer takes. Then a byte for every
// session that is opened, request that is asked and privilege that is raised, as AskedFor and
// Open() have them, and what belongs to it.
std::vector<Bytes> ConversationSeeds()
{
    std::vector<Bytes> seeds;
    for (std::size_t at = 0; at < Scenarios().size(); ++at) {
        const auto scenario = static_cast<std::uint8_t>(at);
        seeds.push_back({scenario, 0, 0xFF, 0});
        seeds.push_back({scenario, 0x81, 0, 0});
        for (std::uint8_t kind = kRefusal; kind < kKindsOfAnswer; ++kind) {
            // The log-in, three right answers, and the fault at the fourth.
            seeds.push_back({scenario, 0, 0xFF, 1, 0, 0, 0, 0, kind, 0xC0, 3, 1, 2, 3});
        }
    }
    for (const std::uint8_t code : Bytes{0x81, 0xC0, 0xC1, 0xC3, 0xCB, 0xD1, 0xD4}) {
        seeds.push_back({0, 0, 0xFF, 1, 0, kRefusal, code, 0, kRefusal, code, kSilence, kSilence});
    }
    seeds.push_back({0, 0, 0xFF, 1, 1, 1, 1, 0, 0, kLostSession, 1, 2, 0, 2, 0, 0, kStopNow, 0});
    return seeds;
}

}  // namespace Tulvo::Fuzz
