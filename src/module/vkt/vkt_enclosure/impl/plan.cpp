// SPDX-License-Identifier: Apache-2.0
#include "module/vkt/vkt_enclosure/impl/plan.h"

#include <chrono>
#include <iterator>
#include <string>
#include <type_traits>

#include "module/vkt/vkt_enclosure/catalogue.h"
#include "module/vkt/vkt_enclosure/impl/answers.h"
#include "module/vkt/vkt_enclosure/impl/conversation.h"
#include "module/vkt/vkt_inventory/impl/vkt_inventory_requests.h"

namespace Tulvo::Enclosures {
namespace {

/// What a request depends on.
struct Asked
{
    VKTIype vktType;
    std::int32_t platformId;
    std::uint8_t number;  ///< Of the supply or node.
};

struct Step
{
    Sections section;
    ObjectKind per;
    RequestClass requestClass;
    IPMICOMMAND (*request)(const Asked& asked);
    void (*take)(const Subject& subject, const Answer& answer);
};

constexpr auto kOnce = ObjectKind::kEnclosure;
constexpr auto kPerSupply = ObjectKind::kPowerSupply;
constexpr auto kPerNode = ObjectKind::kNode;
constexpr auto kPlain = RequestClass::kAny;
constexpr auto kRegisterRead = RequestClass::kRegister;

/// The module's status is asked before all these. In this order, so that a deadline that comes in
/// the middle costs the least: what tells about health comes first.
constexpr Step kSteps[] = {
    {kSupplyStatus, kOnce, kPlain, [](const Asked&) { return Requests::PSUStatus(); },
     TakeStatusBits},
    {kSupplyFans, kPerSupply, kPlain,
     [](const Asked& a) { return Requests::PSUFanSpeed(a.number); }, TakeFans},
    {kNodeStates, kPerNode, kPlain, [](const Asked& a) { return Requests::NodeStatus(a.number); },
     TakeNodeState},
    {kNodePower, kPerNode, kPlain,
     [](const Asked& a) { return Requests::NodePowerConsumption(a.number); }, TakeNodePower},
    {kSupplyFirmware, kPerSupply, kRegisterRead,
     [](const Asked& a) { return Requests::PSUVersion(a.vktType, a.number); }, TakeVersion},
    {kSupplyFirmware, kPerSupply, kRegisterRead,
     [](const Asked& a) { return Requests::PSUManufacture(a.vktType, a.number); },
     TakeManufacturer},
    {kSupplyFirmware, kPerSupply, kRegisterRead,
     [](const Asked& a) { return Requests::PSUPosition(a.vktType, a.number); }, TakePosition},
    {kConsumption, kOnce, kPlain,
     [](const Asked& a) { return Requests::ChassisPowerConsumption(a.platformId); },
     TakeConsumption},
    {kCaps, kOnce, kPlain, [](const Asked& a) { return Requests::ChassisPowerCap(a.platformId); },
     TakeCaps},
    {kIdentity, kOnce, kPlain, [](const Asked&) { return Requests::MachineType(); },
     TakeMachineType},
    {kIdentity, kOnce, kPlain, [](const Asked&) { return Requests::SerialNumber(); },
     TakeSerialNumber},
    {kIdentity, kOnce, kPlain, [](const Asked&) { return Requests::Name(); }, TakeName},
};

/// What hangs on a supply that is not there is absent.
void EmptyBay(PowerSupply& supply)
{
    const auto empty = [](auto& reading) {
        if (reading.WasAsked()) {
            reading = std::remove_reference_t<decltype(reading)>::Absent();
        }
    };
    empty(supply.powerGood);
    empty(supply.powerOffWarning);
    empty(supply.throttling);
    empty(supply.fans);
    empty(supply.version);
    empty(supply.manufacturer);
    empty(supply.position);
}

template <class T>
bool IsRefused(const Reading<T>& reading)
{
    const Failure* const failure = reading.WhyNotRead();
    return reading.IsAbsent() || (failure != nullptr && failure->cause == Cause::kCompletionCode);
}

/// Whether a supply without status bits is there, by what it told of itself.
Reading<bool> PresenceBySelf(const PowerSupply& supply)
{
    const SupplyFans* const fans = supply.fans.Get();
    const bool saysNo = fans != nullptr && fans->state == FanState::kNotPresent;
    if (saysNo || (IsRefused(supply.version) && IsRefused(supply.manufacturer) &&
                   IsRefused(supply.position))) {
        return false;
    }
    if (fans != nullptr || supply.version.HasValue() || supply.manufacturer.HasValue() ||
        supply.position.HasValue()) {
        return true;
    }
    return supply.fans.Map([](const SupplyFans&) { return true; });
}

class Plan
{
public:
    Plan(Conversation& conversation, const Scope& scope, Enclosure& record)
        : conversation_(conversation), scope_(scope), record_(record)
    {
    }

    void Read()
    {
        conversation_.Add({.command = Requests::VKTStatus(),
                           .requestClass = RequestClass::kFirst,
                           .done = [this](const Outcome& outcome) { TakeStatus(outcome); }});
        const SharedFailure ended = conversation_.Run();
        const SharedFailure& error = ended != nullptr ? ended : noStatus_;
        if (error != nullptr) {
            record_.error = *error;
        }
        SettleSuppliesWithoutBits();
    }

private:
    static constexpr unsigned RankOf(const Step& step)
    {
        return static_cast<unsigned>(&step - std::begin(kSteps));
    }

    bool IsWanted(Sections section) const { return (scope_.sections & section) != 0; }

    void TakeStatus(const Outcome& outcome)
    {
        noStatus_ = TakeModuleStatus(outcome, record_.module);
        vktType_ = TypeOf(record_.module);
        if (noStatus_ != nullptr) {
            return AskNothing({Outcome::Kind::kNotRead, {}, noStatus_});
        }
        TakeFirmware(outcome);
        ListSupplies(*record_.module.powerSupplyCount.Get());
        ListNodes(*record_.module.nodeCount.Get());
        AddSteps(kOnce);
        AddSteps(kPerNode);
        if (!IsWanted(kSupplyStatus)) {
            AddSteps(kPerSupply);
        }
    }

    /// The same answer holds the firmware version.
    void TakeFirmware(const Outcome& outcome)
    {
        if (IsWanted(kIdentity)) {
            TakeFirmwareVersion({record_, nullptr, nullptr}, {outcome, vktType_});
        }
    }

    /// Without the status nothing can be asked of the enclosure; all of it is not read.
    void AskNothing(const Outcome& outcome)
    {
        TakeFirmware(outcome);
        for (const Step& step : kSteps) {
            if (step.per == kOnce && IsWanted(step.section)) {
                step.take({record_, nullptr, nullptr}, {outcome, vktType_});
            }
        }
    }

    void ListSupplies(std::uint8_t count)
    {
        if (IsWanted(kSupplies)) {
            record_.powerSupplies.resize(count);
        }
        for (std::uint8_t number = 0; PowerSupply & supply : record_.powerSupplies) {
            supply.number = ++number;
        }
    }

    void ListNodes(std::uint8_t count)
    {
        for (unsigned number = 1; IsWanted(kNodes) && number <= count; ++number) {
            if (scope_.node == 0 || scope_.node == number) {
                record_.nodes.emplace_back().number = static_cast<std::uint8_t>(number);
            }
        }
    }

    void AddSteps(ObjectKind per)
    {
        for (const Step& step : kSteps) {
            if (step.per == per && IsWanted(step.section)) {
                AddStep(step);
            }
        }
    }

    void AddStep(const Step& step)
    {
        switch (step.per) {
            case kOnce:
                return AddRequest(step, {record_, nullptr, nullptr}, 0);
            case kPerSupply:
                for (PowerSupply& supply : record_.powerSupplies) {
                    AddUnlessAbsent(step, supply);
                }
                return;
            case kPerNode:
                for (Node& node : record_.nodes) {
                    AddRequest(step, {record_, nullptr, &node}, node.number);
                }
                return;
        }
    }

    void AddUnlessAbsent(const Step& step, PowerSupply& supply)
    {
        const Subject subject{record_, &supply, nullptr};
        if (supply.present.Is(false)) {
            step.take(subject, {{Outcome::Kind::kAbsent, {}, {}}, vktType_});
        } else {
            AddRequest(step, subject, supply.number);
        }
    }

    void AddRequest(const Step& step, const Subject& subject, std::uint8_t number)
    {
        conversation_.Add(
            {.command = step.request({vktType_, *record_.module.platformId.Get(), number}),
             .requestClass = step.requestClass,
             .rank = RankOf(step),
             .done = [this, &step, subject](const Outcome& outcome) {
                 step.take(subject, {outcome, vktType_});
                 if (step.section == kSupplyStatus) {  // now it is known which are there
                     AddSteps(kPerSupply);
                 }
             }});
    }

    void SettleSuppliesWithoutBits()
    {
        for (PowerSupply& supply : record_.powerSupplies) {
            if (supply.number <= kSuppliesWithBits) {
                continue;
            }
            const Reading<bool> present = PresenceBySelf(supply);
            if (IsWanted(kSupplyStatus)) {
                supply.present = present.WasAsked() ? present : Reading<bool>::Absent();
            }
            if (present.Is(false)) {
                EmptyBay(supply);
            }
        }
    }

    Conversation& conversation_;
    const Scope& scope_;
    Enclosure& record_;
    VKTIype vktType_ = VKT_TYPE_UNKNOWN;
    SharedFailure noStatus_;
};

Source SourceOf(const IpmiTransport& transport)
{
    const IpmiSessionInfo info = transport.Info();
    Source source;
    source.port = info.port;
    source.cipherSuite = info.cipherSuite;
    if (info.privilege) {
        source.privilege = static_cast<Privilege>(*info.privilege);
    }
    return source;
}

Cost CostOf(const IpmiTransport& transport, Pace::Time begin, Pace::Time end)
{
    const IpmiCost cost = transport.Cost();
    return {.requests = cost.requests,
            .datagramsSent = cost.datagramsSent,
            .datagramsReceived = cost.datagramsReceived,
            .copies = cost.copies,
            .logIns = cost.logIns,
            .logInsRefused = cost.logInsRefused,
            .tlsHandshakes = cost.tlsHandshakes,
            .elapsed = std::chrono::duration_cast<std::chrono::milliseconds>(end - begin)};
}

SharedFailure NoSuchSupply(std::uint8_t number, std::uint8_t count)
{
    return Share({Cause::kLocal,
                  "there is no PSU" + std::to_string(number) + ": the enclosure has " +
                      std::to_string(count) + " slots for power supplies",
                  "",
                  {}});
}

/// The module confirms with exactly one byte.
SharedFailure Confirmed(const Outcome& outcome)
{
    if (outcome.kind != Outcome::Kind::kAnswer || outcome.data.size() == 1) {
        return outcome.failure;
    }
    return Share({Cause::kMalformedAnswer,
                  "the module confirmed with " + std::to_string(outcome.data.size()) +
                      " bytes in place of one",
                  "",
                  {}});
}

}  // namespace

Enclosure ReadOver(IpmiTransport& transport, Pace& pace, const Scope& scope, const Limits& limits)
{
    Enclosure record;
    record.time = std::chrono::system_clock::now();
    record.asked = scope.sections;
    const Pace::Time begin = pace.Now();
    Conversation conversation(transport, pace, limits);
    Plan(conversation, scope, record).Read();
    record.source = SourceOf(transport);
    record.cost = CostOf(transport, begin, pace.Now());
    return record;
}

Selection SelectOver(IpmiTransport& transport, Pace& pace, std::uint8_t number,
                     const Limits& limits)
{
    const Pace::Time begin = pace.Now();
    Conversation conversation(transport, pace, limits);
    Module module;
    SharedFailure failure;
    const auto select = [&](const Outcome& outcome) {
        failure = TakeModuleStatus(outcome, module);
        const std::uint8_t* const count = module.powerSupplyCount.Get();
        if (count == nullptr) {
            return;
        }
        if (number == 0 || number > *count) {
            failure = NoSuchSupply(number, *count);
            return;
        }
        conversation.Add(
            {.command = Requests::SelectPSU(TypeOf(module), *module.platformId.Get(), number),
             .resend = Resend::kAsOneRequest,
             .done = [&failure](const Outcome& selected) { failure = Confirmed(selected); }});
    };
    conversation.Add(
        {.command = Requests::VKTStatus(), .requestClass = RequestClass::kFirst, .done = select});
    conversation.Run();
    Selection selection;
    if (failure != nullptr) {
        selection.failure = *failure;
    }
    selection.powerSupplyCount = module.powerSupplyCount;
    selection.source = SourceOf(transport);
    selection.cost = CostOf(transport, begin, pace.Now());
    return selection;
}

}  // namespace Tulvo::Enclosures
