// SPDX-License-Identifier: Apache-2.0
#include "module/vkt/vkt_inventory/vkt_inventory.h"

#include "module/vkt/vkt_inventory/impl/vkt_inventory_https_impl.h"
#include "module/vkt/vkt_inventory/impl/vkt_inventory_ipmi_impl.h"

namespace Tulvo {

namespace {

constexpr std::int32_t kConnectionTypeIpmi = 7;
constexpr std::int32_t kConnectionTypeHttps = 9;

std::unique_ptr<VKTInventoryImpl> MakeBackend(const TulvoConnection::ConnectionInfo& info)
{
    switch (info.connectionType) {
        case kConnectionTypeHttps:
            return std::make_unique<VKTInventoryHttpsImpl>(info);
        case kConnectionTypeIpmi:
            return std::make_unique<VKTInventoryIpmiImpl>(info);
        default:
            return nullptr;
    }
}

}  // namespace

VKTInventory::VKTInventory(const TulvoConnection::ConnectionInfo& connectionInfo)
    : impl_(MakeBackend(connectionInfo))
{
}

VKTInventory::~VKTInventory() = default;

VKTInventoryErrorCode VKTInventory::GetMachineType(std::string& machineType)
{
    return impl_->GetMachineType(machineType);
}

VKTInventoryErrorCode VKTInventory::GetSerialNumber(std::string& serialNumber)
{
    return impl_->GetSerialNumber(serialNumber);
}

VKTInventoryErrorCode VKTInventory::GetFirmwareVersion(std::string& firmwareVersion)
{
    return impl_->GetFirmwareVersion(firmwareVersion);
}

VKTInventoryErrorCode VKTInventory::GetName(std::string& name)
{
    return impl_->GetName(name);
}

VKTInventoryErrorCode VKTInventory::GetChassisPowerConsumption(ChassisPowerCon& consumption)
{
    return impl_->GetChassisPowerConsumption(consumption);
}

VKTInventoryErrorCode VKTInventory::GetChassisPowerCap(ChassisPowerCap& cap)
{
    return impl_->GetChassisPowerCap(cap);
}

VKTInventoryErrorCode VKTInventory::GetPSUFanSpeed(std::vector<PSUFanSpeed>& fanSpeeds)
{
    return impl_->GetPSUFanSpeed(fanSpeeds);
}

VKTInventoryErrorCode VKTInventory::GetPSUFwInfo(std::vector<PSUFwInfo>& firmware)
{
    return impl_->GetPSUFwInfo(firmware);
}

VKTInventoryErrorCode VKTInventory::GetPSUStatus(std::vector<PSUStatus>& statuses)
{
    return impl_->GetPSUStatus(statuses);
}

VKTInventoryErrorCode VKTInventory::GetNodeStatus(std::uint64_t node, NodeStatus& status)
{
    return impl_->GetNodeStatus(node, status);
}

VKTInventoryErrorCode VKTInventory::GetNodePowerConsumption(std::uint64_t node,
                                                            ChassisPowerCon& consumption)
{
    return impl_->GetNodePowerConsumption(node, consumption);
}

std::uint64_t VKTInventory::GetNodeNub()
{
    return impl_->GetNodeNub();
}

VKTInventoryErrorCode VKTInventory::GetVKTStatus(VKTStatus& status)
{
    return impl_->GetVKTStatus(status);
}

VKTInventoryErrorCode VKTInventory::SelectPSU(int psu)
{
    return impl_->SelectPSU(psu);
}

}  // namespace Tulvo
