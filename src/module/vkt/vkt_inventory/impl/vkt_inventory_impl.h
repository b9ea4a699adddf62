// SPDX-License-Identifier: Apache-2.0
/// @file
/// What the facade asks of a backend, and what every backend keeps.
#ifndef MODULE_VKT_VKT_INVENTORY_IMPL_VKT_INVENTORY_IMPL_H
#define MODULE_VKT_VKT_INVENTORY_IMPL_VKT_INVENTORY_IMPL_H

#include <cstdint>
#include <ostream>
#include <string>
#include <vector>

#include "common/connection/connection_info.h"
#include "module/vkt/vkt_info/vkt_info.h"
#include "module/vkt/vkt_inventory/vkt_inventory_records.h"

namespace Tulvo {

class VKTInventoryParseResponse;

/// Number of a node that the enclosure does not have; inserts the text of its record.
struct WrongNode
{
    std::uint64_t node;
    std::uint64_t nodeCount;
};

std::ostream& operator<<(std::ostream& stream, const WrongNode& wrong);

/// One management module over one transport. The order of the operations is the facade's.
class VKTInventoryImpl
{
public:
    explicit VKTInventoryImpl(const TulvoConnection::ConnectionInfo& info) : connectionInfo(info) {}
    VKTInventoryImpl(const VKTInventoryImpl&) = delete;
    VKTInventoryImpl& operator=(const VKTInventoryImpl&) = delete;
    virtual ~VKTInventoryImpl() = default;

    virtual VKTInventoryErrorCode GetMachineType(std::string& machineType) = 0;
    virtual VKTInventoryErrorCode GetSerialNumber(std::string& serialNumber) = 0;
    virtual VKTInventoryErrorCode GetFirmwareVersion(std::string& firmwareVersion) = 0;
    virtual VKTInventoryErrorCode GetName(std::string& name) = 0;
    virtual VKTInventoryErrorCode GetChassisPowerConsumption(ChassisPowerCon& consumption) = 0;
    virtual VKTInventoryErrorCode GetChassisPowerCap(ChassisPowerCap& cap) = 0;
    virtual VKTInventoryErrorCode GetPSUFanSpeed(std::vector<PSUFanSpeed>& fanSpeeds) = 0;
    virtual VKTInventoryErrorCode GetPSUFwInfo(std::vector<PSUFwInfo>& firmware) = 0;
    virtual VKTInventoryErrorCode GetPSUStatus(std::vector<PSUStatus>& statuses) = 0;
    virtual VKTInventoryErrorCode GetNodeStatus(std::uint64_t node, NodeStatus& nodeStatus) = 0;
    virtual VKTInventoryErrorCode GetNodePowerConsumption(std::uint64_t node,
                                                          ChassisPowerCon& consumption) = 0;
    /// Its one body stands here all the same.
    virtual std::uint64_t GetNodeNub() = 0;
    virtual VKTInventoryErrorCode GetVKTStatus(VKTStatus& vktStatus) = 0;
    virtual VKTInventoryErrorCode SelectPSU(std::int32_t psu) = 0;

protected:
    /// Learns once, while a backend is constructed, what kind of module answers and how many nodes
    /// and supplies it manages. The status is asked by the backend's own GetVKTStatus().
    void ReadModule(VKTInfo& info, VKTInventoryParseResponse& parser);

    bool HasNode(std::uint64_t node) const { return node >= 1 && node <= nodeCount; }

    TulvoConnection::ConnectionInfo connectionInfo;
    /// Generation of the module; unknown until it tells.
    VKTIype vktType = VKT_TYPE_UNKNOWN;
    /// As read at construction; no query refreshes it.
    VKTStatus status;
    /// Power-supply queries visit slots 1 to this; 0 when the status could not be read.
    std::uint64_t psuSlotCount = 0;
    /// Node numbers 1 to this are valid; 0 when the status could not be read.
    std::uint64_t nodeCount = 0;
};

}  // namespace Tulvo

#endif
