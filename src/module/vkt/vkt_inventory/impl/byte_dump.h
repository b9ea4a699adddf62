// SPDX-License-Identifier: Apache-2.0
/// @file
/// Bytes as they stand in trace records. These are inserters, so that a record that is not written
/// costs no formatting.
#ifndef MODULE_VKT_VKT_INVENTORY_IMPL_BYTE_DUMP_H
#define MODULE_VKT_VKT_INVENTORY_IMPL_BYTE_DUMP_H

#include <cstdint>
#include <ostream>
#include <span>

namespace Tulvo {

/// Every byte as itself and a blank: 0x41 0x00 is written as 'A', ' ', NUL, ' '.
struct CharacterDump
{
    std::span<const std::uint8_t> bytes;
};

/// Every byte in hexadecimal and a blank: 0x41 0x00 is written as "0x41 0x0 ".
struct HexDump
{
    std::span<const std::uint8_t> bytes;
};

std::ostream& operator<<(std::ostream& stream, const CharacterDump& dump);
std::ostream& operator<<(std::ostream& stream, const HexDump& dump);

}  // namespace Tulvo

#endif
