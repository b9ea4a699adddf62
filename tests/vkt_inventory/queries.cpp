// SPDX-License-Identifier: Apache-2.0
#include "tests/vkt_inventory/queries.h"

#include <ostream>

namespace Tulvo::Tests {

namespace {

/// Asks by a query that takes nothing but its output.
template <class Output, VKTInventoryErrorCode (VKTInventory::*query)(Output&)>
Outcome Ask(VKTInventory& inventory)
{
    return OutcomeOf<Output>([&](Output& output) { return (inventory.*query)(output); });
}

/// Asks by a query about node 3.
template <class Output, VKTInventoryErrorCode (VKTInventory::*query)(std::uint64_t, Output&)>
Outcome AskNode3(VKTInventory& inventory)
{
    return OutcomeOf<Output>([&](Output& output) { return (inventory.*query)(3, output); });
}

}  // namespace

// NOLINTNEXTLINE(readability-function-size): one table, a row for each query
const std::vector<Query>& SingleRequestQueries()
{
    static const std::vector<Query> queries = {
        {"GetMachineType",
         Ask<std::string, &VKTInventory::GetMachineType>,
         "32 B0 05 00",
         Chars("7X2Z"),
         {"7X2Z"},
         Untouched(1),
         "ParseMachineType",
         "Failed to get the vkt machine type through https, ret = ",
         true},
        {"GetSerialNumber",
         Ask<std::string, &VKTInventory::GetSerialNumber>,
         "32 B0 05 01",
         Chars("J30ABC12 "),
         {"J30ABC12"},
         Untouched(1),
         "ParseGetSerialNumber",
         "Failed to get the vkt serial number through https, ret = ",
         true},
        {"GetFirmwareVersion",
         Ask<std::string, &VKTInventory::GetFirmwareVersion>,
         "32 A8",
         Hex("01 0A 00 00 00") + Chars("ABC123"),
         {"ABC123-1.0a"},
         Untouched(1),
         "ParseGetFirmwareVersion",
         "Failed to get the vkt firmware version through https, ret = ",
         true},
        {"GetName",
         Ask<std::string, &VKTInventory::GetName>,
         "32 B0 05 0B",
         Chars("Chassis A"),
         {"Chassis A"},
         Untouched(1),
         "ParseName",
         "Failed to get the vkt name through https, ret = ",
         false},
        {"GetChassisPowerConsumption",
         Ask<ChassisPowerCon, &VKTInventory::GetChassisPowerConsumption>,
         "32 98 05",
         Hex("2C 01 90 01 00 00"),
         {"300", "400", "0"},
         Untouched(3),
         "ParseChassisPowerConsumption",
         "Failed to get the vkt PowerConsumption through https, ret = ",
         false},
        {"GetChassisPowerCap",
         Ask<ChassisPowerCap, &VKTInventory::GetChassisPowerCap>,
         "32 9D 05",
         Hex("00 00 B0 04 00 00 E8 03 FF FF"),
         {"N/A", "1200", "N/A", "1000", "65535"},
         Untouched(5),
         "ParseChassisPowerCap",
         "Failed to get the vkt power cap through https, ret = ",
         false},
        {"GetPSUStatus",
         Ask<std::vector<PSUStatus>, &VKTInventory::GetPSUStatus>,
         "32 91",
         Hex("01 00 03 02 00 00"),
         {"trigger", "not trigger", "present", "not power good", "not trigger", "not trigger",
          "present", "power good"},
         Untouched(4),
         "ParsePSUStatus",
         "Failed to get the vkt PSU status through https, ret = ",
         false},
        {"GetNodeStatus",
         AskNode3<NodeStatus, &VKTInventory::GetNodeStatus>,
         "32 A7 03",
         Hex("80 02 FF 01"),
         {"Power ON", "Full", "N/A", "1"},
         {kBefore, kBefore, kBefore, "-77"},
         "ParseNodeStatus",
         "Failed to get the vkt node status through https, ret = ",
         false},
        {"GetNodePowerConsumption",
         AskNode3<ChassisPowerCon, &VKTInventory::GetNodePowerConsumption>,
         "32 98 03",
         Hex("FF FF 00 00 64 00"),
         {"N/A", "N/A", "100"},
         Untouched(3),
         "ParseNodePowerConsumption",
         "Failed to get the vkt NodePowerConsumption through https, ret = ",
         false},
    };
    return queries;
}

std::ostream& operator<<(std::ostream& stream, const Query& query)
{
    return stream << query.name;
}

}  // namespace Tulvo::Tests
