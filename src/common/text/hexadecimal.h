// SPDX-License-Identifier: Apache-2.0
/// @file
/// Bytes as pairs of hexadecimal digits, nothing in between: lower case out, either case in.
#ifndef COMMON_TEXT_HEXADECIMAL_H
#define COMMON_TEXT_HEXADECIMAL_H

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace Tulvo::Text {

inline void AppendHexPair(std::string& text, std::uint8_t byte)
{
    constexpr std::string_view kDigits = "0123456789abcdef";
    text += kDigits[byte >> 4U];
    text += kDigits[byte & 0x0FU];
}

inline std::string ToHexPairs(std::span<const std::uint8_t> bytes)
{
    std::string text;
    text.reserve(bytes.size() * 2);
    for (const std::uint8_t byte : bytes) {
        AppendHexPair(text, byte);
    }
    return text;
}

/// Whether `text` is nothing but pairs of hexadecimal digits; so is an empty text.
inline bool AreHexPairs(std::string_view text)
{
    return text.size() % 2 == 0 &&
           text.find_first_not_of("0123456789abcdefABCDEF") == std::string_view::npos;
}

/// The bytes of a text for which AreHexPairs() holds.
inline std::vector<std::uint8_t> FromHexPairs(std::string_view text)
{
    const auto valueOf = [](char digit) {
        return static_cast<unsigned>(digit >= 'A' ? (digit | 0x20) - 'a' + 10 : digit - '0');
    };
    std::vector<std::uint8_t> bytes(text.size() / 2);
    for (std::size_t i = 0; i < bytes.size(); ++i) {
        bytes[i] = static_cast<std::uint8_t>(valueOf(text[2 * i]) << 4U | valueOf(text[2 * i + 1]));
    }
    return bytes;
}

}  // namespace Tulvo::Text

#endif
