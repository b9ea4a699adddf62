// SPDX-License-Identifier: Apache-2.0
#include "bench/decoders.h"

#include <string_view>

namespace Tulvo::Bench {

namespace {

using Routines = VKTInventoryParseResponse;

template <class Output, auto routine, auto... number>
VKTInventoryErrorCode Into(const VKTInventoryParseResponse& decoder, const Bytes& response)
{
    static Output output;
    return (decoder.*routine)(response, 0, number..., output);
}

VKTInventoryErrorCode CountNodes(const VKTInventoryParseResponse& decoder, const Bytes&)
{
    static std::uint64_t nodeCount;
    decoder.ParseNodeCount(VKTStatus(), nodeCount);
    return VKT_INVENTORY_SUCCESS;
}

Bytes Text(std::string_view text)
{
    return {text.begin(), text.end()};
}

constexpr std::int32_t kSlot = 2;
constexpr std::uint64_t kSlots = 9;

const Bytes kModuleStatus = {0xFD, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 3};

}  // namespace

const std::vector<Decoder>& Decoders()
{
    static const std::vector<Decoder> decoders = {
        {"ParseMachineType", Into<std::string, &Routines::ParseMachineType>, Text("7X2Z"),
         Text("..7X2Z")},
        {"ParseGetSerialNumber", Into<std::string, &Routines::ParseGetSerialNumber>,
         Text("J30ABC12  "), Text("..J30ABC12  ")},
        {"ParseGetSerialNumberLong", Into<std::string, &Routines::ParseGetSerialNumber>,
         Text("J30ABC12-J30ABC12-J30ABC12  "), Text("..J30ABC12-J30ABC12-J30ABC12  "), 1},
        {"ParseGetFirmwareVersion", Into<std::string, &Routines::ParseGetFirmwareVersion>,
         Text("12...ABC123"), Text(".12...ABC123")},
        {"ParseGetFirmwareVersionLong", Into<std::string, &Routines::ParseGetFirmwareVersion>,
         Text("12...ABC123-ABC123-ABC123"), Text(".12...ABC123-ABC123-ABC123"), 1},
        {"ParseName", Into<std::string, &Routines::ParseName>, Text("Chassis A"),
         Text("..Chassis A")},
        {"ParseNameLong", Into<std::string, &Routines::ParseName>,
         Text("Chassis A in the second row"), Text("..Chassis A in the second row"), 1},
        {"ParseChassisPowerConsumption",
         Into<ChassisPowerCon, &Routines::ParseChassisPowerConsumption>,
         {0x2C, 1, 0x90, 1, 0xF4, 1},
         {0, 0x2C, 1, 0x90, 1, 0xF4, 1}},
        {"ParseChassisPowerCap",
         Into<ChassisPowerCap, &Routines::ParseChassisPowerCap>,
         {0, 0, 0xB0, 4, 0, 0, 0xE8, 3, 0xFF, 0xFF},
         {0, 0, 0, 0xB0, 4, 0, 0, 0xE8, 3, 0xFF, 0xFF}},
        {"ParseNodePowerConsumption",
         Into<ChassisPowerCon, &Routines::ParseNodePowerConsumption>,
         {0xFF, 0xFF, 0, 0, 0x64, 0},
         {0, 0xFF, 0xFF, 0, 0, 0x64, 0}},
        {"ParsePSUFanSpeed",
         Into<PSUFanSpeed, &Routines::ParsePSUFanSpeed, kSlot>,
         {0x10, 0x27, 5, 1},
         {0, 0xE8, 3, 2, 0, 0, 0, 2}},
        {"ParsePSUVersion", Into<std::string, &Routines::ParsePSUVersion>, {3, 1}, {3, 1}},
        {"ParsePSUManufacture", Into<std::string, &Routines::ParsePSUManufacture>, Text(".ACME"),
         Text("ACME.")},
        {"ParsePSUPosition", Into<std::string, &Routines::ParsePSUPosition>, {1, 10}, {1, 10}},
        {"ParsePSUStatus",
         Into<std::vector<PSUStatus>, &Routines::ParsePSUStatus, kSlots>,
         {5, 0, 7, 6, 0, 0},
         {5, 0, 0, 0, 0, 0, 6, 0, 7, 0}},
        {"ParseNodeStatus",
         Into<NodeStatus, &Routines::ParseNodeStatus>,
         {0x80, 2, 0xFF, 1},
         {0, 0x80, 2, 0xFF, 1}},
        {"ParseVKTStatusImp", Into<VKTStatus, &Routines::ParseVKTStatusImp>, kModuleStatus,
         kModuleStatus},
        {"ParseNodeCount", CountNodes, {}, {}},
    };
    return decoders;
}

}  // namespace Tulvo::Bench
