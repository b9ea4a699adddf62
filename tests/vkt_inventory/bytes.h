// SPDX-License-Identifier: Apache-2.0
/// @file
/// Bytes as a person writes them.
#ifndef TESTS_VKT_INVENTORY_BYTES_H
#define TESTS_VKT_INVENTORY_BYTES_H

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace Tulvo::Tests {

using Bytes = std::vector<std::uint8_t>;

/// "80 02 FF" as three bytes.
inline Bytes Hex(const std::string& digits)
{
    Bytes bytes;
    for (std::size_t at = 0; at < digits.size(); at += 3) {
        bytes.push_back(static_cast<std::uint8_t>(std::stoul(digits.substr(at, 2), nullptr, 16)));
    }
    return bytes;
}

/// The characters of a text.
inline Bytes Chars(std::string_view text)
{
    return {text.begin(), text.end()};
}

inline Bytes operator+(Bytes left, const Bytes& right)
{
    left.insert(left.end(), right.begin(), right.end());
    return left;
}

}  // namespace Tulvo::Tests

#endif
