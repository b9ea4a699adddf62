// SPDX-License-Identifier: Apache-2.0
/// @file
/// What queries give: a result code, and records of readings.
///
/// Readings are texts in decimal, in the module's own unit; "N/A" is a reading that the module
/// does not have.
#ifndef MODULE_VKT_VKT_INVENTORY_VKT_INVENTORY_RECORDS_H
#define MODULE_VKT_VKT_INVENTORY_VKT_INVENTORY_RECORDS_H

#include <cstdint>
#include <string>

/// What the library offers; all else in it is hidden.
#define VKT_INVENTORY_EXPORT __attribute__((visibility("default")))

namespace Tulvo {

/// Result of a query.
enum VKTInventoryErrorCode : std::int32_t
{
    /// The output is filled, as the query describes.
    VKT_INVENTORY_SUCCESS = 0,
    /// HTTPS only: TLS, log-in, time-out, HTTP status or a malformed reply.
    VKT_INVENTORY_TRANSPORT_ERROR = 1,
    /// No connection to the module; over RMCP+ also a refused log-in.
    VKT_INVENTORY_CONNECT_FAILED = 2,
    /// The module refused, its answer was too short, or the node number is out of range; over RMCP+
    /// also an answer that never came, over HTTPS also a failure of this side.
    VKT_INVENTORY_FAILED = 3,
    /// There is nothing to report; over HTTPS also an empty reply.
    VKT_INVENTORY_NO_DATA = 4,
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
    std::string speedB;  ///< Speed of fan B; "N/A" as above; empty unless the module is a VKT2.
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

    std::string psu;  ///< "PSU" and the slot number.
    /// "PSU", the manufacturer's text, which is empty if the module does not tell it, and the
    /// position text.
    std::string manufacturer;
    std::string version;  ///< Firmware version.
    std::string slot;     ///< Slot number.
    std::string name;     ///< "Power Supply " and the slot number.
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

}  // namespace Tulvo

#endif
