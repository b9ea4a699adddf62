// SPDX-License-Identifier: Apache-2.0
#include "module/vkt/vkt_inventory/impl/vkt_inventory_requests.h"

#include <algorithm>
#include <utility>
#include <vector>

#include "module/vkt/vkt_inventory/impl/platform_table.h"

namespace Tulvo::Requests {

namespace {

using Data = std::vector<std::uint8_t>;

constexpr std::uint8_t kNetFnApp = 0x06;
constexpr std::uint8_t kNetFnOem = 0x32;

constexpr std::uint8_t kCmdMasterWriteRead = 0x52;  // standard, netFn App
constexpr std::uint8_t kCmdPsuStatus = 0x91;
constexpr std::uint8_t kCmdPsuRegister = 0x92;
constexpr std::uint8_t kCmdPowerConsumption = 0x98;
constexpr std::uint8_t kCmdPowerCap = 0x9D;
constexpr std::uint8_t kCmdPsuFanSpeed = 0xA5;
constexpr std::uint8_t kCmdNodeStatus = 0xA7;
constexpr std::uint8_t kCmdModuleStatus = 0xA8;
constexpr std::uint8_t kCmdIdentity = 0xB0;
constexpr std::uint8_t kCmdSelectPsu = 0xF4;

constexpr std::uint8_t kIdentityOfChassis = 0x05;

struct PSURegister
{
    std::uint8_t readCount;
    std::uint8_t code;
};

constexpr PSURegister kRegisterVersion{0x02, 0xFC};
constexpr PSURegister kRegisterManufacture{0x05, 0x99};  // PMBus MFR_ID
constexpr PSURegister kRegisterPosition{0x20, 0xF0};

constexpr std::uint8_t kPsuSlaveAddress = 0xD0;
constexpr std::uint8_t kPrivateBus7 = 0x0F;
constexpr std::uint8_t kPrivateBus6 = 0x0D;

constexpr std::uint8_t LowByte(std::uint64_t number)
{
    return static_cast<std::uint8_t>(number);
}

IPMICOMMAND Oem(std::uint8_t cmd, Data data)
{
    return {cmd, std::move(data), kNetFnOem};
}

/// Stands where a node number would: 13 and 5 are one more than the nodes of the platform.
constexpr std::uint8_t ChassisSelector(std::int32_t platformId)
{
    return IsLargePlatform(platformId) ? 0x0D : 0x05;
}

/// A first-generation module passes the read on to the supply's own bus. All supplies but the
/// first answer on the same bus at the same address: the slot number is not part of the request.
IPMICOMMAND ReadRegister(VKTIype vktType, std::uint64_t slot, PSURegister reg)
{
    if (vktType == VKT_TYPE_VKT2) {
        return Oem(kCmdPsuRegister, {LowByte(slot), reg.readCount, reg.code});
    }
    const std::uint8_t bus = slot == 1 ? kPrivateBus7 : kPrivateBus6;
    return {kCmdMasterWriteRead, {bus, kPsuSlaveAddress, reg.readCount, reg.code}, kNetFnApp};
}

/// A VKT2 takes the number only below the platform's limit; beyond it the request goes out without
/// a number.
constexpr bool Vkt2TakesNumber(std::int32_t platformId, std::int32_t psu)
{
    return (IsLargePlatform(platformId) && psu < 10) || (platformId == kPlatformFE && psu < 3);
}

}  // namespace

IPMICOMMAND MachineType()
{
    return Oem(kCmdIdentity, {kIdentityOfChassis, 0x00});
}

IPMICOMMAND SerialNumber()
{
    return Oem(kCmdIdentity, {kIdentityOfChassis, 0x01});
}

IPMICOMMAND FirmwareVersion()
{
    return Oem(kCmdModuleStatus, {});
}

IPMICOMMAND Name()
{
    return Oem(kCmdIdentity, {kIdentityOfChassis, 0x0B});
}

IPMICOMMAND ChassisPowerConsumption(std::int32_t platformId)
{
    return Oem(kCmdPowerConsumption, {ChassisSelector(platformId)});
}

IPMICOMMAND ChassisPowerCap(std::int32_t platformId)
{
    return Oem(kCmdPowerCap, {ChassisSelector(platformId)});
}

IPMICOMMAND PSUFanSpeed(std::uint64_t slot)
{
    return Oem(kCmdPsuFanSpeed, {LowByte(slot)});
}

IPMICOMMAND PSUStatus()
{
    return Oem(kCmdPsuStatus, {});
}

IPMICOMMAND NodeStatus(std::uint64_t node)
{
    return Oem(kCmdNodeStatus, {LowByte(node)});
}

IPMICOMMAND NodePowerConsumption(std::uint64_t node)
{
    return Oem(kCmdPowerConsumption, {LowByte(node)});
}

IPMICOMMAND VKTStatus()
{
    return FirmwareVersion();
}

IPMICOMMAND SelectPSU(VKTIype vktType, std::int32_t platformId, std::int32_t psu)
{
    IPMICOMMAND request = Oem(kCmdSelectPsu, {0x00});
    if (vktType != VKT_TYPE_VKT2) {
        request.data.push_back(LowByte(static_cast<std::uint32_t>(std::min(psu, 3))));
    } else if (Vkt2TakesNumber(platformId, psu)) {
        request.data.push_back(LowByte(static_cast<std::uint32_t>(psu)));
    }
    return request;
}

IPMICOMMAND PSUVersion(VKTIype vktType, std::uint64_t slot)
{
    return ReadRegister(vktType, slot, kRegisterVersion);
}

IPMICOMMAND PSUManufacture(VKTIype vktType, std::uint64_t slot)
{
    return ReadRegister(vktType, slot, kRegisterManufacture);
}

IPMICOMMAND PSUPosition(VKTIype vktType, std::uint64_t slot)
{
    return ReadRegister(vktType, slot, kRegisterPosition);
}

}  // namespace Tulvo::Requests
