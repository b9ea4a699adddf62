// SPDX-License-Identifier: Apache-2.0
/// @file
/// The backend over HTTPS: every request through one transport object.
#ifndef MODULE_VKT_VKT_INVENTORY_IMPL_VKT_INVENTORY_HTTPS_IMPL_H
#define MODULE_VKT_VKT_INVENTORY_IMPL_VKT_INVENTORY_HTTPS_IMPL_H

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "module/ipmi/ipmi_client/ipmi_command.h"
#include "module/vkt/vkt_https/vkt_https.h"
#include "module/vkt/vkt_inventory/impl/psu_queries.h"
#include "module/vkt/vkt_inventory/impl/vkt_inventory_impl.h"
#include "module/vkt/vkt_inventory/impl/vkt_inventory_parse_response.h"

namespace Tulvo {

/// Result of a query whose request the transport did not carry. The codes 1 to 5 are one transport
/// error to the caller; 7 is a failure of this side.
/// @param code not VKT_HTTPS_SUCCESS: then there is an answer, and the decoder decides.
VKTInventoryErrorCode ToInventoryErrorCode(VKTHttpsErrorCode code);

/// Keeps one transport object, and with it one connection, for all its requests.
///
/// What differs from the direct backend: every transport failure is mapped, with a record of the
/// query that it ended; GetPSUFanSpeed() returns what the last slot's decoder said; the retried
/// queries go on without a pause after a try that did not reach the module; the first three queries
/// trace their entry.
class VKTInventoryHttpsImpl : public VKTInventoryImpl
{
public:
    explicit VKTInventoryHttpsImpl(const TulvoConnection::ConnectionInfo& info);
    ~VKTInventoryHttpsImpl() override = default;

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
    /// Sends a request; a failure is recorded with the query's text.
    VKTInventoryErrorCode Send(const char* failure, const IPMICOMMAND& request,
                               Answer& answer) const;

    /// One request, one answer, one decoder.
    template <class Parse, class... Arguments>
    VKTInventoryErrorCode Query(const char* failure, const IPMICOMMAND& request, Parse parse,
                                Arguments&&... arguments) const;

    template <class Request, class Parse>
    SlotWalk ReadRegister(const char* failure, Request request, Parse parse,
                          SlotTexts& texts) const;
    VKTInventoryErrorCode QueryPSUVersion(SlotTexts& versions) const;
    VKTInventoryErrorCode QueryPSUManufacture(SlotTexts& manufacturers) const;
    VKTInventoryErrorCode QueryPSUPosition(SlotTexts& positions) const;

    std::unique_ptr<VKTHttps> transport_;  // ends after the decoder
    std::unique_ptr<VKTInventoryParseResponse> parser_;
};

}  // namespace Tulvo

#endif
