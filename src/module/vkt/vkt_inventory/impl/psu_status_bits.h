// SPDX-License-Identifier: Apache-2.0
/// @file
/// The answer about all power supplies at once: four bytes, in each of them one bit a supply.
#ifndef MODULE_VKT_VKT_INVENTORY_IMPL_PSU_STATUS_BITS_H
#define MODULE_VKT_VKT_INVENTORY_IMPL_PSU_STATUS_BITS_H

#include <cstddef>
#include <cstdint>
#include <ostream>

#include "module/vkt/vkt_info/vkt_info.h"
#include "module/vkt/vkt_inventory/impl/byte_view.h"
#include "module/vkt/vkt_inventory/vkt_inventory_records.h"

namespace Tulvo {

constexpr std::size_t kPsuStatusMinimumLength = 6;
constexpr char kPsuStatusHeading[] = "The gotted PSU psu_status is :\n";

/// One bit a supply, the first supply's the least significant. Supplies beyond the eighth have
/// none: theirs count as 0.
struct PSUStatusBytes
{
    std::uint8_t epow;
    std::uint8_t throttle;
    std::uint8_t present;
    std::uint8_t pwrGood;
};

/// Whether the bit of a supply, counted from 0, is set.
constexpr bool BitOf(std::uint8_t byte, std::uint64_t supply)
{
    return supply < 8 && (byte >> supply & 1) != 0;
}

/// Picks the four bytes from a good answer of at least kPsuStatusMinimumLength bytes.
PSUStatusBytes ReadPSUStatusBytes(VKTIype vktType, const ByteView& response);

/// @param supply counts from 0.
void FillPSUStatus(const PSUStatusBytes& bytes, std::uint64_t supply, PSUStatus& status);

/// Inserts the bits of all supplies; an inserter, so that a record that is not written costs
/// nothing.
struct PSUStatusTrace
{
    PSUStatusBytes bytes;
    std::uint64_t slotCount;
};

std::ostream& operator<<(std::ostream& stream, const PSUStatusTrace& trace);

}  // namespace Tulvo

#endif
