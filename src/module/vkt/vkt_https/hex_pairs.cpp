// SPDX-License-Identifier: Apache-2.0
#include "module/vkt/vkt_https/hex_pairs.h"

#include <cstddef>

namespace Tulvo::Https {
namespace {

constexpr std::string_view kDigits = "0123456789abcdef";

unsigned ValueOf(char digit)
{
    if (digit >= 'A') {
        return static_cast<unsigned>((digit | 0x20) - 'a' + 10);
    }
    return static_cast<unsigned>(digit - '0');
}

}  // namespace

std::string ToHexPairs(const std::vector<std::uint8_t>& bytes)
{
    std::string text;
    text.reserve(bytes.size() * 2);
    for (const std::uint8_t byte : bytes) {
        text += kDigits[byte >> 4];
        text += kDigits[byte & 0xF];
    }
    return text;
}

bool AreHexPairs(std::string_view text)
{
    return text.size() % 2 == 0 &&
           text.find_first_not_of("0123456789abcdefABCDEF") == std::string_view::npos;
}

std::vector<std::uint8_t> FromHexPairs(std::string_view text)
{
    std::vector<std::uint8_t> bytes(text.size() / 2);
    for (std::size_t i = 0; i < bytes.size(); ++i) {
        bytes[i] = static_cast<std::uint8_t>(ValueOf(text[2 * i]) << 4 | ValueOf(text[2 * i + 1]));
    }
    return bytes;
}

}  // namespace Tulvo::Https
