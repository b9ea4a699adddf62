// SPDX-License-Identifier: Apache-2.0
#include "apps/vktinventory/queries.h"

#include <string>
#include <utility>

#include "apps/vktinventory/fields.h"

namespace Tulvo::Cli {
namespace {

using Inventory = VKTInventory;

Reply Refused(VKTInventoryErrorCode result)
{
    return {result, false, {}};
}

template <auto Get>
Reply AskText(Inventory& inventory, std::uint64_t)
{
    std::string text;
    if (const auto result = (inventory.*Get)(text); result != VKT_INVENTORY_SUCCESS) {
        return Refused(result);
    }
    Cell cell;
    Fill(cell, text, Kind::kText);
    return {VKT_INVENTORY_SUCCESS, true, {{std::move(cell)}}};
}

template <auto Get, const auto& fields, class R>
Reply AskRecord(Inventory& inventory, std::uint64_t)
{
    R record;
    if (const auto result = (inventory.*Get)(record); result != VKT_INVENTORY_SUCCESS) {
        return Refused(result);
    }
    return {VKT_INVENTORY_SUCCESS, true, {RecordOf(fields, record)}};
}

template <auto Get, const auto& fields, class R>
Reply AskNode(Inventory& inventory, std::uint64_t node)
{
    R record;
    if (const auto result = (inventory.*Get)(node, record); result != VKT_INVENTORY_SUCCESS) {
        return Refused(result);
    }
    return {VKT_INVENTORY_SUCCESS, true, {RecordOf(fields, record)}};
}

/// Records appended before a failure were read, and are worth having.
template <auto Get, const auto& fields, class R>
Reply AskList(Inventory& inventory, std::uint64_t)
{
    std::vector<R> list;
    const auto result = (inventory.*Get)(list);
    Reply reply{result, result == VKT_INVENTORY_SUCCESS || !list.empty(), {}};
    for (const R& record : list) {
        reply.records.push_back(RecordOf(fields, record));
    }
    return reply;
}

/// Unlike the other lists this one is sized before it is read: after a failure its records are
/// blank, and a record does not tell its slot.
Reply AskSupplyStatus(Inventory& inventory, std::uint64_t)
{
    std::vector<PSUStatus> list;
    if (const auto result = inventory.GetPSUStatus(list); result != VKT_INVENTORY_SUCCESS) {
        return Refused(result);
    }
    Reply reply{VKT_INVENTORY_SUCCESS, true, {}};
    for (const PSUStatus& status : list) {
        const std::size_t index = reply.records.size();
        const SupplyStatus supply{status, "PSU" + std::to_string(index + 1),
                                  index < SupplyStatus::kReportedSupplies};
        reply.records.push_back(RecordOf(kSupplyStatusFields, supply));
    }
    return reply;
}

/// A platform id that no answer gives. The library calls a short answer a success and leaves the
/// record alone; only what stood in it before tells the two apart.
constexpr std::int32_t kUntouched = -1;

Reply AskModuleState(Inventory& inventory, std::uint64_t)
{
    ModuleState state;
    state.platformId = kUntouched;
    if (const auto result = inventory.GetVKTStatus(state); result != VKT_INVENTORY_SUCCESS) {
        return Refused(result);
    }
    if (state.platformId == kUntouched) {
        state.platformId = VKTStatus().platformId;
        state.defaultsAssumed = true;
    }
    state.nodeCount = inventory.GetNodeNub();
    return {VKT_INVENTORY_SUCCESS, true, {RecordOf(kModuleStateFields, state)}};
}

Reply AskSelection(Inventory& inventory, std::uint64_t supply)
{
    return Refused(inventory.SelectPSU(static_cast<int>(supply)));
}

Record NoColumns()
{
    return {};
}

template <const auto& fields>
Record ColumnsOf()
{
    Record columns;
    for (const auto& field : fields) {
        columns.push_back(EmptyCell(field));
    }
    return columns;
}

template <auto Get>
constexpr Query TextQuery(std::string_view key, std::string_view label)
{
    return {Section::kIdentity, Shape::kText, key, label, AskText<Get>, NoColumns};
}

template <auto Get, const auto& fields, class R>
constexpr Query RecordQuery(Section section, std::string_view key, std::string_view label)
{
    return {section, Shape::kRecord, key, label, AskRecord<Get, fields, R>, ColumnsOf<fields>};
}

template <auto Get, const auto& fields, class R>
constexpr Query ListQuery(std::string_view key, std::string_view label)
{
    return {Section::kSupplies,      Shape::kList,     key, label,
            AskList<Get, fields, R>, ColumnsOf<fields>};
}

template <auto Get, const auto& fields, class R>
constexpr Query NodeQuery(std::string_view key, std::string_view label)
{
    return {Section::kNodes, Shape::kNode, key, label, AskNode<Get, fields, R>, ColumnsOf<fields>};
}

constexpr Query kQueries[] = {
    TextQuery<&Inventory::GetMachineType>("machineType", "Machine type"),
    TextQuery<&Inventory::GetSerialNumber>("serialNumber", "Serial number"),
    TextQuery<&Inventory::GetFirmwareVersion>("firmwareVersion", "Firmware version"),
    TextQuery<&Inventory::GetName>("name", "Name"),
    {Section::kModule, Shape::kRecord, "moduleStatus", "Management module", AskModuleState,
     ColumnsOf<kModuleStateFields>},
    RecordQuery<&Inventory::GetChassisPowerConsumption, kPowerConsumptionFields, ChassisPowerCon>(
        Section::kPower, "chassisPowerConsumption", "Chassis power consumption"),
    RecordQuery<&Inventory::GetChassisPowerCap, kPowerCapFields, ChassisPowerCap>(
        Section::kPower, "chassisPowerCap", "Chassis power caps"),
    {Section::kSupplies, Shape::kList, "psuStatus", "Power supply status", AskSupplyStatus,
     ColumnsOf<kSupplyStatusFields>},
    ListQuery<&Inventory::GetPSUFanSpeed, kFanSpeedFields, PSUFanSpeed>("psuFanSpeed",
                                                                        "Power supply fans"),
    ListQuery<&Inventory::GetPSUFwInfo, kFirmwareFields, PSUFwInfo>("psuFirmware",
                                                                    "Power supply firmware"),
    NodeQuery<&Inventory::GetNodeStatus, kNodeStatusFields, NodeStatus>("nodeStatus",
                                                                        "Node status"),
    NodeQuery<&Inventory::GetNodePowerConsumption, kPowerConsumptionFields, ChassisPowerCon>(
        "nodePowerConsumption", "Node power consumption"),
    {Section::kSelection, Shape::kAction, "psuSelection", "Power supply selection", AskSelection,
     NoColumns},
};

}  // namespace

std::span<const Query> Queries()
{
    return kQueries;
}

}  // namespace Tulvo::Cli
