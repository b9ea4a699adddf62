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
    {"Minimum", "min", &ChassisPowerCon::min, Kind::reading},
    {"Average", "avg", &ChassisPowerCon::avg, Kind::reading},
    {"Maximum", "max", &ChassisPowerCon::max, Kind::reading},
};

inline constexpr Field<ChassisPowerCap> kPowerCapFields[] = {
    {"Lowest cap", "min", &ChassisPowerCap::min, Kind::reading},
    {"Highest cap", "max", &ChassisPowerCap::max, Kind::reading},
    {"Protective cap", "protectiveCap", &ChassisPowerCap::protectiveCap, Kind::reading},
    {"User cap", "userCap", &ChassisPowerCap::userCap, Kind::reading},
    {"Thermal cap", "thermalCap", &ChassisPowerCap::thermalCap, Kind::reading},
};

inline Mark JudgePresence(const SupplyStatus& supply)
{
    return supply.present == "present" ? Mark::good : Mark::warning;
}

/// An empty slot has no good power either; only a supply that is there can fail.
inline Mark JudgePower(const SupplyStatus& supply)
{
    return supply.present == "present" && supply.pwrGood != "power good" ? Mark::bad : Mark::good;
}

inline Mark JudgeEarlyWarning(const SupplyStatus& supply)
{
    return supply.epow == "trigger" ? Mark::bad : Mark::good;
}

inline Mark JudgeThrottling(const SupplyStatus& supply)
{
    return supply.throttle == "trigger" ? Mark::warning : Mark::good;
}

template <Mark (*judge)(const SupplyStatus&)>
Mark IfReported(const SupplyStatus& supply)
{
    return supply.reported ? judge(supply) : Mark::none;
}

inline constexpr Field<SupplyStatus> kSupplyStatusFields[] = {
    {"PSU", "psu", &SupplyStatus::psu, Kind::text},
    {"Present", "present", &SupplyStatus::present, Kind::text, IfReported<JudgePresence>},
    {"Power", "pwrGood", &SupplyStatus::pwrGood, Kind::text, IfReported<JudgePower>},
    {"Power-off warning", "epow", &SupplyStatus::epow, Kind::text, IfReported<JudgeEarlyWarning>},
    {"Throttling", "throttle", &SupplyStatus::throttle, Kind::text, IfReported<JudgeThrottling>},
    {"Reported", "reported", &SupplyStatus::reported, Kind::word},
};

inline Mark JudgeFans(const PSUFanSpeed& fans)
{
    if (fans.status == "Abnormal") {
        return Mark::bad;
    }
    return fans.status == "Unknown" ? Mark::warning : Mark::good;
}

inline constexpr Field<PSUFanSpeed> kFanSpeedFields[] = {
    {"PSU", "psu", &PSUFanSpeed::psu, Kind::text},
    {"Fans", "status", &PSUFanSpeed::status, Kind::text, JudgeFans},
    {"Speed A", "speedA", &PSUFanSpeed::speedA, Kind::reading},
    {"Pattern A", "patA", &PSUFanSpeed::patA, Kind::reading},
    {"Speed B", "speedB", &PSUFanSpeed::speedB, Kind::reading},
    {"Pattern B", "patB", &PSUFanSpeed::patB, Kind::reading},
};

inline constexpr Field<PSUFwInfo> kFirmwareFields[] = {
    {"PSU", "psu", &PSUFwInfo::psu, Kind::text},
    {"Slot", "slot", &PSUFwInfo::slot, Kind::reading},
    {"Name", "name", &PSUFwInfo::name, Kind::text},
    {"Version", "version", &PSUFwInfo::version, Kind::text},
    {"Manufacturer", "manufacturer", &PSUFwInfo::manufacturer, Kind::text},
};

inline Mark JudgePowerState(const NodeStatus& node)
{
    if (node.powerState == "Power Fault" || node.powerState == "Fault") {
        return Mark::bad;
    }
    return node.powerState == "No Permission" ? Mark::warning : Mark::good;
}

inline constexpr Field<NodeStatus> kNodeStatusFields[] = {
    {"Power state", "powerState", &NodeStatus::powerState, Kind::text, JudgePowerState},
    {"Width", "width", &NodeStatus::width, Kind::word},
    {"Height", "height", &NodeStatus::height, Kind::reading},
    {"Permission", "permissionState", &NodeStatus::permissionState, Kind::reading},
};

inline Mark JudgeAssumption(const ModuleState& state)
{
    return state.defaultsAssumed ? Mark::warning : Mark::good;
}

inline constexpr Field<ModuleState> kModuleStateFields[] = {
    {"Platform", "platformId", &ModuleState::platformId, Kind::identifier},
    {"Power supplies", "psuCount", &ModuleState::psuCount, Kind::reading},
    {"Nodes", "nodeCount", &ModuleState::nodeCount, Kind::reading},
    {"Defaults assumed", "defaultsAssumed", &ModuleState::defaultsAssumed, Kind::word,
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
            .alignRight = field.kind == Kind::reading};
}

template <class R>
Cell CellOf(const Field<R>& field, const R& record)
{
    Cell cell = EmptyCell(field);
    std::visit([&](auto member) { Fill(cell, record.*member, field.kind); }, field.member);
    cell.mark = field.judge == nullptr ? Mark::none : field.judge(record);
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
