// SPDX-License-Identifier: Apache-2.0
/// @file
/// Bytes as hexadecimal text.
#ifndef APPS_VKT_SIMULATOR_HEXADECIMAL_H
#define APPS_VKT_SIMULATOR_HEXADECIMAL_H

#include <array>
#include <cstdint>
#include <random>
#include <span>
#include <string>
#include <string_view>

namespace Tulvo::Simulator {

/// Two lower-case digits a byte, nothing in between.
inline std::string Hexadecimal(std::span<const std::uint8_t> bytes)
{
    constexpr std::string_view kDigits = "0123456789abcdef";
    std::string text;
    for (const std::uint8_t byte : bytes) {
        text += kDigits[byte >> 4U];
        text += kDigits[byte & 0x0FU];
    }
    return text;
}

/// 16 random bytes: a GUID, or a token that nobody guesses.
inline std::string RandomHexadecimal()
{
    std::random_device random;
    std::array<std::uint8_t, 16> bytes;
    for (std::uint8_t& byte : bytes) {
        byte = static_cast<std::uint8_t>(random());
    }
    return Hexadecimal(bytes);
}

}  // namespace Tulvo::Simulator

#endif
