// SPDX-License-Identifier: Apache-2.0
#include "module/vkt/vkt_enclosure/catalogue.h"

#include <algorithm>
#include <array>
#include <concepts>
#include <iterator>
#include <utility>

namespace Tulvo::Enclosures {
namespace {

template <std::size_t size, class State>
const StateWord* WordOf(const std::array<StateWord, size>& words, State state)
{
    const auto known = std::find_if(words.begin(), words.end(), [state](const StateWord& word) {
        return word.state == static_cast<std::uint8_t>(state);
    });
    return known == words.end() ? &words.back() : &*known;
}

constexpr std::uint8_t Code(auto state)
{
    return static_cast<std::uint8_t>(state);
}

constexpr std::array<StateWord, 2> kGenerations{{
    {Code(Generation::kFirst), "first", "first"},
    {Code(Generation::kVkt2), "vkt2", "VKT2"},
}};
constexpr std::array<StateWord, 4> kFanStates{{
    {Code(FanState::kNotPresent), "notPresent", "Not Present"},
    {Code(FanState::kAbnormal), "abnormal", "Abnormal"},
    {Code(FanState::kNormal), "normal", "Normal"},
    {Code(FanState::kUnknown), "unknown", "Unknown"},
}};
constexpr std::array<StateWord, 5> kPowerStates{{
    {Code(PowerState::kOff), "off", "Power OFF"},
    {Code(PowerState::kNoPermission), "noPermission", "No Permission"},
    {Code(PowerState::kFault), "fault", "Power Fault"},
    {Code(PowerState::kOn), "on", "Power ON"},
    {Code(PowerState::kUnknown), "unknown", "Unknown"},
}};
constexpr std::array<StateWord, 3> kWidths{{
    {Code(NodeWidth::kHalf), "half", "Half"},
    {Code(NodeWidth::kFull), "full", "Full"},
    {Code(NodeWidth::kUnknown), "unknown", "Unknown"},
}};

constexpr std::array<StateWord, 2> kYesNo{{{1, "", "yes"}, {0, "", "no"}}};
constexpr std::array<StateWord, 2> kPresence{{{1, "", "present"}, {0, "", "not present"}}};
constexpr std::array<StateWord, 2> kGoodPower{{{1, "", "power good"}, {0, "", "not power good"}}};
constexpr std::array<StateWord, 2> kTrigger{{{1, "", "trigger"}, {0, "", "not trigger"}}};

const std::array<StateWord, 2>& WordsOf(Generation)
{
    return kGenerations;
}
const std::array<StateWord, 4>& WordsOf(FanState)
{
    return kFanStates;
}
const std::array<StateWord, 5>& WordsOf(PowerState)
{
    return kPowerStates;
}
const std::array<StateWord, 3>& WordsOf(NodeWidth)
{
    return kWidths;
}

Datum Value(bool flag)
{
    return flag;
}
Datum Value(std::unsigned_integral auto number)
{
    return std::int64_t{number};
}
Datum Value(std::string text)
{
    return text;
}
template <class State>
requires std::is_enum_v<State> Datum Value(State state)
{
    return WordOf(WordsOf(state), state);
}
template <class T>
Datum Value(const Reading<T>& reading)
{
    if (const T* const value = reading.Get()) {
        return Value(*value);
    }
    if (const Failure* const failure = reading.WhyNotRead()) {
        return failure;
    }
    return reading.IsAbsent() ? Datum(Absent()) : Datum(NotAsked());
}

// Getters, for the table below.

template <auto part, auto member>
Datum OfEnclosure(const Object& object)
{
    return Value(object.enclosure.*part.*member);
}

template <auto reading, auto member>
Datum InEnclosure(const Object& object)
{
    return Value((object.enclosure.*reading).Map(member));
}

template <auto member>
Datum OfSupply(const Object& object)
{
    return Value(object.powerSupply->*member);
}

template <auto member>
Datum OfFans(const Object& object)
{
    return Value(object.powerSupply->fans.Map(member));
}

template <auto fan, auto member>
Datum OfFan(const Object& object)
{
    return Value(object.powerSupply->fans.Map(fan).Map(member));
}

template <auto reading, auto member>
Datum OfNode(const Object& object)
{
    return Value((object.node->*reading).Map(member));
}

Datum Interface(const Object& object)
{
    return std::string(object.enclosure.source.overHttps ? "https" : "lanplus");
}

Datum Address(const Object& object)
{
    return object.enclosure.source.host;
}

Datum Port(const Object& object)
{
    return Value(object.enclosure.source.port);
}

Datum CipherSuite(const Object& object)
{
    const auto suite = object.enclosure.source.cipherSuite;
    return suite ? Value(*suite) : Datum(Absent());
}

/// Tables have always said so; a default no longer stands for what was not told.
Datum DefaultsAssumed(const Object& object)
{
    return Value(object.enclosure.module.platformId.Map([](std::uint8_t) { return false; }));
}

Datum SupplyNumber(const Object& object)
{
    return Value(object.powerSupply->number);
}

Datum NodeNumber(const Object& object)
{
    return Value(object.node->number);
}

Datum SupplyHasBits(const Object& object)
{
    return object.powerSupply->number <= kSuppliesWithBits;
}

Datum SupplyName(const Object& object)
{
    const PowerSupply& supply = *object.powerSupply;
    const auto name = [&supply](const std::string&) {
        return "Power Supply " + std::to_string(supply.number);
    };
    for (const auto* const text : {&supply.version, &supply.manufacturer, &supply.position}) {
        if (text->HasValue()) {
            return Value(text->Map(name));
        }
    }
    return Value(supply.version.Map(name));
}

Datum ManufacturerAndPosition(const Object& object)
{
    const PowerSupply& supply = *object.powerSupply;
    const std::string* const position = supply.position.Get();
    if (position == nullptr && supply.manufacturer.HasValue()) {
        return Value(supply.position);
    }
    return Value(supply.manufacturer.Map(
        [position](const std::string& manufacturer) { return "PSU" + manufacturer + *position; }));
}

constexpr auto kEnclosureKind = ObjectKind::kEnclosure;
constexpr auto kSupplyKind = ObjectKind::kPowerSupply;
constexpr auto kNodeKind = ObjectKind::kNode;

// clang-format off
constexpr std::array kFields{
    Field{kEnclosureKind, kModuleOnly, "module.interface", "interface", "", "Interface", Kind::kText, kInJson, MetricForm::kNone,
     "How the module was asked: lanplus or https.", Interface},
    Field{kEnclosureKind, kModuleOnly, "module.address", "address", "", "Address", Kind::kText, kInJson, MetricForm::kNone,
     "The module's host, as it was named.", Address},
    Field{kEnclosureKind, kModuleOnly, "module.port", "port", "", "Port", Kind::kNumber, kInJson, MetricForm::kNone,
     "The module's port.", Port},
    Field{kEnclosureKind, kModuleOnly, "module.cipherSuite", "cipher_suite", "", "Cipher suite", Kind::kNumber, kInJson, MetricForm::kNone,
     "The cipher suite that was agreed on, over lanplus.", CipherSuite},
    Field{kEnclosureKind, kModuleOnly, "module.generation", "generation", "", "Generation", Kind::kState, kInData, MetricForm::kInfo,
     "The module's generation.", OfEnclosure<&Enclosure::module, &Module::generation>, kGenerations},
    Field{kEnclosureKind, kModuleOnly, "module.platformId", "platform_id", "", "Platform", Kind::kIdentifier, kEverywhere, MetricForm::kNone,
     "The module's platform.", OfEnclosure<&Enclosure::module, &Module::platformId>},
    Field{kEnclosureKind, kModuleOnly, "module.powerSupplyCount", "power_supply_count", "", "Power supplies", Kind::kNumber, kEverywhere, MetricForm::kNone,
     "Slots for power supplies.", OfEnclosure<&Enclosure::module, &Module::powerSupplyCount>},
    Field{kEnclosureKind, kModuleOnly, "module.nodeCount", "node_count", "", "Nodes", Kind::kNumber, kEverywhere, MetricForm::kNone,
     "Bays for nodes.", OfEnclosure<&Enclosure::module, &Module::nodeCount>},
    Field{kEnclosureKind, kModuleOnly, "", "", "platformId", "Defaults assumed", Kind::kFlag, kInTable, MetricForm::kNone,
     "Whether platform and counts are guesses: never.", DefaultsAssumed, kYesNo},

    Field{kEnclosureKind, kIdentity, "identity.machineType", "machine_type", "", "Machine type", Kind::kText, kEverywhere, MetricForm::kInfo,
     "The enclosure's machine type, four letters or digits.", OfEnclosure<&Enclosure::identity, &Identity::machineType>},
    Field{kEnclosureKind, kIdentity, "identity.serialNumber", "serial_number", "", "Serial number", Kind::kText, kEverywhere, MetricForm::kInfo,
     "The enclosure's serial number.", OfEnclosure<&Enclosure::identity, &Identity::serialNumber>},
    Field{kEnclosureKind, kIdentity, "identity.firmwareVersion", "firmware_version", "", "Firmware version", Kind::kText, kEverywhere, MetricForm::kInfo,
     "The module's firmware: build name and version.", OfEnclosure<&Enclosure::identity, &Identity::firmwareVersion>},
    Field{kEnclosureKind, kIdentity, "identity.name", "name", "", "Name", Kind::kText, kEverywhere, MetricForm::kInfo,
     "The enclosure's name.", OfEnclosure<&Enclosure::identity, &Identity::name>},

    Field{kEnclosureKind, kConsumption, "power.consumption.minimum", "power_minimum", "consumption", "Minimum", Kind::kNumber, kEverywhere, MetricForm::kGauge,
     "Lowest power consumption of the chassis, in the module's own unit.", InEnclosure<&Enclosure::consumption, &Consumption::minimum>},
    Field{kEnclosureKind, kConsumption, "power.consumption.average", "power_average", "consumption", "Average", Kind::kNumber, kEverywhere, MetricForm::kGauge,
     "Average power consumption of the chassis, in the module's own unit.", InEnclosure<&Enclosure::consumption, &Consumption::average>},
    Field{kEnclosureKind, kConsumption, "power.consumption.maximum", "power_maximum", "consumption", "Maximum", Kind::kNumber, kEverywhere, MetricForm::kGauge,
     "Highest power consumption of the chassis, in the module's own unit.", InEnclosure<&Enclosure::consumption, &Consumption::maximum>},

    Field{kEnclosureKind, kCaps, "power.caps.lowest", "power_cap_lowest", "caps", "Lowest cap", Kind::kNumber, kEverywhere, MetricForm::kGauge,
     "Lowest power cap that can be set.", InEnclosure<&Enclosure::caps, &PowerCaps::lowest>},
    Field{kEnclosureKind, kCaps, "power.caps.highest", "power_cap_highest", "caps", "Highest cap", Kind::kNumber, kEverywhere, MetricForm::kGauge,
     "Highest power cap that can be set.", InEnclosure<&Enclosure::caps, &PowerCaps::highest>},
    Field{kEnclosureKind, kCaps, "power.caps.protective", "power_cap_protective", "caps", "Protective cap", Kind::kNumber, kEverywhere, MetricForm::kGauge,
     "Power cap that protects the chassis.", InEnclosure<&Enclosure::caps, &PowerCaps::protective>},
    Field{kEnclosureKind, kCaps, "power.caps.user", "power_cap_user", "caps", "User cap", Kind::kNumber, kEverywhere, MetricForm::kGauge,
     "Power cap that the user has set.", InEnclosure<&Enclosure::caps, &PowerCaps::user>},
    Field{kEnclosureKind, kCaps, "power.caps.thermal", "power_cap_thermal", "caps", "Thermal cap", Kind::kNumber, kEverywhere, MetricForm::kGauge,
     "Power cap for the temperature's sake.", InEnclosure<&Enclosure::caps, &PowerCaps::thermal>},

    Field{kSupplyKind, kModuleOnly, "number", "psu", "", "PSU", Kind::kNumber, kInData, MetricForm::kNone,
     "The supply's slot, from 1.", SupplyNumber},
    Field{kSupplyKind, kSupplyStatus, "present", "psu_present", "", "Present", Kind::kFlag, kEverywhere, MetricForm::kGauge,
     "Whether a supply is in the slot.", OfSupply<&PowerSupply::present>, kPresence},
    Field{kSupplyKind, kSupplyStatus, "powerGood", "psu_power_good", "", "Power", Kind::kFlag, kEverywhere, MetricForm::kGauge,
     "Whether the supply has good power.", OfSupply<&PowerSupply::powerGood>, kGoodPower},
    Field{kSupplyKind, kSupplyStatus, "powerOffWarning", "psu_power_off_warning", "", "Power-off warning", Kind::kFlag, kEverywhere, MetricForm::kGauge,
     "Whether the supply warns early that its power goes off.", OfSupply<&PowerSupply::powerOffWarning>, kTrigger},
    Field{kSupplyKind, kSupplyStatus, "throttling", "psu_throttling", "", "Throttling", Kind::kFlag, kEverywhere, MetricForm::kGauge,
     "Whether the supply makes the nodes throttle.", OfSupply<&PowerSupply::throttling>, kTrigger},
    Field{kSupplyKind, kSupplyStatus, "", "", "present", "Reported", Kind::kFlag, kInTable, MetricForm::kNone,
     "Whether the module has status bits for the supply.", SupplyHasBits, kYesNo},

    Field{kSupplyKind, kSupplyFans, "fans.state", "psu_fan_state", "fans", "Fans", Kind::kState, kEverywhere, MetricForm::kStates,
     "State of the supply's fans.", OfFans<&SupplyFans::state>, kFanStates},
    Field{kSupplyKind, kSupplyFans, "fans.code", "psu_fan_code", "fans", "Fan code", Kind::kNumber, kInJson, MetricForm::kNone,
     "State of the supply's fans, as the module's code.", OfFans<&SupplyFans::code>},
    Field{kSupplyKind, kSupplyFans, "fans.a.speed", "psu_fan_speed_a", "fans", "Speed A", Kind::kNumber, kEverywhere, MetricForm::kGauge,
     "Speed of a fan of the supply, in the module's own unit.", OfFan<&SupplyFans::a, &Fan::speed>},
    Field{kSupplyKind, kSupplyFans, "fans.a.pattern", "psu_fan_pattern_a", "fans", "Pattern A", Kind::kNumber, kEverywhere, MetricForm::kNone,
     "Speed pattern that the fan follows.", OfFan<&SupplyFans::a, &Fan::pattern>},
    Field{kSupplyKind, kSupplyFans, "fans.b.speed", "psu_fan_speed_b", "fans", "Speed B", Kind::kNumber, kEverywhere, MetricForm::kGauge,
     "Speed of a fan of the supply, in the module's own unit.", OfFan<&SupplyFans::b, &Fan::speed>},
    Field{kSupplyKind, kSupplyFans, "fans.b.pattern", "psu_fan_pattern_b", "fans", "Pattern B", Kind::kNumber, kEverywhere, MetricForm::kNone,
     "Speed pattern that the fan follows.", OfFan<&SupplyFans::b, &Fan::pattern>},

    Field{kSupplyKind, kSupplyFirmware, "", "", "version", "Slot", Kind::kNumber, kInTable, MetricForm::kNone,
     "The supply's slot, from 1.", SupplyNumber},
    Field{kSupplyKind, kSupplyFirmware, "firmware.name", "psu_name", "version", "Name", Kind::kText, kEverywhere, MetricForm::kNone,
     "What the supply is called.", SupplyName},
    Field{kSupplyKind, kSupplyFirmware, "firmware.version", "psu_version", "", "Version", Kind::kText, kEverywhere, MetricForm::kInfo,
     "The supply's firmware version.", OfSupply<&PowerSupply::version>},
    Field{kSupplyKind, kSupplyFirmware, "firmware.manufacturer", "psu_manufacturer", "", "Manufacturer", Kind::kText, kInData, MetricForm::kInfo,
     "The supply's manufacturer, four characters.", OfSupply<&PowerSupply::manufacturer>},
    Field{kSupplyKind, kSupplyFirmware, "", "", "manufacturer", "Manufacturer", Kind::kText, kInTable, MetricForm::kNone,
     "The supply's manufacturer and position.", ManufacturerAndPosition},
    Field{kSupplyKind, kSupplyFirmware, "firmware.position", "psu_position", "", "Position", Kind::kText, kInData, MetricForm::kNone,
     "The supply's position, in hexadecimal.", OfSupply<&PowerSupply::position>},

    Field{kNodeKind, kModuleOnly, "number", "node", "", "Node", Kind::kNumber, kInData, MetricForm::kNone,
     "The node's bay, from 1.", NodeNumber},
    Field{kNodeKind, kNodeStates, "powerState", "node_power_state", "powerState", "Power state", Kind::kState, kEverywhere, MetricForm::kStates,
     "State of the node's power.", OfNode<&Node::state, &NodeState::powerState>, kPowerStates},
    Field{kNodeKind, kNodeStates, "code", "node_power_code", "powerState", "Power code", Kind::kNumber, kInJson, MetricForm::kNone,
     "State of the node's power, as the module's code.", OfNode<&Node::state, &NodeState::code>},
    Field{kNodeKind, kNodeStates, "width", "node_width", "powerState", "Width", Kind::kState, kEverywhere, MetricForm::kInfo,
     "The node's width.", OfNode<&Node::state, &NodeState::width>, kWidths},
    Field{kNodeKind, kNodeStates, "widthCode", "node_width_code", "powerState", "Width code", Kind::kNumber, kInJson, MetricForm::kNone,
     "The node's width, as the module's code.", OfNode<&Node::state, &NodeState::widthCode>},
    Field{kNodeKind, kNodeStates, "height", "node_height", "powerState", "Height", Kind::kNumber, kEverywhere, MetricForm::kInfo,
     "The node's height, in bays.", OfNode<&Node::state, &NodeState::height>},
    Field{kNodeKind, kNodeStates, "permission", "node_permission", "powerState", "Permission", Kind::kNumber, kEverywhere, MetricForm::kNone,
     "The node's permission state, as the module's code.", OfNode<&Node::state, &NodeState::permission>},
    Field{kNodeKind, kNodePower, "power.minimum", "node_power_minimum", "power", "Minimum", Kind::kNumber, kEverywhere, MetricForm::kGauge,
     "Lowest power consumption of the node, in the module's own unit.", OfNode<&Node::power, &Consumption::minimum>},
    Field{kNodeKind, kNodePower, "power.average", "node_power_average", "power", "Average", Kind::kNumber, kEverywhere, MetricForm::kGauge,
     "Average power consumption of the node, in the module's own unit.", OfNode<&Node::power, &Consumption::average>},
    Field{kNodeKind, kNodePower, "power.maximum", "node_power_maximum", "power", "Maximum", Kind::kNumber, kEverywhere, MetricForm::kGauge,
     "Highest power consumption of the node, in the module's own unit.", OfNode<&Node::power, &Consumption::maximum>},
};
// clang-format on

constexpr std::array<Block, 8> kBlocks{{
    {kIdentity, kEnclosureKind, "Identity"},
    {kModuleOnly, kEnclosureKind, "Management module"},
    {kConsumption, kEnclosureKind, "Chassis power consumption"},
    {kCaps, kEnclosureKind, "Chassis power caps"},
    {kSupplyStatus, kSupplyKind, "Power supply status"},
    {kSupplyFans, kSupplyKind, "Power supply fans"},
    {kSupplyFirmware, kSupplyKind, "Power supply firmware"},
    {kNodes, kNodeKind, "Nodes"},
}};

constexpr std::array<std::pair<Cause, std::string_view>, 10> kCauses{{
    {Cause::kUnreachable, "unreachable"},
    {Cause::kTimedOut, "timedOut"},
    {Cause::kRefused, "refused"},
    {Cause::kNotTrusted, "notTrusted"},
    {Cause::kBusy, "busy"},
    {Cause::kNoSuchModule, "noSuchModule"},
    {Cause::kMalformedAnswer, "malformedAnswer"},
    {Cause::kCompletionCode, "completionCode"},
    {Cause::kCancelled, "cancelled"},
    {Cause::kLocal, "local"},
}};

constexpr std::array<std::pair<Health, std::string_view>, 4> kHealths{{
    {Health::kOk, "ok"},
    {Health::kWarning, "warning"},
    {Health::kUnknown, "unknown"},
    {Health::kCritical, "critical"},
}};

/// Adds what of one object is missing; several fields that one answer tells are one entry.
void AddMissing(const Object& object, std::vector<Missing>& missing)
{
    const auto first = static_cast<std::ptrdiff_t>(missing.size());
    for (const Field& field : kFields) {
        // What only tables show is made of values that stand here, too.
        if (field.object != object.Kind() || (field.places & kInJson) == 0) {
            continue;
        }
        const Datum datum = field.get(object);
        const auto* const failure = std::get_if<const Failure*>(&datum);
        const bool known = failure != nullptr &&
                           std::any_of(missing.begin() + first, missing.end(),
                                       [&](const Missing& m) { return m.field == field.Name(); });
        if (failure == nullptr || known) {
            continue;
        }
        Missing& added = missing.emplace_back();
        added.object = NameOf(object, field);
        if (object.powerSupply != nullptr) {
            added.powerSupply = object.powerSupply->number;
        }
        if (object.node != nullptr) {
            added.node = object.node->number;
        }
        added.field = field.Name();
        added.failure = **failure;
    }
}

}  // namespace

ObjectKind Object::Kind() const
{
    if (powerSupply != nullptr) {
        return ObjectKind::kPowerSupply;
    }
    return node != nullptr ? ObjectKind::kNode : ObjectKind::kEnclosure;
}

std::string_view Field::Name() const
{
    return answer.empty() ? Member() : answer;
}

std::string_view Field::Member() const
{
    return path.substr(path.rfind('.') + 1);
}

char Field::Fan() const
{
    constexpr std::string_view kFans = "fans.";
    const bool ofOneFan = path.starts_with(kFans) && path.find('.', kFans.size()) != path.npos;
    return ofOneFan ? path[kFans.size()] : '\0';
}

std::string_view Field::MetricName() const
{
    return Fan() == '\0' ? key : key.substr(0, key.rfind('_'));
}

std::span<const Field> Fields()
{
    return kFields;
}

std::span<const Block> Blocks()
{
    return kBlocks;
}

std::vector<Object> ObjectsOf(const Enclosure& enclosure)
{
    std::vector<Object> objects{{enclosure}};
    for (const PowerSupply& supply : enclosure.powerSupplies) {
        objects.push_back({enclosure, &supply});
    }
    for (const Node& node : enclosure.nodes) {
        objects.push_back({enclosure, nullptr, &node});
    }
    return objects;
}

std::string NameOf(const Object& object, const Field& field)
{
    if (object.powerSupply != nullptr) {
        return "PSU" + std::to_string(object.powerSupply->number);
    }
    if (object.node != nullptr) {
        return "Node " + std::to_string(object.node->number);
    }
    return (field.section & kPower) != 0 ? "Chassis" : "Module";
}

std::string_view KeyOf(Cause cause)
{
    const auto* const known = std::find_if(kCauses.begin(), kCauses.end(),
                                           [cause](const auto& row) { return row.first == cause; });
    return known == kCauses.end() ? "local" : known->second;
}

std::string_view KeyOf(Health health)
{
    const auto* const known =
        std::find_if(kHealths.begin(), kHealths.end(),
                     [health](const auto& row) { return row.first == health; });
    return known == kHealths.end() ? "unknown" : known->second;
}

std::vector<Missing> NotRead(const Enclosure& enclosure)
{
    std::vector<Missing> missing;
    for (const Object& object : ObjectsOf(enclosure)) {
        AddMissing(object, missing);
    }
    return missing;
}

}  // namespace Tulvo::Enclosures
