// SPDX-License-Identifier: Apache-2.0
#include <algorithm>
#include <chrono>
#include <map>
#include <set>
#include <stop_token>
#include <string>
#include <string_view>
#include <tuple>
#include <utility>
#include <variant>

#include "fuzz/input_reader.h"
#include "fuzz/played_answers.h"
#include "fuzz/require.h"
#include "fuzz/targets/targets.h"
#include "module/vkt/vkt_enclosure/catalogue.h"
#include "module/vkt/vkt_enclosure/health.h"
#include "module/vkt/vkt_enclosure/impl/plan.h"
#include "module/vkt/vkt_inventory/impl/vkt_inventory_requests.h"

namespace Tulvo::Fuzz {

namespace {

using namespace std::chrono_literals;
using Enclosures::Health;
using Enclosures::Reading;
using End = IpmiExchange::End;
using RequestBytes = std::tuple<std::uint8_t, std::uint8_t, Bytes>;

constexpr std::uint8_t kStop = 0x80;  // in front of any instruction
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

RequestBytes BytesOf(const IPMICOMMAND& request)
{
    return {request.netFn, request.cmd, request.data};
}

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
        Require(isOpen_, "nothing is asked without a session");
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

    std::map<RequestBytes, Bytes> answers;  ///< With completion code 0.
    std::set<RequestBytes> wasAskedInVain;  ///< And may not be asked in another session.
    std::uint64_t asked = 0;
    unsigned opened = 0;

private:
    std::uint8_t Instruction()
    {
        std::uint8_t instruction = reader_.Byte();
        if (instruction == kStop) {
            stop_.request_stop();
            instruction = reader_.Byte();
        }
        return instruction;
    }

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
};

/// What the decoders' table says of an answer, which was written apart from what reads it here.
class AnswerLengths
{
public:
    AnswerLengths(const PlayedTransport& transport, VKTIype vktType)
        : transport_(transport), vktType_(vktType)
    {
    }

    template <class T>
    void RequireFilled(const Reading<T>& reading, const IPMICOMMAND& request,
                       std::string_view routine) const
    {
        if (!reading.HasValue()) {
            return;
        }
        const auto answer = transport_.answers.find(BytesOf(request));
        Require(answer != transport_.answers.end(), "a value has an answer with completion code 0");
        Require(Tests::DecoderOf(routine).verdict({vktType_, 0, answer->second}).filled,
                "a value has an answer of the right length");
    }

private:
    const PlayedTransport& transport_;
    VKTIype vktType_;
};

void RequireAnswers(const Enclosures::Enclosure& record, const PlayedTransport& transport)
{
    const auto* const generation = record.module.generation.Get();
    const VKTIype type = generation != nullptr && *generation == Enclosures::Generation::kVkt2
                             ? VKT_TYPE_VKT2
                             : VKT_TYPE_FIRST_GENERATION;
    const AnswerLengths lengths(transport, type);
    const std::int32_t platform =
        record.module.platformId.HasValue() ? *record.module.platformId.Get() : 0;
    lengths.RequireFilled(record.module.platformId, Requests::VKTStatus(), "ParseVKTStatusImp");
    lengths.RequireFilled(record.identity.firmwareVersion, Requests::VKTStatus(),
                          "ParseGetFirmwareVersion");
    lengths.RequireFilled(record.identity.machineType, Requests::MachineType(), "ParseMachineType");
    lengths.RequireFilled(record.identity.serialNumber, Requests::SerialNumber(),
                          "ParseGetSerialNumber");
    lengths.RequireFilled(record.identity.name, Requests::Name(), "ParseName");
    lengths.RequireFilled(record.consumption, Requests::ChassisPowerConsumption(platform),
                          "ParseChassisPowerConsumption");
    lengths.RequireFilled(record.caps, Requests::ChassisPowerCap(platform), "ParseChassisPowerCap");
    for (const Enclosures::PowerSupply& supply : record.powerSupplies) {
        if (supply.number <= Enclosures::kSuppliesWithBits) {
            lengths.RequireFilled(supply.present, Requests::PSUStatus(), "ParsePSUStatus");
        }
        lengths.RequireFilled(supply.fans, Requests::PSUFanSpeed(supply.number),
                              "ParsePSUFanSpeed");
        lengths.RequireFilled(supply.version, Requests::PSUVersion(type, supply.number),
                              "ParsePSUVersion");
        lengths.RequireFilled(supply.manufacturer, Requests::PSUManufacture(type, supply.number),
                              "ParsePSUManufacture");
        lengths.RequireFilled(supply.position, Requests::PSUPosition(type, supply.number),
                              "ParsePSUPosition");
    }
    for (const Enclosures::Node& node : record.nodes) {
        lengths.RequireFilled(node.state, Requests::NodeStatus(node.number), "ParseNodeStatus");
        lengths.RequireFilled(node.power, Requests::NodePowerConsumption(node.number),
                              "ParseNodePowerConsumption");
    }
}

/// Takes every value as a table or JSON would.
void Render(const Enclosures::Enclosure& record)
{
    for (const Enclosures::Object& object : ObjectsOf(record)) {
        for (const Enclosures::Field& field : Enclosures::Fields()) {
            if (field.object == object.Kind()) {
                const Enclosures::Datum datum = field.get(object);
                const auto* const word = std::get_if<const Enclosures::StateWord*>(&datum);
                Require(word == nullptr || *word != nullptr, "a state has a word");
                Require(!NameOf(object, field).empty(), "an object has a name");
            }
        }
    }
}

void RequireHonestHealth(const Enclosures::Enclosure& record)
{
    const auto missing = NotRead(record);
    const Enclosures::Judgement judgement = Judge(record, {.powerSupplies = 2, .nodes = 4});
    for (const auto& one : missing) {
        Require(!one.failure.message.empty() && !one.object.empty() && !one.field.empty(),
                "what is missing is named, with its reason");
    }
    for (const auto& finding : judgement.findings) {
        Require(finding.severity != Health::kOk, "a finding is bad");
    }
    Require(missing.empty() || judgement.status >= Health::kUnknown,
            "what could not be read is not good");
    Require(judgement.status != Health::kOk || !record.error, "a read that failed is not good");
}

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
        RequireAnswers(record, transport);
        Render(record);
        RequireHonestHealth(record);
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
    seeds.push_back({0, 0, 0xFF, 1, 1, 1, 1, 0, 0, kLostSession, 1, 2, 0, 2, 0, 0, kStop, 0});
    return seeds;
}

}  // namespace Tulvo::Fuzz
