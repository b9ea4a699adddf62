// SPDX-License-Identifier: Apache-2.0
/// @file
/// What a platform id says about the enclosure.
#ifndef MODULE_VKT_VKT_INVENTORY_IMPL_PLATFORM_TABLE_H
#define MODULE_VKT_VKT_INVENTORY_IMPL_PLATFORM_TABLE_H

#include <array>
#include <cstdint>

namespace Tulvo {

constexpr std::int32_t kPlatformFC = 0xFC;
constexpr std::int32_t kPlatformFD = 0xFD;
constexpr std::int32_t kPlatformFE = 0xFE;  ///< Also what a module of no known platform counts as.

/// The newer platforms: 12 nodes, 6 or 9 power supplies.
constexpr bool IsLargePlatform(std::int32_t platformId)
{
    return platformId == kPlatformFC || platformId == kPlatformFD;
}

struct PlatformRow
{
    std::int32_t platformId;
    std::uint64_t nodeCount;
};

constexpr std::array<PlatformRow, 3> kPlatformTable{{
    {kPlatformFE, 4},
    {kPlatformFD, 12},
    {kPlatformFC, 12},
}};

/// Whether a status answer that begins so is a VKT2's; a first generation has something else there.
constexpr bool IsVkt2Platform(std::uint8_t moduleType)
{
    for (const PlatformRow& row : kPlatformTable) {
        if (row.platformId == moduleType) {
            return true;
        }
    }
    return false;
}

constexpr std::uint64_t kNodeCountOfUnknownPlatform = 4;

constexpr std::uint64_t NodeCountOf(std::int32_t platformId)
{
    for (const PlatformRow& row : kPlatformTable) {
        if (row.platformId == platformId) {
            return row.nodeCount;
        }
    }
    return kNodeCountOfUnknownPlatform;
}

}  // namespace Tulvo

#endif
