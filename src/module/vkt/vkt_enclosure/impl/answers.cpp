// SPDX-License-Identifier: Apache-2.0
#include "module/vkt/vkt_enclosure/impl/answers.h"

#include <algorithm>
#include <array>
#include <optional>
#include <string>
#include <string_view>

#include "module/vkt/vkt_enclosure/catalogue.h"
#include "module/vkt/vkt_inventory/impl/platform_table.h"
#include "module/vkt/vkt_inventory/impl/psu_status_bits.h"
#include "module/vkt/vkt_inventory/impl/response_framing.h"
#include "module/vkt/vkt_inventory/impl/response_values.h"

namespace Tulvo::Enclosures {
namespace {

constexpr std::uint16_t kNone = 0;               // caps, fans, a node's consumption
constexpr std::uint16_t kNoReading = 0xFFFF;     // consumption
constexpr std::uint8_t kSizeNotAvailable = 255;  // width and height of a node

template <class State>
struct StateCode
{
    std::uint8_t code;
    State state;
};

constexpr std::array<StateCode<FanState>, 3> kFanCodes{{
    {0, FanState::kNotPresent},
    {1, FanState::kAbnormal},
    {2, FanState::kNormal},
}};
constexpr std::array<StateCode<PowerState>, 4> kPowerCodes{{
    {0x00, PowerState::kOff},
    {0x20, PowerState::kNoPermission},
    {0x40, PowerState::kFault},
    {0x80, PowerState::kOn},
}};
constexpr std::array<StateCode<NodeWidth>, 2> kWidthCodes{{
    {1, NodeWidth::kHalf},
    {2, NodeWidth::kFull},
}};

template <class State, std::size_t size>
State StateOf(const std::array<StateCode<State>, size>& table, std::uint8_t code)
{
    const auto known = std::find_if(table.begin(), table.end(),
                                    [code](const auto& row) { return row.code == code; });
    return known == table.end() ? State::kUnknown : known->state;
}

template <class T>
Reading<T> UnlessAbsent(T value, bool absent)
{
    return absent ? Reading<T>::Absent() : Reading<T>(value);
}

SharedFailure WrongLength(std::size_t length)
{
    return Share({Cause::kMalformedAnswer,
                  "an answer of " + std::to_string(length) + " bytes has the wrong length",
                  "try again; if it stays so, the module's firmware is not understood",
                  {}});
}

/// The reading that `decode` (ByteView -> std::optional<Reading<T>>) makes of an answer; nothing is
/// one of a wrong length.
template <class T, class Decode>
Reading<T> Read(const Outcome& outcome, Decode decode)
{
    switch (outcome.kind) {
        case Outcome::Kind::kAbsent:
            return Reading<T>::Absent();
        case Outcome::Kind::kNotRead:
            return Reading<T>::NotRead(outcome.failure);
        case Outcome::Kind::kAnswer:
            break;
    }
    const std::optional<Reading<T>> reading = decode(ByteView(outcome.data));
    return reading ? *reading : Reading<T>::NotRead(WrongLength(outcome.data.size()));
}

template <class T, class Decode>
Reading<T> ReadFramed(const ResponseFraming& framing, const Answer& answer, Decode decode)
{
    return Read<T>(answer.outcome, [&](ByteView bytes) -> std::optional<Reading<T>> {
        const std::optional<ByteView> framed = Values::Framed(framing, answer.vktType, bytes);
        return framed ? std::optional<Reading<T>>(decode(*framed)) : std::nullopt;
    });
}

/// Of an answer with at least so many bytes.
template <class T, class Decode>
Reading<T> ReadFrom(std::size_t minimumLength, const Answer& answer, Decode decode)
{
    return Read<T>(answer.outcome, [&](ByteView bytes) -> std::optional<Reading<T>> {
        return bytes.Size() < minimumLength ? std::nullopt
                                            : std::optional<Reading<T>>(decode(bytes));
    });
}

std::string WithoutBlanks(std::string_view text)
{
    const std::size_t first = text.find_first_not_of(' ');
    const std::size_t last = text.find_last_not_of(' ');
    return first == text.npos ? "" : std::string(text.substr(first, last - first + 1));
}

Consumption ConsumptionOf(ByteView bytes, bool zeroIsNone)
{
    const auto reading = [zeroIsNone](std::uint16_t value) {
        return UnlessAbsent(value, value == kNoReading || (zeroIsNone && value == kNone));
    };
    const Values::Consumption values = Values::ReadConsumption(bytes);
    return {reading(values.minimum), reading(values.average), reading(values.maximum)};
}

PowerCaps CapsOf(ByteView bytes)
{
    const auto reading = [](std::uint16_t value) { return UnlessAbsent(value, value == kNone); };
    const Values::PowerCaps values = Values::ReadPowerCaps(bytes);
    return {reading(values.lowest), reading(values.highest), reading(values.protective),
            reading(values.user), reading(values.thermal)};
}

Fan FanOf(std::uint16_t speed, std::uint8_t pattern)
{
    return {UnlessAbsent(speed, speed == kNone), UnlessAbsent(pattern, pattern == kNone)};
}

SupplyFans FansOf(const Values::Fans& values)
{
    return {.state = StateOf(kFanCodes, values.status),
            .code = values.status,
            .a = FanOf(values.speedA, values.patternA),
            .b = FanOf(values.speedB, values.patternB)};
}

NodeState NodeStateOf(ByteView bytes)
{
    const Values::NodeState values = Values::ReadNodeState(bytes);
    return {.powerState = StateOf(kPowerCodes, values.powerState),
            .code = values.powerState,
            .width =
                UnlessAbsent(StateOf(kWidthCodes, values.width), values.width == kSizeNotAvailable),
            .widthCode = values.width,
            .height = UnlessAbsent(values.height, values.height == kSizeNotAvailable),
            .permission = values.permission};
}

void SetStatus(PowerSupply& supply, const PSUStatusBytes& bits)
{
    const unsigned bit = supply.number - 1U;
    const bool present = BitOf(bits.present, bit);
    supply.present = present;
    supply.powerGood = UnlessAbsent(BitOf(bits.pwrGood, bit), !present);
    supply.powerOffWarning = UnlessAbsent(BitOf(bits.epow, bit), !present);
    supply.throttling = UnlessAbsent(BitOf(bits.throttle, bit), !present);
}

}  // namespace

SharedFailure TakeModuleStatus(const Outcome& outcome, Module& module)
{
    SharedFailure failure = outcome.failure;
    if (outcome.kind == Outcome::Kind::kAnswer &&
        outcome.data.size() < Values::kModuleStatusMinimumLength) {
        failure = WrongLength(outcome.data.size());
    }
    if (failure != nullptr) {
        const auto number = Reading<std::uint8_t>::NotRead(failure);
        module = {Reading<Generation>::NotRead(failure), number, number, number};
        return failure;
    }
    const Values::ModuleStatus status = Values::ReadModuleStatus(ByteView(outcome.data));
    const bool large = IsLargePlatform(status.moduleType);
    const std::uint8_t platform =
        large ? status.moduleType : static_cast<std::uint8_t>(kPlatformFE);
    constexpr std::uint8_t kSuppliesOfSmallPlatform = 2;
    module.generation = IsVkt2Platform(status.moduleType) ? Generation::kVkt2 : Generation::kFirst;
    module.platformId = platform;
    module.nodeCount = static_cast<std::uint8_t>(NodeCountOf(platform));
    module.powerSupplyCount =
        large ? Values::PsuCountOfLargePlatform(status.generationCode) : kSuppliesOfSmallPlatform;
    return nullptr;
}

VKTIype TypeOf(const Module& module)
{
    const Generation* const generation = module.generation.Get();
    return generation != nullptr && *generation == Generation::kVkt2 ? VKT_TYPE_VKT2
                                                                     : VKT_TYPE_FIRST_GENERATION;
}

void TakeFirmwareVersion(const Subject& subject, const Answer& answer)
{
    subject.enclosure.identity.firmwareVersion =
        ReadFramed<std::string>(kFirmwareVersionFraming, answer, [](ByteView bytes) {
            std::string text;
            Values::ReadFirmwareVersion(bytes, text);
            return text;
        });
}

void TakeMachineType(const Subject& subject, const Answer& answer)
{
    subject.enclosure.identity.machineType =
        ReadFramed<std::string>(kMachineTypeFraming, answer, [](ByteView bytes) {
            const auto text = Values::MachineType(bytes);
            return text ? Reading<std::string>(std::string(*text)) : Reading<std::string>::Absent();
        });
}

void TakeSerialNumber(const Subject& subject, const Answer& answer)
{
    subject.enclosure.identity.serialNumber = ReadFramed<std::string>(
        kSerialNumberFraming, answer,
        [](ByteView bytes) { return WithoutBlanks(Values::PrintableRun(bytes, 0)); });
}

void TakeName(const Subject& subject, const Answer& answer)
{
    subject.enclosure.identity.name = ReadFramed<std::string>(
        kNameFraming, answer,
        [](ByteView bytes) { return std::string(Values::PrintableRun(bytes, 0)); });
}

void TakeConsumption(const Subject& subject, const Answer& answer)
{
    subject.enclosure.consumption =
        ReadFramed<Consumption>(kChassisPowerConsumptionFraming, answer,
                                [](ByteView bytes) { return ConsumptionOf(bytes, false); });
}

void TakeCaps(const Subject& subject, const Answer& answer)
{
    subject.enclosure.caps = ReadFramed<PowerCaps>(kChassisPowerCapFraming, answer, CapsOf);
}

void TakeStatusBits(const Subject& subject, const Answer& answer)
{
    // All readings have the same state; the bits are told apart below.
    const auto bits = ReadFrom<PSUStatusBytes>(
        kPsuStatusMinimumLength, answer,
        [&answer](ByteView bytes) { return ReadPSUStatusBytes(answer.vktType, bytes); });
    for (PowerSupply& supply : subject.enclosure.powerSupplies) {
        if (supply.number > kSuppliesWithBits) {
            supply.powerGood = supply.powerOffWarning = supply.throttling = Reading<bool>::Absent();
        } else if (const PSUStatusBytes* const known = bits.Get()) {
            SetStatus(supply, *known);
        } else {
            const auto state = bits.Map([](const PSUStatusBytes&) { return false; });
            supply.present = supply.powerGood = state;
            supply.powerOffWarning = supply.throttling = state;
        }
    }
}

void TakeFans(const Subject& subject, const Answer& answer)
{
    const Values::FanFormat& format = Values::FanFormatOf(answer.vktType);
    subject.supply->fans =
        ReadFrom<SupplyFans>(format.minimumLength, answer,
                             [&format](ByteView bytes) { return FansOf(format.read(bytes)); });
}

void TakeVersion(const Subject& subject, const Answer& answer)
{
    subject.supply->version =
        ReadFrom<std::string>(Values::kPsuVersionMinimumLength, answer, Values::PsuVersion);
}

void TakeManufacturer(const Subject& subject, const Answer& answer)
{
    const auto decode = [&answer](ByteView bytes) {
        return std::string(Values::PsuManufacturer(answer.vktType, bytes).value_or(""));
    };
    subject.supply->manufacturer =
        ReadFrom<std::string>(Values::kPsuManufacturerMinimumLength, answer, decode);
}

void TakePosition(const Subject& subject, const Answer& answer)
{
    subject.supply->position =
        ReadFrom<std::string>(Values::kPsuPositionMinimumLength, answer, Values::PsuPosition);
}

void TakeNodeState(const Subject& subject, const Answer& answer)
{
    subject.node->state = Read<NodeState>(
        answer.outcome, [&answer](ByteView bytes) -> std::optional<Reading<NodeState>> {
            const auto framed = Values::Framed(kNodeStatusFraming, answer.vktType, bytes);
            if (!framed || framed->Size() != kNodeStatusFraming.minimumLength) {
                return std::nullopt;
            }
            return NodeStateOf(*framed);
        });
}

void TakeNodePower(const Subject& subject, const Answer& answer)
{
    subject.node->power =
        ReadFramed<Consumption>(kNodePowerConsumptionFraming, answer,
                                [](ByteView bytes) { return ConsumptionOf(bytes, true); });
}

}  // namespace Tulvo::Enclosures
