// SPDX-License-Identifier: Apache-2.0
#include "tests/endurance/questions.h"

#include <cstdint>
#include <functional>

namespace Tulvo::Tests {
namespace {

std::string Text(const std::string& text)
{
    return text;
}

std::string Text(std::int32_t number)
{
    return std::to_string(number);
}

/// Asks for an `Output` and takes one value from it.
template <class Output, class Value>
std::string Ask(VKTInventory& inventory, VKTInventoryErrorCode (VKTInventory::*query)(Output&),
                Value value)
{
    Output output;
    const VKTInventoryErrorCode result = (inventory.*query)(output);
    return result == VKT_INVENTORY_SUCCESS ? Text(std::invoke(value, output))
                                           : "result " + std::to_string(result);
}

/// The same of the last node.
template <class Output, class Value>
std::string Ask(VKTInventory& inventory,
                VKTInventoryErrorCode (VKTInventory::*query)(std::uint64_t, Output&), Value value)
{
    Output output;
    const VKTInventoryErrorCode result = (inventory.*query)(inventory.GetNodeNub(), output);
    return result == VKT_INVENTORY_SUCCESS ? Text(std::invoke(value, output))
                                           : "result " + std::to_string(result);
}

/// The same of the last power supply.
template <class Record, class Value>
std::string AskLast(VKTInventory& inventory,
                    VKTInventoryErrorCode (VKTInventory::*query)(std::vector<Record>&), Value value)
{
    return Ask(inventory, query, [&](const std::vector<Record>& records) {
        return records.empty() ? "none" : std::invoke(value, records.back());
    });
}

// Version numbers follow the build name, in a form of their own for each generation.
std::string BuildName(const std::string& firmwareVersion)
{
    return firmwareVersion.substr(0, firmwareVersion.find('-'));
}

// "PSU", the four letters of the manufacturer, and the position.
std::string Maker(const PSUFwInfo& firmware)
{
    return firmware.manufacturer.size() < 7 ? firmware.manufacturer
                                            : firmware.manufacturer.substr(3, 4);
}

std::string IsPresent(const PSUStatus& status)
{
    return status.present == "present" ? "true" : "false";
}

std::string Select(VKTInventory& inventory)
{
    return inventory.SelectPSU(1) == VKT_INVENTORY_SUCCESS ? "true" : "false";
}

using V = VKTInventory;

const std::vector<Question> kQuestions = {
    {"machine type", [](V& v) { return Ask(v, &V::GetMachineType, std::identity()); },
     "/module/machineType"},
    {"serial number", [](V& v) { return Ask(v, &V::GetSerialNumber, std::identity()); },
     "/module/serialNumber"},
    {"firmware version", [](V& v) { return Ask(v, &V::GetFirmwareVersion, BuildName); },
     "/module/firmware/build"},
    {"name", [](V& v) { return Ask(v, &V::GetName, std::identity()); }, "/module/name"},
    {"chassis power",
     [](V& v) { return Ask(v, &V::GetChassisPowerConsumption, &ChassisPowerCon::avg); },
     "/chassis/power/average"},
    {"power cap", [](V& v) { return Ask(v, &V::GetChassisPowerCap, &ChassisPowerCap::userCap); },
     "/chassis/powerCap/user"},
    {"fan speed", [](V& v) { return AskLast(v, &V::GetPSUFanSpeed, &PSUFanSpeed::speedA); },
     "/supplies/1/fans/0/speed"},
    {"supply firmware", [](V& v) { return AskLast(v, &V::GetPSUFwInfo, Maker); },
     "/supplies/1/manufacturer"},
    {"supply status", [](V& v) { return AskLast(v, &V::GetPSUStatus, IsPresent); },
     "/supplies/1/present"},
    {"node status", [](V& v) { return Ask(v, &V::GetNodeStatus, &NodeStatus::permissionState); },
     "/nodes/3/permission"},
    {"node power", [](V& v) { return Ask(v, &V::GetNodePowerConsumption, &ChassisPowerCon::avg); },
     "/nodes/3/power/average"},
    {"node count", [](V& v) { return std::to_string(v.GetNodeNub()); }, "/nodes"},
    {"module status", [](V& v) { return Ask(v, &V::GetVKTStatus, &VKTStatus::psuCount); },
     "/supplies"},
    {"selection", Select, "/supplies/0/present"},
};

}  // namespace

std::string Question::AnswerIn(const nlohmann::json& scenario) const
{
    const nlohmann::json& value = scenario.at(nlohmann::json::json_pointer(place));
    if (value.is_array()) {
        return std::to_string(value.size());
    }
    return value.is_string() ? value.get<std::string>() : value.dump();
}

const std::vector<Question>& Questions()
{
    return kQuestions;
}

}  // namespace Tulvo::Tests
