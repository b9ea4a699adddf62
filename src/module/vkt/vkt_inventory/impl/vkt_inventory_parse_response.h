// SPDX-License-Identifier: Apache-2.0
/// @file
/// From response bytes and completion code to records and result codes. Nothing here does I/O but
/// write log records; no input, however hostile, leads to a read outside the bytes.
#ifndef MODULE_VKT_VKT_INVENTORY_IMPL_VKT_INVENTORY_PARSE_RESPONSE_H
#define MODULE_VKT_VKT_INVENTORY_IMPL_VKT_INVENTORY_PARSE_RESPONSE_H

#include <cstdint>
#include <string>
#include <vector>

#include "module/vkt/vkt_info/vkt_info.h"
#include "module/vkt/vkt_inventory/vkt_inventory_records.h"

namespace Tulvo {

/// The decoder of one backend. Every routine takes the response (without completion code), the
/// completion code and the output, which a failure leaves untouched unless a routine says
/// otherwise. The answer formats are described in docs/wire-format.md.
class VKTInventoryParseResponse
{
public:
    /// Generation of the module that answers; only VKT_TYPE_VKT2 is told apart from the rest,
    /// except in ParsePSUManufacture().
    VKTIype vktType = VKT_TYPE_UNKNOWN;

    VKTInventoryErrorCode ParseMachineType(const std::vector<std::uint8_t>& response,
                                           std::uint8_t completionCode,
                                           std::string& machineType) const;
    VKTInventoryErrorCode ParseGetSerialNumber(const std::vector<std::uint8_t>& response,
                                               std::uint8_t completionCode,
                                               std::string& serialNumber) const;
    VKTInventoryErrorCode ParseGetFirmwareVersion(const std::vector<std::uint8_t>& response,
                                                  std::uint8_t completionCode,
                                                  std::string& firmwareVersion) const;
    VKTInventoryErrorCode ParseName(const std::vector<std::uint8_t>& response,
                                    std::uint8_t completionCode, std::string& name) const;

    VKTInventoryErrorCode ParseChassisPowerConsumption(const std::vector<std::uint8_t>& response,
                                                       std::uint8_t completionCode,
                                                       ChassisPowerCon& consumption) const;
    VKTInventoryErrorCode ParseChassisPowerCap(const std::vector<std::uint8_t>& response,
                                               std::uint8_t completionCode,
                                               ChassisPowerCap& cap) const;
    VKTInventoryErrorCode ParseNodePowerConsumption(const std::vector<std::uint8_t>& response,
                                                    std::uint8_t completionCode,
                                                    ChassisPowerCon& consumption) const;

    /// @param slot   slot number of the supply that was asked, from 1.
    /// @param record an empty record.
    VKTInventoryErrorCode ParsePSUFanSpeed(const std::vector<std::uint8_t>& response,
                                           std::uint8_t completionCode, std::int32_t slot,
                                           PSUFanSpeed& record) const;
    VKTInventoryErrorCode ParsePSUVersion(const std::vector<std::uint8_t>& response,
                                          std::uint8_t completionCode, std::string& version) const;
    /// A refused or short answer is SUCCESS with `manufacturer` untouched.
    VKTInventoryErrorCode ParsePSUManufacture(const std::vector<std::uint8_t>& response,
                                              std::uint8_t completionCode,
                                              std::string& manufacturer) const;
    VKTInventoryErrorCode ParsePSUPosition(const std::vector<std::uint8_t>& response,
                                           std::uint8_t completionCode,
                                           std::string& position) const;
    /// One answer describes all supplies.
    /// @param slotCount number of power-supply slots; `statuses` is resized to it in any case.
    VKTInventoryErrorCode ParsePSUStatus(const std::vector<std::uint8_t>& response,
                                         std::uint8_t completionCode, std::uint64_t slotCount,
                                         std::vector<PSUStatus>& statuses) const;

    VKTInventoryErrorCode ParseNodeStatus(const std::vector<std::uint8_t>& response,
                                          std::uint8_t completionCode,
                                          NodeStatus& nodeStatus) const;
    /// A short answer with completion code 0 is SUCCESS with `vktStatus` untouched; a long one with
    /// another completion code fills `vktStatus` and is NO_DATA.
    VKTInventoryErrorCode ParseVKTStatusImp(const std::vector<std::uint8_t>& response,
                                            std::uint8_t completionCode,
                                            VKTStatus& vktStatus) const;
    /// The number of nodes of the platform that `vktStatus` names.
    void ParseNodeCount(const VKTStatus& vktStatus, std::uint64_t& nodeCount) const;
};

}  // namespace Tulvo

#endif
