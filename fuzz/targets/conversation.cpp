// SPDX-License-Identifier: Apache-2.0
#include <algorithm>
#include <chrono>
#include <set>
#include <stop_token>
#include <utility>

#include "fuzz/input_reader.h"
#include "fuzz/played_answers.h"
#include "fuzz/require.h"
#include "fuzz/targets/read_promises.h"
#include "fuzz/targets/targets.h"
#include "module/vkt/vkt_enclosure/impl/plan.h"

namespace Tulvo::Fuzz {

namespace {

using namespace std::chrono_literals;
using End = IpmiExchange::End;

constexpr std::uint8_t kSelects = 0x80;

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

/// A clock that stands still but for what takes time in the conversation.
class StillClock final : public Enclosures::Pace
{
public:
    Time Now() override { return now_; }
    void WaitUntil(Time until, const std::stop_token& stop) override
    {
        if (!stop.stop_requested()) {
            now_ = std::max(now_, until);
        }
    }
    Span PartOf(Span span) override { return span; }

private:
    Time now_{1h};
};

/// A transport to a module whose every move the input says, and after its end a good one.
class PlayedTransport final : public IpmiTransport
{
public:
    PlayedTransport(InputReader& reader, StillClock& clock, const Simulator::Scenario& scenario,
                    std::chrono::milliseconds answerTime)
        : reader_(reader),
          clock_(clock),
          enclosure_(scenario.enclosure, scenario.faults),
          answerTime_(answerTime)
    {
    }

    IpmiOpening Open(const CallLimit& limit) override
    {
        isOpen_ = false;
        ++opened;
        Require(opened < 200, "sessions are not opened again and again");
        Require(!hasFailed_, "a module of which nothing more can be asked is left alone");
        const std::uint8_t instruction = Instruction();
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
        Require(clock_.Now() < limit.until, "nothing is asked when the time is over");
        Require(++asked < 1500, "requests are not asked again and again");
        Require(!wasAskedInVain.contains(BytesOf(request)),
                "what may be asked once is not asked again");
        const std::uint8_t instruction = Instruction();
        IpmiExchange exchange = limit.stop.stop_requested()
                                    ? Unanswered(End::kSilent, Cause::kCancelled)
                                    : Played(instruction, request);
        Pass(exchange.end == End::kSilent ? 3000ms : answerTime_, limit);
        if (exchange.end == End::kAnswered && clock_.Now() >= limit.until) {
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
        const std::uint8_t instruction = Instruction();
        Pass(answerTime_, limit);
        return instruction == 0 ? std::nullopt : std::optional(Told(SomeCause()));
    }

    void Close(const CallLimit& limit) override
    {
        Require(!isOpen_ || (clock_.Now() < limit.until && !limit.stop.stop_requested()),
                "there is time for the log-out");
        isOpen_ = false;
    }

    IpmiSessionInfo Info() const override { return {}; }
    IpmiCost Cost() const override { return {.requests = asked}; }

    std::stop_token Stop() const { return stop_.get_token(); }
    bool IsOpen() const { return isOpen_; }

    GoodAnswers answers;
    std::set<RequestBytes> wasAskedInVain;  ///< And may not be asked in another session.
    std::uint64_t asked = 0;
    unsigned opened = 0;

private:
    std::uint8_t Instruction() { return NextInstruction(reader_, stop_); }

    Cause SomeCause() { return static_cast<Cause>(reader_.Byte() % 10); }

    static Failure Told(Cause cause) { return {cause, "what the input said", "", {}}; }

    static IpmiExchange Unanswered(End end, Cause cause) { return {end, 0xFF, {}, Told(cause)}; }

    IpmiExchange Played(std::uint8_t instruction, const IPMICOMMAND& request)
    {
        const Simulator::Answer right =
            enclosure_.Serve(request.netFn, request.cmd, request.data).answer;
        IpmiExchange exchange{End::kAnswered, right.completionCode, right.bytes, {}};
        switch (instruction % kKindsOfAnswer) {
            case kRefusal:
                exchange.completionCode = reader_.Byte();
                exchange.data.clear();
                return exchange;
            case kAnyAnswer:
                exchange.completionCode = reader_.Byte();
                exchange.data = reader_.Some(reader_.Byte() % 64);
                return exchange;
            case kCutAnswer:
                exchange.data.resize(
                    std::min<std::size_t>(exchange.data.size(), reader_.Byte() % 16));
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

    void Pass(std::chrono::milliseconds span, const CallLimit& limit)
    {
        clock_.WaitUntil(std::min(clock_.Now() + span, limit.until), limit.stop);
    }

    InputReader& reader_;
    StillClock& clock_;
    Simulator::FaultyEnclosure enclosure_;
    std::chrono::milliseconds answerTime_;
    std::stop_source stop_;
    bool isOpen_ = false;
    bool hasFailed_ = false;
};

}  // namespace

void RunConversation(Input input)
{
    constexpr auto kDeadline = 30s;
    InputReader reader(input);
    const Simulator::Scenario& scenario = Scenarios()[reader.Byte() % Scenarios().size()];
    const std::uint8_t mode = reader.Byte();
    const auto sections = static_cast<Enclosures::Sections>(reader.Byte());
    StillClock clock;
    PlayedTransport transport(reader, clock, scenario, 20ms * reader.Byte());
    const Enclosures::Limits limits{.deadline = kDeadline, .stop = transport.Stop()};
    const auto begin = clock.Now();
    if ((mode & kSelects) != 0) {
        const auto selection =
            SelectOver(transport, clock, static_cast<std::uint8_t>(mode & ~kSelects), limits);
        Require(selection.failure || transport.asked >= 2, "what was not asked is not selected");
    } else {
        const auto record = ReadOver(transport, clock, {sections, mode}, limits);
        RequireHonestRecord(record, transport.answers);
    }
    Require(!transport.IsOpen(), "the session is given back");
    Require(clock.Now() <= begin + kDeadline, "a read ends in time");
}

// The input is a byte for the scenario; one for the only node that is read, 0 for all, or 0x80 and
// the supply that is selected; the sections; how many times 20 ms an answer takes. Then a byte for
// every session that is opened, request that is asked and privilege that is raised, as AskedFor and
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
