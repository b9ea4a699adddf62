// SPDX-License-Identifier: Apache-2.0
/// @file
/// Inventory and health of a multi-node server enclosure, read through its management module (VKT).
///
/// Build one VKTInventory per enclosure from a ConnectionInfo and ask it. A query talks to the
/// module, blocks the calling thread until it has an answer or has given up, pauses included, and
/// returns a VKTInventoryErrorCode; nothing throws but a lack of memory. All outputs belong to the
/// caller. One object serves one thread at a time; different objects share nothing and may be used
/// side by side.
///
/// On failure an output keeps what it held, unless a query says otherwise. Over RMCP+ an answer
/// that does not come on an open connection counts as an empty one that the module refused.
#ifndef MODULE_VKT_VKT_INVENTORY_VKT_INVENTORY_H
#define MODULE_VKT_VKT_INVENTORY_VKT_INVENTORY_H

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "common/connection/connection_info.h"
#include "module/vkt/vkt_inventory/vkt_inventory_records.h"

namespace Tulvo {

class VKTInventoryImpl;

/// One enclosure, reached through its management module.
class VKT_INVENTORY_EXPORT VKTInventory
{
public:
    /// Chooses the transport by `connectionInfo.connectionType` (7 RMCP+, 9 HTTPS), asks for the
    /// module's type and reads its status with the tries and pauses of GetVKTStatus(), once and for
    /// good. It never fails visibly: GetNodeNub() tells. A module that cannot be reached makes this
    /// take 18 seconds of pauses and the time-outs of seven requests over RMCP+, the time-outs
    /// alone over HTTPS.
    ///
    /// A module that tells its status but did not tell its type is read as a first-generation one,
    /// which gives a VKT2's readings wrong; the configuration key `MODULE_TYPE` (0 first
    /// generation, 1 VKT2) rules that out. With any other connection type no query may be called.
    explicit VKTInventory(const TulvoConnection::ConnectionInfo& connectionInfo);
    ~VKTInventory();
    VKTInventory(const VKTInventory&) = delete;
    VKTInventory& operator=(const VKTInventory&) = delete;

    /// Machine type: four letters or digits. NO_DATA when the module reports other
    /// characters.
    VKTInventoryErrorCode GetMachineType(std::string& machineType);

    /// Serial number without surrounding white space; may be empty.
    VKTInventoryErrorCode GetSerialNumber(std::string& serialNumber);

    /// Firmware of the module: build name, which may be empty, "-", major and minor version in
    /// hexadecimal ("ABC123-1.0a").
    VKTInventoryErrorCode GetFirmwareVersion(std::string& firmwareVersion);

    /// Name of the chassis; may be empty.
    VKTInventoryErrorCode GetName(std::string& name);

    /// Power consumption of the chassis.
    VKTInventoryErrorCode GetChassisPowerConsumption(ChassisPowerCon& consumption);

    /// Power-capping limits of the chassis.
    VKTInventoryErrorCode GetChassisPowerCap(ChassisPowerCap& cap);

    /// Appends a record for every power supply whose fans can be read, and leaves the others out.
    /// SUCCESS also without a slot. A request that is not carried ends it; what was appended before
    /// stays. Otherwise it succeeds over RMCP+, whatever could be read; over HTTPS it is FAILED
    /// when the last slot's fans cannot be read.
    VKTInventoryErrorCode GetPSUFanSpeed(std::vector<PSUFanSpeed>& fanSpeeds);

    /// Appends a record for every power supply that tells version and position; a failure appends
    /// none. FAILED when the last slot does not tell its position, NO_DATA without a slot. On a
    /// module that did not tell its type no manufacturer can be read: one that is told leaves its
    /// slot out, and in the last slot is NO_DATA.
    VKTInventoryErrorCode GetPSUFwInfo(std::vector<PSUFwInfo>& firmware);

    /// Resizes `statuses` to the number of power-supply slots and fills one record a slot. When the
    /// module refuses or answers too little it is resized and not filled; when the request is not
    /// carried it is left alone.
    VKTInventoryErrorCode GetPSUStatus(std::vector<PSUStatus>& statuses);

    /// State of one node.
    /// @param node   1 to GetNodeNub(); any other number is FAILED, and nothing is sent.
    /// @param status filled on success.
    VKTInventoryErrorCode GetNodeStatus(std::uint64_t node, NodeStatus& status);

    /// Power consumption of one node.
    /// @param node        as for GetNodeStatus().
    /// @param consumption filled on success.
    VKTInventoryErrorCode GetNodePowerConsumption(std::uint64_t node, ChassisPowerCon& consumption);

    /// Number of nodes of the enclosure, by the status that was read at construction: 12 or 4, and
    /// 0 when that had no data. Power supplies are counted with it: 9, 6 or 2, and 0. Sends
    /// nothing.
    std::uint64_t GetNodeNub();

    /// State of the module, read anew with up to six tries. A pause of 3 seconds follows every try
    /// that brings no status, the last included; over HTTPS a try whose request is not carried is
    /// followed by the next at once.
    /// @param status filled from 14 bytes, even if the module refused; left alone by fewer.
    /// @return what the last try says, over HTTPS the last that was carried: NO_DATA when it was
    ///         refused or empty, or none was carried, else SUCCESS, also when it was too short.
    VKTInventoryErrorCode GetVKTStatus(VKTStatus& status);

    /// Selects a power supply, with the tries and pauses of GetVKTStatus(), until the module
    /// confirms.
    /// @param psu number of the supply, from 1. A first-generation module is sent 3 for anything
    ///            above it; a VKT2 is sent no number above 9, on platform 0xFE none above 2.
    /// @return as of GetVKTStatus(): SUCCESS also when the confirmation was too long.
    VKTInventoryErrorCode SelectPSU(int psu);

private:
    std::unique_ptr<VKTInventoryImpl> impl_;
};

}  // namespace Tulvo

#endif
