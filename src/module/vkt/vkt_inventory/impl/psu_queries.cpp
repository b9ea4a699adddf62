// SPDX-License-Identifier: Apache-2.0
#include "module/vkt/vkt_inventory/impl/psu_queries.h"

namespace Tulvo {

namespace {

bool HasModule(const PSURegisters& registers, std::int32_t slot)
{
    return registers.versions.contains(slot) && registers.manufacturers.contains(slot) &&
           registers.positions.contains(slot);
}

PSUFwInfo FwInfoOf(const PSURegisters& registers, std::int32_t slot)
{
    PSUFwInfo info;
    info.slot = std::to_string(slot);
    info.psu = "PSU" + info.slot;
    info.manufacturer = "PSU" + registers.manufacturers.at(slot) + registers.positions.at(slot);
    info.version = registers.versions.at(slot);
    info.name = "Power Supply " + info.slot;
    return info;
}

}  // namespace

void AppendPSUFwInfo(const PSURegisters& registers, std::uint64_t slotCount, const LogSite& site,
                     std::vector<PSUFwInfo>& firmware)
{
    for (std::uint64_t slot = 1; slot <= slotCount; ++slot) {
        const auto key = static_cast<std::int32_t>(slot);
        if (!HasModule(registers, key)) {
            VKT_LOG_AT(kLogTrace, site) << "PSU slot " << slot << " has no PSU module.";
            continue;
        }
        const PSUFwInfo& info = firmware.emplace_back(FwInfoOf(registers, key));
        VKT_LOG_AT(kLogTrace, site) << info.name << " " << info.psu << " " << info.slot << " "
                                    << info.version << " " << info.manufacturer;
    }
}

}  // namespace Tulvo
