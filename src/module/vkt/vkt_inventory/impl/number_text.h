// SPDX-License-Identifier: Apache-2.0
/// @file
/// Numbers as texts: decimal and lower-case hexadecimal, whatever locale the host program has set.
#ifndef MODULE_VKT_VKT_INVENTORY_IMPL_NUMBER_TEXT_H
#define MODULE_VKT_VKT_INVENTORY_IMPL_NUMBER_TEXT_H

#include <cstdint>
#include <ostream>
#include <string>

namespace Tulvo {

/// 10 gives "10".
std::string Decimal(std::uint64_t value);

/// 10 gives "a".
std::string Hex(std::uint32_t value);

/// 10 gives "0a".
std::string HexOfTwoDigits(std::uint8_t value);

/// Inserts what Hex() gives, and nothing into a stream that takes nothing.
struct AsHex
{
    std::uint32_t value;
};

std::ostream& operator<<(std::ostream& stream, AsHex number);

}  // namespace Tulvo

#endif
