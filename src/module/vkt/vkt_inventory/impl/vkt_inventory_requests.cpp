// SPDX-License-Identifier: Apache-2.0
#include "module/vkt/vkt_inventory/impl/vkt_inventory_requests.h"

#include <algorithm>
#include <utility>
#include <vector>

#include "module/vkt/vkt_inventory/impl/platform_table.h"

namespace Tulvo::Requests {

namespace {

using Data = std::vector<std::uint8_t>;

constexpr std::uint8_t NETFN_APP = 0x06;
constexpr std::uint8_t NETFN_OEM = 0x32;

constexpr std::uint8_t CMD_MASTER_WRITE_READ = 0x52;  // standard, netFn App
constexpr std::uint8_t CMD_PSU_STATUS = 0x91;
constexpr std::uint8_t CMD_PSU_REGISTER = 0x92;
constexpr std::uint8_t CMD_POWER_CONSUMPTION = 0x98;
constexpr std::uint8_t CMD_POWER_CAP = 0x9D;
constexpr std::uint8_t CMD_PSU_FAN_SPEED = 0xA5;
constexpr std::uint8_t CMD_NODE_STATUS = 0xA7;
constexpr std::uint8_t CMD_MODULE_STATUS = 0xA8;
constexpr std::uint8_t CMD_IDENTITY = 0xB0;
constexpr std::uint8_t CMD_SELECT_PSU = 0xF4;

constexpr std::uint8_t IDENTITY_OF_CHASSIS = 0x05;

struct PSURegister
{
    std::uint8_t readCount;
    std::uint8_t code;
};

constexpr PSURegister REGISTER_VERSION{0x02, 0xFC};
constexpr PSURegister REGISTER_MANUFACTURE{0x05, 0x99};  // PMBus MFR_ID
constexpr PSURegister REGISTER_POSITION{0x20, 0xF0};

constexpr std::uint8_t PSU_SLAVE_ADDRESS = 0xD0;
constexpr std::uint8_t PRIVATE_BUS_7 = 0x0F;
constexpr std::uint8_t PRIVATE_BUS_6 = 0x0D;

constexpr std::uint8_t LowByte(std::uint64_t number)
{
    return static_cast<std::uint8_t>(number);
}

IPMICOMMAND Oem(std::uint8_t cmd, Data data)
{
    return {cmd, std::move(data), NETFN_OEM};
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
        return Oem(CMD_PSU_REGISTER, {LowByte(slot), reg.readCount, reg.code});
    }
    const std::uint8_t bus = slot == 1 ? PRIVATE_BUS_7 : PRIVATE_BUS_6;
    return {CMD_MASTER_WRITE_READ, {bus, PSU_SLAVE_ADDRESS, reg.readCount, reg.code}, NETFN_APP};
}

/// A VKT2 takes the number only below the platform's limit; beyond it the request goes out without
/// a number.
constexpr bool Vkt2TakesNumber(std::int32_t platformId, std::int32_t psu)
{
    return (IsLargePlatform(platformId) && psu < 10) || (platformId == PLATFORM_FE && psu < 3);
}

}  // namespace

IPMICOMMAND MachineType()
{
    return Oem(CMD_IDENTITY, {IDENTITY_OF_CHASSIS, 0x00});
}

IPMICOMMAND SerialNumber()
{
    return Oem(CMD_IDENTITY, {IDENTITY_OF_CHASSIS, 0x01});
}

IPMICOMMAND FirmwareVersion()
{
    return Oem(CMD_MODULE_STATUS, {});
}

IPMICOMMAND Name()
{
    return Oem(CMD_IDENTITY, {IDENTITY_OF_CHASSIS, 0x0B});
}

IPMICOMMAND ChassisPowerConsumption(std::int32_t platformId)
{
    return Oem(CMD_POWER_CONSUMPTION, {ChassisSelector(platformId)});
}

IPMICOMMAND ChassisPowerCap(std::int32_t platformId)
{
    return Oem(CMD_POWER_CAP, {ChassisSelector(platformId)});
}

IPMICOMMAND PSUFanSpeed(std::uint64_t slot)
{
    return Oem(CMD_PSU_FAN_SPEED, {LowByte(slot)});
}

IPMICOMMAND PSUStatus()
{
    return Oem(CMD_PSU_STATUS, {});
}

IPMICOMMAND NodeStatus(std::uint64_t node)
{
    return Oem(CMD_NODE_STATUS, {LowByte(node)});
}

IPMICOMMAND NodePowerConsumption(std::uint64_t node)
{
    return Oem(CMD_POWER_CONSUMPTION, {LowByte(node)});
}

IPMICOMMAND VKTStatus()
{
    return FirmwareVersion();
}

IPMICOMMAND SelectPSU(VKTIype vktType, std::int32_t platformId, std::int32_t psu)
{
    IPMICOMMAND request = Oem(CMD_SELECT_PSU, {0x00});
    if (vktType != VKT_TYPE_VKT2) {
        request.data.push_back(LowByte(static_cast<std::uint32_t>(std::min(psu, 3))));
    } else if (Vkt2TakesNumber(platformId, psu)) {
        request.data.push_back(LowByte(static_cast<std::uint32_t>(psu)));
    }
    return request;
}

IPMICOMMAND PSUVersion(VKTIype vktType, std::uint64_t slot)
{
    return ReadRegister(vktType, slot, REGISTER_VERSION);
}

IPMICOMMAND PSUManufacture(VKTIype vktType, std::uint64_t slot)
{
    return ReadRegister(vktType, slot, REGISTER_MANUFACTURE);
}

IPMICOMMAND PSUPosition(VKTIype vktType, std::uint64_t slot)
{
    return ReadRegister(vktType, slot, REGISTER_POSITION);
}

}  // namespace Tulvo::Requests
