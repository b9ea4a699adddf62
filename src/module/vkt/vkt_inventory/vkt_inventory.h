// SPDX-License-Identifier: Apache-2.0
/// @file
/// Inventory and health of a multi-node server enclosure, read through its management module (VKT).
///
/// Build one VKTInventory per enclosure from a ConnectionInfo and ask it. Every query talks to the
/// module, blocks the calling thread until it has an answer or has given up, and returns a
/// VKTInventoryErrorCode; no failure throws. All outputs belong to the caller. One object serves
/// one thread at a time; different objects share nothing and may be used side by side.
///
/// Readings are texts in decimal, in the module's own unit; "N/A" is a reading that the module
/// does not have. On failure an output keeps what it held, unless a query says otherwise.
#ifndef MODULE_VKT_VKT_INVENTORY_VKT_INVENTORY_H
#define MODULE_VKT_VKT_INVENTORY_VKT_INVENTORY_H

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "common/connection/connection_info.h"

/// What the library offers; all else in it is hidden.
#define VKT_INVENTORY_EXPORT __attribute__((visibility("default")))

namespace Tulvo {

/// Result of a query.
enum VKTInventoryErrorCode : std::int32_t
{
    VKT_INVENTORY_SUCCESS = 0,          ///< The output is filled.
    VKT_INVENTORY_TRANSPORT_ERROR = 1,  ///< HTTPS only: TLS, log-in, time-out, status or content.
    VKT_INVENTORY_CONNECT_FAILED = 2,   ///< No connection to the module.
    VKT_INVENTORY_FAILED = 3,           ///< The module refused, its answer was too short, or the
                                        ///< node number is out of range.
    VKT_INVENTORY_NO_DATA = 4,          ///< There is nothing to report.
};

/// Limits of the chassis' power capping.
struct VKT_INVENTORY_EXPORT ChassisPowerCap
{
    ChassisPowerCap();
    ChassisPowerCap(const ChassisPowerCap&);
    ChassisPowerCap(ChassisPowerCap&&) noexcept;
    ChassisPowerCap& operator=(const ChassisPowerCap&);
    ChassisPowerCap& operator=(ChassisPowerCap&&) noexcept;
    ~ChassisPowerCap();

    std::string min;            ///< Lowest settable cap; "N/A" when the module reports 0.
    std::string max;            ///< Highest settable cap; "N/A" as above.
    std::string protectiveCap;  ///< Protective cap; "N/A" as above.
    std::string userCap;        ///< Cap set by the user; "N/A" as above.
    std::string thermalCap;     ///< Thermal cap; "N/A" as above.
};

/// Power consumption of the whole chassis or of one node.
struct VKT_INVENTORY_EXPORT ChassisPowerCon
{
    ChassisPowerCon();
    ChassisPowerCon(const ChassisPowerCon&);
    ChassisPowerCon(ChassisPowerCon&&) noexcept;
    ChassisPowerCon& operator=(const ChassisPowerCon&);
    ChassisPowerCon& operator=(ChassisPowerCon&&) noexcept;
    ~ChassisPowerCon();

    std::string min;  ///< Minimum; for a node "N/A" when the module reports 0 or 65535.
    std::string avg;  ///< Average; as above.
    std::string max;  ///< Maximum; as above.
};

/// State of one node of the enclosure.
struct VKT_INVENTORY_EXPORT NodeStatus
{
    NodeStatus();
    NodeStatus(const NodeStatus&);
    NodeStatus(NodeStatus&&) noexcept;
    NodeStatus& operator=(const NodeStatus&);
    NodeStatus& operator=(NodeStatus&&) noexcept;
    ~NodeStatus();

    std::string powerState;  ///< "Power ON", "Power OFF", "Power Fault", "No Permission", "Fault".
    std::string width;       ///< "Half", "Full", "N/A" or the width code in decimal.
    std::string height;      ///< "N/A" or the height code in decimal.
    /// Permission state byte of the module, 0 to 255. Holds no value until a query fills it.
    std::int32_t permissionState;
};

/// Fans of one power supply.
struct VKT_INVENTORY_EXPORT PSUFanSpeed
{
    PSUFanSpeed();
    PSUFanSpeed(const PSUFanSpeed&);
    PSUFanSpeed(PSUFanSpeed&&) noexcept;
    PSUFanSpeed& operator=(const PSUFanSpeed&);
    PSUFanSpeed& operator=(PSUFanSpeed&&) noexcept;
    ~PSUFanSpeed();

    std::string psu;     ///< "PSU" and the slot number.
    std::string speedA;  ///< Speed of fan A; "N/A" when the module reports 0.
    std::string patA;    ///< Pattern value of fan A; "N/A" as above.
    std::string speedB;  ///< Speed of fan B; "N/A" as above; empty on a first-generation module.
    std::string patB;    ///< Pattern value of fan B; as `speedB`.
    std::string status;  ///< "Normal", "Abnormal", "Not Present" or "Unknown".
};

/// Firmware information of one power supply.
struct VKT_INVENTORY_EXPORT PSUFwInfo
{
    PSUFwInfo();
    PSUFwInfo(const PSUFwInfo&);
    PSUFwInfo(PSUFwInfo&&) noexcept;
    PSUFwInfo& operator=(const PSUFwInfo&);
    PSUFwInfo& operator=(PSUFwInfo&&) noexcept;
    ~PSUFwInfo();

    std::string psu;           ///< "PSU" and the slot number.
    std::string manufacturer;  ///< "PSU", the manufacturer's text and the position text.
    std::string version;       ///< Firmware version.
    std::string slot;          ///< Slot number.
    std::string name;          ///< "Power Supply " and the slot number.
};

/// Status bits of one power supply.
struct VKT_INVENTORY_EXPORT PSUStatus
{
    PSUStatus();
    PSUStatus(const PSUStatus&);
    PSUStatus(PSUStatus&&) noexcept;
    PSUStatus& operator=(const PSUStatus&);
    PSUStatus& operator=(PSUStatus&&) noexcept;
    ~PSUStatus();

    std::string epow;      ///< Early power-off warning: "trigger" or "not trigger".
    std::string throttle;  ///< Throttling: "trigger" or "not trigger".
    std::string present;   ///< "present" or "not present".
    std::string pwrGood;   ///< "power good" or "not power good".
};

/// State of the management module itself.
struct VKTStatus
{
    VKT_INVENTORY_EXPORT VKTStatus();
    VKTStatus(const VKTStatus&) = default;
    VKTStatus(VKTStatus&&) = default;
    VKT_INVENTORY_EXPORT VKTStatus& operator=(const VKTStatus&);
    VKT_INVENTORY_EXPORT VKTStatus& operator=(VKTStatus&&) noexcept;

    std::int32_t platformId;  ///< 0xFC, 0xFD or the default 0xFE.
    std::int32_t psuCount;    ///< Number of power-supply slots: 9, 6 or the default 2.
};

class VKTInventoryImpl;

/// One enclosure, reached through its management module.
class VKT_INVENTORY_EXPORT VKTInventory
{
public:
    /// Chooses the transport by `connectionInfo.connectionType` (7 RMCP+, 9 HTTPS) and reads the
    /// module's type and status, which fix the node and power-supply counts for good. A module that
    /// does not answer makes this take 18 seconds and more; it never fails visibly: GetNodeNub()
    /// then returns 0. A module that tells its status but did not tell its type is read as a
    /// first-generation one, which gives a VKT2's readings wrong; the configuration key
    /// `MODULE_TYPE` (0 first generation, 1 VKT2) rules that out. With any other connection type no
    /// query may be called.
    explicit VKTInventory(const TulvoConnection::ConnectionInfo& connectionInfo);
    ~VKTInventory();
    VKTInventory(const VKTInventory&) = delete;
    VKTInventory& operator=(const VKTInventory&) = delete;

    /// Machine type: four letters or digits. NO_DATA when the module reports none.
    VKTInventoryErrorCode GetMachineType(std::string& machineType);

    /// Serial number without surrounding white space; may be empty.
    VKTInventoryErrorCode GetSerialNumber(std::string& serialNumber);

    /// Firmware of the module: build name, "-", major and minor version in hexadecimal
    /// ("ABC123-1.0a").
    VKTInventoryErrorCode GetFirmwareVersion(std::string& firmwareVersion);

    /// Name of the chassis; may be empty.
    VKTInventoryErrorCode GetName(std::string& name);

    /// Power consumption of the chassis.
    VKTInventoryErrorCode GetChassisPowerConsumption(ChassisPowerCon& consumption);

    /// Power-capping limits of the chassis.
    VKTInventoryErrorCode GetChassisPowerCap(ChassisPowerCap& cap);

    /// Appends a record for every power supply whose fans could be read; earlier records stay, also
    /// when the connection is lost in between.
    VKTInventoryErrorCode GetPSUFanSpeed(std::vector<PSUFanSpeed>& fanSpeeds);

    /// Appends a record for every power supply that reports version, manufacturer and position.
    VKTInventoryErrorCode GetPSUFwInfo(std::vector<PSUFwInfo>& firmware);

    /// Resizes `statuses` to the number of power-supply slots, also when the answer cannot be
    /// decoded, and fills one record a slot.
    VKTInventoryErrorCode GetPSUStatus(std::vector<PSUStatus>& statuses);

    /// State of one node.
    /// @param node   1 to GetNodeNub(); any other number is FAILED, and nothing is sent.
    /// @param status filled on success.
    VKTInventoryErrorCode GetNodeStatus(std::uint64_t node, NodeStatus& status);

    /// Power consumption of one node.
    /// @param node        as for GetNodeStatus().
    /// @param consumption filled on success.
    VKTInventoryErrorCode GetNodePowerConsumption(std::uint64_t node, ChassisPowerCon& consumption);

    /// Number of nodes of the enclosure (12 or 4), as read at construction; 0 when it could not be
    /// read. Sends nothing.
    std::uint64_t GetNodeNub();

    /// State of the module, read anew with up to six tries, 3 seconds apart. A short answer is
    /// SUCCESS with `status` untouched; a refusal is NO_DATA.
    VKTInventoryErrorCode GetVKTStatus(VKTStatus& status);

    /// Selects a power supply, with up to six tries, 3 seconds apart.
    /// @param psu number of the supply, from 1. A first-generation module takes anything above 3
    ///            as 3.
    VKTInventoryErrorCode SelectPSU(int psu);

private:
    std::unique_ptr<VKTInventoryImpl> impl_;
};

}  // namespace Tulvo

#endif
