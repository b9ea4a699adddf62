// SPDX-License-Identifier: Apache-2.0
/// @file
/// The one description of every field that the library reports: its label in tables, its key in
/// JSON, what it is, and when it wants attention. The module's readings carry no unit, so no label
/// and no key claims one.
#ifndef APPS_VKTINVENTORY_FIELDS_H
#define APPS_VKTINVENTORY_FIELDS_H

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <variant>

#include "apps/vktinventory/cell.h"
#include "module/vkt/vkt_inventory/vkt_inventory.h"

namespace Tulvo::Cli {

/// Status bits of one supply, with the name that the library's other supply records carry.
struct SupplyStatus : PSUStatus
{
    std::string psu;
    /// The module has a bit each for this many supplies; the library tells of a supply beyond them
    /// as if its bits were 0, which says nothing about it.
    static constexpr std::size_t kReportedSupplies = 8;
    bool reported = true;
};

/// What is known about the module itself.
struct ModuleState : VKTStatus
{
    std::uint64_t nodeCount = 0;
    /// The module's answer was too short to tell; platform and counts are the library's defaults.
    bool defaultsAssumed = false;
};

template <class R>
struct Field
{
    std::string_view label;
    std::string_view key;
    std::variant<std::string R::*, std::int32_t R::*, std::uint64_t R::*, bool R::*> member;
    Kind kind;
    Mark (*judge)(const R&) = nullptr;
};

inline constexpr Field<ChassisPowerCon> kPowerConsumptionFields[] = {
    {"Minimum", "min", &ChassisPowerCon::min, Kind::kReading},
    {"Average", "avg", &ChassisPowerCon::avg, Kind::kReading},
    {"Maximum", "max", &ChassisPowerCon::max, Kind::kReading},
};

inline constexpr Field<ChassisPowerCap> kPowerCapFields[] = {
    {"Lowest cap", "min", &ChassisPowerCap::min, Kind::kReading},
    {"Highest cap", "max", &ChassisPowerCap::max, Kind::kReading},
    {"Protective cap", "protectiveCap", &ChassisPowerCap::protectiveCap, Kind::kReading},
    {"User cap", "userCap", &ChassisPowerCap::userCap, Kind::kReading},
    {"Thermal cap", "thermalCap", &ChassisPowerCap::thermalCap, Kind::kReading},
};

inline Mark JudgePresence(const SupplyStatus& supply)
{
    return supply.present == "present" ? Mark::kGood : Mark::kWarning;
}

/// An empty slot has no good power either; only a supply that is there can fail.
inline Mark JudgePower(const SupplyStatus& supply)
{
    return supply.present == "present" && supply.pwrGood != "power good" ? Mark::kBad : Mark::kGood;
}

inline Mark JudgeEarlyWarning(const SupplyStatus& supply)
{
    return supply.epow == "trigger" ? Mark::kBad : Mark::kGood;
}

inline Mark JudgeThrottling(const SupplyStatus& supply)
{
    return supply.throttle == "trigger" ? Mark::kWarning : Mark::kGood;
}

template <Mark (*judge)(const SupplyStatus&)>
Mark IfReported(const SupplyStatus& supply)
{
    return supply.reported ? judge(supply) : Mark::kNone;
}

inline constexpr Field<SupplyStatus> kSupplyStatusFields[] = {
    {"PSU", "psu", &SupplyStatus::psu, Kind::kText},
    {"Present", "present", &SupplyStatus::present, Kind::kText, IfReported<JudgePresence>},
    {"Power", "pwrGood", &SupplyStatus::pwrGood, Kind::kText, IfReported<JudgePower>},
    {"Power-off warning", "epow", &SupplyStatus::epow, Kind::kText, IfReported<JudgeEarlyWarning>},
    {"Throttling", "throttle", &SupplyStatus::throttle, Kind::kText, IfReported<JudgeThrottling>},
    {"Reported", "reported", &SupplyStatus::reported, Kind::kWord},
};

inline Mark JudgeFans(const PSUFanSpeed& fans)
{
    if (fans.status == "Abnormal") {
        return Mark::kBad;
    }
    return fans.status == "Unknown" ? Mark::kWarning : Mark::kGood;
}

inline constexpr Field<PSUFanSpeed> kFanSpeedFields[] = {
    {"PSU", "psu", &PSUFanSpeed::psu, Kind::kText},
    {"Fans", "status", &PSUFanSpeed::status, Kind::kText, JudgeFans},
    {"Speed A", "speedA", &PSUFanSpeed::speedA, Kind::kReading},
    {"Pattern A", "patA", &PSUFanSpeed::patA, Kind::kReading},
    {"Speed B", "speedB", &PSUFanSpeed::speedB, Kind::kReading},
    {"Pattern B", "patB", &PSUFanSpeed::patB, Kind::kReading},
};

inline constexpr Field<PSUFwInfo> kFirmwareFields[] = {
    {"PSU", "psu", &PSUFwInfo::psu, Kind::kText},
    {"Slot", "slot", &PSUFwInfo::slot, Kind::kReading},
    {"Name", "name", &PSUFwInfo::name, Kind::kText},
    {"Version", "version", &PSUFwInfo::version, Kind::kText},
    {"Manufacturer", "manufacturer", &PSUFwInfo::manufacturer, Kind::kText},
};

inline Mark JudgePowerState(const NodeStatus& node)
{
    if (node.powerState == "Power Fault" || node.powerState == "Fault") {
        return Mark::kBad;
    }
    return node.powerState == "No Permission" ? Mark::kWarning : Mark::kGood;
}

inline constexpr Field<NodeStatus> kNodeStatusFields[] = {
    {"Power state", "powerState", &NodeStatus::powerState, Kind::kText, JudgePowerState},
    {"Width", "width", &NodeStatus::width, Kind::kWord},
    {"Height", "height", &NodeStatus::height, Kind::kReading},
    {"Permission", "permissionState", &NodeStatus::permissionState, Kind::kReading},
};

inline Mark JudgeAssumption(const ModuleState& state)
{
    return state.defaultsAssumed ? Mark::kWarning : Mark::kGood;
}

inline constexpr Field<ModuleState> kModuleStateFields[] = {
    {"Platform", "platformId", &ModuleState::platformId, Kind::kIdentifier},
    {"Power supplies", "psuCount", &ModuleState::psuCount, Kind::kReading},
    {"Nodes", "nodeCount", &ModuleState::nodeCount, Kind::kReading},
    {"Defaults assumed", "defaultsAssumed", &ModuleState::defaultsAssumed, Kind::kWord,
     JudgeAssumption},
};

inline void Fill(Cell& cell, const std::string& text, Kind kind)
{
    cell.datum = DatumOf(text, kind);
    cell.shown = ShownText(text);
}

inline void Fill(Cell& cell, bool flag, Kind)
{
    cell.datum = flag;
    cell.shown = flag ? "yes" : "no";
}

template <class Number>
void Fill(Cell& cell, Number number, Kind kind)
{
    cell.datum = static_cast<std::int64_t>(number);
    cell.shown = ShownNumber(static_cast<std::int64_t>(number), kind);
}

template <class R>
Cell EmptyCell(const Field<R>& field)
{
    return {.label = field.label,
            .key = field.key,
            .shown = ShownText({}),
            .alignRight = field.kind == Kind::kReading};
}

template <class R>
Cell CellOf(const Field<R>& field, const R& record)
{
    Cell cell = EmptyCell(field);
    std::visit([&](auto member) { Fill(cell, record.*member, field.kind); }, field.member);
    cell.mark = field.judge == nullptr ? Mark::kNone : field.judge(record);
    return cell;
}

/// The record's cells by its table of fields.
template <class R, std::size_t N>
Record RecordOf(const Field<R> (&fields)[N], const R& record)
{
    Record cells;
    for (const Field<R>& field : fields) {
        cells.push_back(CellOf(field, record));
    }
    return cells;
}

}  // namespace Tulvo::Cli

#endif
