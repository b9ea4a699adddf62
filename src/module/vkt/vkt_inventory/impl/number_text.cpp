// SPDX-License-Identifier: Apache-2.0
#include "module/vkt/vkt_inventory/impl/number_text.h"

#include <array>
#include <charconv>

#include "common/text/hexadecimal.h"

namespace Tulvo {

namespace {

template <class Number>
std::string ToText(Number value, int base)
{
    std::array<char, 20> digits;  // 2^64 - 1 in decimal
    const auto end = std::to_chars(digits.data(), digits.data() + digits.size(), value, base).ptr;
    return {digits.data(), end};
}

}  // namespace

std::string Decimal(std::uint64_t value)
{
    return ToText(value, 10);
}

std::string Hex(std::uint32_t value)
{
    return ToText(value, 16);
}

std::string HexOfTwoDigits(std::uint8_t value)
{
    std::string text;
    Text::AppendHexPair(text, value);
    return text;
}

std::ostream& operator<<(std::ostream& stream, AsHex number)
{
    return stream ? stream << Hex(number.value) : stream;
}

}  // namespace Tulvo
