// SPDX-License-Identifier: Apache-2.0
// A program of C++11 that uses all of the public headers. It is compiled, never run.
#include "common/connection/connection_info.h"
#include "module/vkt/vkt_inventory/vkt_inventory.h"
// Twice, as it happens in programs.
#include "common/connection/connection_info.h"
#include "module/vkt/vkt_inventory/vkt_inventory.h"

namespace {

template <class Record>
Record CopiedAndMoved(const Record& record)
{
    Record copy(record);
    copy = record;
    Record moved(static_cast<Record&&>(copy));
    moved = Record(record);
    return moved;
}

bool ReadEverything(Tulvo::VKTInventory& inventory)
{
    std::string text;
    Tulvo::ChassisPowerCon consumption;
    Tulvo::ChassisPowerCap cap;
    Tulvo::NodeStatus node;
    Tulvo::VKTStatus status;
    std::vector<Tulvo::PSUFanSpeed> fans;
    std::vector<Tulvo::PSUFwInfo> firmware;
    std::vector<Tulvo::PSUStatus> supplies;
    bool good = inventory.GetMachineType(text) == Tulvo::VKT_INVENTORY_SUCCESS;
    good &= inventory.GetSerialNumber(text) != Tulvo::VKT_INVENTORY_TRANSPORT_ERROR;
    good &= inventory.GetFirmwareVersion(text) != Tulvo::VKT_INVENTORY_CONNECT_FAILED;
    good &= inventory.GetName(text) != Tulvo::VKT_INVENTORY_FAILED;
    good &= inventory.GetChassisPowerConsumption(consumption) != Tulvo::VKT_INVENTORY_NO_DATA;
    good &= inventory.GetChassisPowerCap(cap) == 0;
    good &= inventory.GetPSUFanSpeed(fans) == 0;
    good &= inventory.GetPSUFwInfo(firmware) == 0;
    good &= inventory.GetPSUStatus(supplies) == 0;
    good &= inventory.GetNodeStatus(inventory.GetNodeNub(), node) == 0;
    good &= inventory.GetNodePowerConsumption(1, consumption) == 0;
    good &= inventory.GetVKTStatus(status) == 0;
    good &= inventory.SelectPSU(1) == 0;
    return good && CopiedAndMoved(status).psuCount == 2 && CopiedAndMoved(node).width.empty() &&
           CopiedAndMoved(cap).min.empty() && CopiedAndMoved(consumption).avg.empty();
}

}  // namespace

int main()
{
    Tulvo::TulvoConnection::ConnectionInfo connection;
    connection.address = "192.0.2.1";
    connection.connectionType = 7;
    Tulvo::VKTInventory inventory(connection);
    return ReadEverything(inventory) ? 0 : 1;
}
