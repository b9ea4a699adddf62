// SPDX-License-Identifier: Apache-2.0
/// @file
/// What a platform id says about the enclosure.
#ifndef MODULE_VKT_VKT_INVENTORY_IMPL_PLATFORM_TABLE_H
#define MODULE_VKT_VKT_INVENTORY_IMPL_PLATFORM_TABLE_H

#include <array>
#include <cstdint>

namespace Tulvo {

constexpr std::int32_t PLATFORM_FC = 0xFC;
constexpr std::int32_t PLATFORM_FD = 0xFD;
constexpr std::int32_t PLATFORM_FE = 0xFE;  ///< Also what a module of no known platform counts as.

/// The newer platforms: 12 nodes, 6 or 9 power supplies.
constexpr bool IsLargePlatform(std::int32_t platformId)
{
    return platformId == PLATFORM_FC || platformId == PLATFORM_FD;
}

struct PlatformRow
{
    std::int32_t platformId;
    std::uint64_t nodeCount;
};

constexpr std::array<PlatformRow, 3> PLATFORM_TABLE{{
    {PLATFORM_FE, 4},
    {PLATFORM_FD, 12},
    {PLATFORM_FC, 12},
}};

constexpr std::uint64_t NODE_COUNT_OF_UNKNOWN_PLATFORM = 4;

constexpr std::uint64_t NodeCountOf(std::int32_t platformId)
{
    for (const PlatformRow& row : PLATFORM_TABLE) {
        if (row.platformId == platformId) {
            return row.nodeCount;
        }
    }
    return NODE_COUNT_OF_UNKNOWN_PLATFORM;
}

}  // namespace Tulvo

#endif
