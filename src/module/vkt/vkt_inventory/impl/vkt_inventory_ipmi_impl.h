// SPDX-License-Identifier: Apache-2.0
/// @file
/// The direct backend: every request over an RMCP+ session of its own.
#ifndef MODULE_VKT_VKT_INVENTORY_IMPL_VKT_INVENTORY_IPMI_IMPL_H
#define MODULE_VKT_VKT_INVENTORY_IMPL_VKT_INVENTORY_IPMI_IMPL_H

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "module/ipmi/ipmi_client/ipmi_command.h"
#include "module/vkt/vkt_inventory/impl/psu_queries.h"
#include "module/vkt/vkt_inventory/impl/vkt_inventory_impl.h"
#include "module/vkt/vkt_inventory/impl/vkt_inventory_parse_response.h"

namespace Tulvo {

/// Keeps no connection: a module has few sessions, and one that is held locks others out.
///
/// What differs from the backend over HTTPS: a transport failure is CONNECT_FAILED and nothing
/// else; only the opening of a connection can fail, a lost answer shows in completion code and
/// length; GetPSUFanSpeed() ignores what the last slot's decoder said; the retried queries pause
/// after every try, also after one that did not reach the module.
class VKTInventoryIpmiImpl : public VKTInventoryImpl
{
public:
    explicit VKTInventoryIpmiImpl(const TulvoConnection::ConnectionInfo& info);
    ~VKTInventoryIpmiImpl() override = default;

    VKTInventoryErrorCode GetMachineType(std::string& machineType) override;
    VKTInventoryErrorCode GetSerialNumber(std::string& serialNumber) override;
    VKTInventoryErrorCode GetFirmwareVersion(std::string& firmwareVersion) override;
    VKTInventoryErrorCode GetName(std::string& name) override;
    VKTInventoryErrorCode GetChassisPowerConsumption(ChassisPowerCon& consumption) override;
    VKTInventoryErrorCode GetChassisPowerCap(ChassisPowerCap& cap) override;
    VKTInventoryErrorCode GetPSUFanSpeed(std::vector<PSUFanSpeed>& fanSpeeds) override;
    VKTInventoryErrorCode GetPSUFwInfo(std::vector<PSUFwInfo>& firmware) override;
    VKTInventoryErrorCode GetPSUStatus(std::vector<PSUStatus>& statuses) override;
    VKTInventoryErrorCode GetNodeStatus(std::uint64_t node, NodeStatus& nodeStatus) override;
    VKTInventoryErrorCode GetNodePowerConsumption(std::uint64_t node,
                                                  ChassisPowerCon& consumption) override;
    std::uint64_t GetNodeNub() override { return VKTInventoryImpl::GetNodeNub(); }
    VKTInventoryErrorCode GetVKTStatus(VKTStatus& vktStatus) override;
    VKTInventoryErrorCode SelectPSU(std::int32_t psu) override;

private:
    /// The one place that touches the network.
    VKTInventoryErrorCode SendIpmiCmd(const IPMICOMMAND& request,
                                      std::vector<std::uint8_t>& response,
                                      std::uint8_t& completionCode) const;
    VKTInventoryErrorCode SendIpmiCmd(const IPMICOMMAND& request, Answer& answer) const;

    /// One request, one answer, one decoder.
    template <class Parse, class... Arguments>
    VKTInventoryErrorCode Query(const IPMICOMMAND& request, Parse parse,
                                Arguments&&... arguments) const;

    template <class Request, class Parse>
    SlotWalk ReadRegister(Request request, Parse parse, SlotTexts& texts) const;
    VKTInventoryErrorCode QueryPSUVersion(SlotTexts& versions) const;
    VKTInventoryErrorCode QueryPSUManufacture(SlotTexts& manufacturers) const;
    VKTInventoryErrorCode QueryPSUPosition(SlotTexts& positions) const;

    std::unique_ptr<VKTInventoryParseResponse> parser_;
};

}  // namespace Tulvo

#endif
