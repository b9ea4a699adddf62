// SPDX-License-Identifier: Apache-2.0
#include "module/vkt/vkt_inventory/impl/byte_dump.h"

#include "module/vkt/vkt_inventory/impl/number_text.h"

namespace Tulvo {

std::ostream& operator<<(std::ostream& stream, const CharacterDump& dump)
{
    if (!stream) {
        return stream;
    }
    for (const std::uint8_t byte : dump.bytes) {
        stream << static_cast<char>(byte) << ' ';
    }
    return stream;
}

std::ostream& operator<<(std::ostream& stream, const HexDump& dump)
{
    if (!stream) {
        return stream;
    }
    for (const std::uint8_t byte : dump.bytes) {
        stream << "0x" << AsHex{byte} << ' ';
    }
    return stream;
}

}  // namespace Tulvo
