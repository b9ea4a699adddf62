// SPDX-License-Identifier: Apache-2.0
#include "fuzz/targets/read_promises.h"

#include <algorithm>
#include <chrono>
#include <stop_token>
#include <string>
#include <string_view>
#include <variant>

#include "common/text/printable.h"
#include "fuzz/played_clock.h"
#include "fuzz/require.h"
#include "module/vkt/vkt_enclosure/catalogue.h"
#include "module/vkt/vkt_enclosure/health.h"
#include "module/vkt/vkt_enclosure/impl/pace.h"
#include "module/vkt/vkt_enclosure/impl/plan.h"
#include "module/vkt/vkt_inventory/impl/vkt_inventory_requests.h"
#include "tests/decoders/decoders.h"

namespace Tulvo::Fuzz {

namespace {

using Enclosures::Health;
using Enclosures::Reading;

/// What the decoders' table says of an answer, which was written apart from what reads it here.
class AnswerLengths
{
public:
    AnswerLengths(const GoodAnswers& answers, VKTIype vktType)
        : answers_(answers), vktType_(vktType)
    {
    }

    template <class T>
    void RequireFilled(const Reading<T>& reading, const IPMICOMMAND& request,
                       std::string_view routine) const
    {
        if (!reading.HasValue()) {
            return;
        }
        const auto answer = answers_.find(BytesOf(request));
        Require(answer != answers_.end(), "a value has an answer with completion code 0");
        Require(Tests::DecoderOf(routine).verdict({vktType_, 0, answer->second}).filled,
                "a value has an answer of the right length");
    }

private:
    const GoodAnswers& answers_;
    VKTIype vktType_;
};

void RequireAnswers(const Enclosures::Enclosure& record, const GoodAnswers& answers)
{
    const auto* const generation = record.module.generation.Get();
    const VKTIype type = generation != nullptr && *generation == Enclosures::Generation::kVkt2
                             ? VKT_TYPE_VKT2
                             : VKT_TYPE_FIRST_GENERATION;
    const AnswerLengths lengths(answers, type);
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

void RequireHonestRecord(const Enclosures::Enclosure& record, const GoodAnswers& answers)
{
    RequireAnswers(record, answers);
    Render(record);
    RequireHonestHealth(record);
}

void RequireOneLine(const Failure& failure)
{
    constexpr std::size_t kMost = 1000;
    for (const std::string& text : {failure.message, failure.advice}) {
        Require(
            text.size() < kMost && std::all_of(text.begin(), text.end(), Text::IsPrintableAscii),
            "a failure is told in one printable line");
    }
    Require(!failure.message.empty(), "a failure says what came back");
}

/// Waits, when it is told to, without waiting.
class PlayedPace final : public Enclosures::Pace
{
public:
    Time Now() override { return std::chrono::steady_clock::now(); }
    void WaitUntil(Time until, const std::stop_token& stop) override
    {
        if (!stop.stop_requested()) {
            PlayedClock::MoveTo(until);
        }
    }
    Span PartOf(Span span) override { return span; }
};

std::vector<Failure> Read(const Task& task, IpmiTransport& transport,
                          const Enclosures::Limits& limits, const GoodAnswers& answers)
{
    PlayedPace pace;
    const auto record = ReadOver(transport, pace, {task.sections, task.object}, limits);
    RequireHonestRecord(record, answers);
    std::vector<Failure> failures;
    for (const auto& missing : NotRead(record)) {
        failures.push_back(missing.failure);
    }
    if (record.error) {
        failures.push_back(*record.error);
    }
    return failures;
}

std::vector<Failure> Select(const Task& task, IpmiTransport& transport,
                            const Enclosures::Limits& limits, const GoodAnswers& answers)
{
    PlayedPace pace;
    const auto supply = static_cast<std::uint8_t>(task.object & ~kSelects);
    const auto selected = SelectOver(transport, pace, supply, limits);
    if (selected.failure) {
        return {*selected.failure};
    }
    Require(answers.size() >= 2, "what was not answered is not selected");
    return {};
}

}  // namespace

Task::Task(InputReader& reader)
    : scenario(Scenarios()[reader.Byte() % Scenarios().size()]),
      object(reader.Byte()),
      sections(static_cast<Enclosures::Sections>(reader.Byte()))
{
}

std::vector<Failure> Converse(const Task& task, IpmiTransport& transport,
                              const Enclosures::Limits& limits, const GoodAnswers& answers)
{
    const auto converse = task.IsSelection() ? &Select : &Read;
    std::vector<Failure> failures = converse(task, transport, limits, answers);
    std::for_each(failures.begin(), failures.end(), &RequireOneLine);
    return failures;
}

}  // namespace Tulvo::Fuzz
