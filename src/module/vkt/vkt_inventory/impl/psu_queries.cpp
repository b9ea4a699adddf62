// SPDX-License-Identifier: Apache-2.0
#include "module/vkt/vkt_inventory/impl/psu_queries.h"

namespace Tulvo {

std::optional<PSUFwInfo> FwInfoOf(const PSURegisters& registers, std::uint64_t slot)
{
    const auto key = static_cast<std::int32_t>(slot);
    const auto version = registers.versions.find(key);
    const auto manufacturer = registers.manufacturers.find(key);
    const auto position = registers.positions.find(key);
    if (version == registers.versions.end() || manufacturer == registers.manufacturers.end() ||
        position == registers.positions.end()) {
        return std::nullopt;
    }
    PSUFwInfo info;
    info.slot = std::to_string(key);
    info.psu = "PSU" + info.slot;
    info.manufacturer = "PSU" + manufacturer->second + position->second;
    info.version = version->second;
    info.name = "Power Supply " + info.slot;
    return info;
}

std::ostream& operator<<(std::ostream& stream, const FwInfoTrace& trace)
{
    const PSUFwInfo& info = trace.info;
    return stream << info.name << " " << info.psu << " " << info.slot << " " << info.version << " "
                  << info.manufacturer;
}

}  // namespace Tulvo
