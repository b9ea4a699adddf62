// SPDX-License-Identifier: Apache-2.0
/// @file
/// Every output of the library as a list of texts, so that tests can treat outputs alike.
#ifndef TESTS_VKT_INVENTORY_FIELDS_H
#define TESTS_VKT_INVENTORY_FIELDS_H

#include <cstdint>
#include <string>
#include <vector>

#include "module/vkt/vkt_inventory/vkt_inventory.h"

namespace Tulvo::Tests {

using Fields = std::vector<std::string>;

/// What texts and numbers hold before a call.
inline constexpr const char* kBefore = "before";
inline constexpr std::int32_t kNumberBefore = -77;

inline Fields FieldsOf(const std::string& text)
{
    return {text};
}
inline Fields FieldsOf(std::uint64_t number)
{
    return {std::to_string(number)};
}
inline Fields FieldsOf(const ChassisPowerCon& consumption)
{
    return {consumption.min, consumption.avg, consumption.max};
}
inline Fields FieldsOf(const ChassisPowerCap& cap)
{
    return {cap.min, cap.max, cap.protectiveCap, cap.userCap, cap.thermalCap};
}
inline Fields FieldsOf(const NodeStatus& node)
{
    return {node.powerState, node.width, node.height, std::to_string(node.permissionState)};
}
inline Fields FieldsOf(const PSUFanSpeed& fans)
{
    return {fans.psu, fans.speedA, fans.patA, fans.speedB, fans.patB, fans.status};
}
inline Fields FieldsOf(const PSUFwInfo& firmware)
{
    return {firmware.psu, firmware.manufacturer, firmware.version, firmware.slot, firmware.name};
}
inline Fields FieldsOf(const PSUStatus& supply)
{
    return {supply.epow, supply.throttle, supply.present, supply.pwrGood};
}
inline Fields FieldsOf(const VKTStatus& status)
{
    return {std::to_string(status.platformId), std::to_string(status.psuCount)};
}
template <class Record>
Fields FieldsOf(const std::vector<Record>& records)
{
    Fields all;
    for (const Record& record : records) {
        const Fields fields = FieldsOf(record);
        all.insert(all.end(), fields.begin(), fields.end());
    }
    return all;
}

inline void SetBefore(std::string& text)
{
    text = kBefore;
}
inline void SetBefore(std::uint64_t& number)
{
    number = static_cast<std::uint64_t>(kNumberBefore);
}
inline void SetBefore(ChassisPowerCon& consumption)
{
    consumption.min = consumption.avg = consumption.max = kBefore;
}
inline void SetBefore(ChassisPowerCap& cap)
{
    cap.min = cap.max = cap.protectiveCap = cap.userCap = cap.thermalCap = kBefore;
}
inline void SetBefore(NodeStatus& node)
{
    node.powerState = node.width = node.height = kBefore;
    node.permissionState = kNumberBefore;
}
inline void SetBefore(PSUFanSpeed& fans)
{
    fans.psu = fans.speedA = fans.patA = fans.speedB = fans.patB = fans.status = kBefore;
}
inline void SetBefore(PSUFwInfo& firmware)
{
    firmware.psu = firmware.manufacturer = firmware.version = kBefore;
    firmware.slot = firmware.name = kBefore;
}
inline void SetBefore(PSUStatus& supply)
{
    supply.epow = supply.throttle = supply.present = supply.pwrGood = kBefore;
}
inline void SetBefore(VKTStatus& status)
{
    status.platformId = status.psuCount = kNumberBefore;
}
/// A vector holds one record before a call.
template <class Record>
void SetBefore(std::vector<Record>& records)
{
    records.resize(1);
    SetBefore(records.front());
}

/// What a call gave: its result, and every field of its output.
struct Outcome
{
    VKTInventoryErrorCode result;
    Fields fields;
};

/// Calls `call` with an output that holds the values from before.
template <class Output, class Call>
Outcome OutcomeOf(const Call& call)
{
    Output output;
    SetBefore(output);
    const VKTInventoryErrorCode result = call(output);
    return {result, FieldsOf(output)};
}

/// The fields of an output of that many texts that was left alone.
inline Fields Untouched(std::size_t texts)
{
    return Fields(texts, kBefore);
}

}  // namespace Tulvo::Tests

#endif
