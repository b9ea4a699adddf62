// SPDX-License-Identifier: Apache-2.0
/// @file
/// Every request that the library sends. Both backends send exactly these.
#ifndef MODULE_VKT_VKT_INVENTORY_IMPL_VKT_INVENTORY_REQUESTS_H
#define MODULE_VKT_VKT_INVENTORY_IMPL_VKT_INVENTORY_REQUESTS_H

#include <cstdint>

#include "module/ipmi/ipmi_client/ipmi_command.h"
#include "module/vkt/vkt_info/vkt_info.h"

namespace Tulvo::Requests {

// Slots and nodes count from 1 and go out as their low 8 bits.

IPMICOMMAND MachineType();
IPMICOMMAND SerialNumber();
IPMICOMMAND FirmwareVersion();
IPMICOMMAND Name();
IPMICOMMAND ChassisPowerConsumption(std::int32_t platformId);
IPMICOMMAND ChassisPowerCap(std::int32_t platformId);
IPMICOMMAND PSUFanSpeed(std::uint64_t slot);
IPMICOMMAND PSUStatus();
IPMICOMMAND NodeStatus(std::uint64_t node);
IPMICOMMAND NodePowerConsumption(std::uint64_t node);
/// The same request as FirmwareVersion(): the answer holds both.
IPMICOMMAND VKTStatus();
IPMICOMMAND SelectPSU(VKTIype vktType, std::int32_t platformId, std::int32_t psu);

// Register reads of one power supply.
IPMICOMMAND PSUVersion(VKTIype vktType, std::uint64_t slot);
IPMICOMMAND PSUManufacture(VKTIype vktType, std::uint64_t slot);
IPMICOMMAND PSUPosition(VKTIype vktType, std::uint64_t slot);

}  // namespace Tulvo::Requests

#endif
