// SPDX-License-Identifier: Apache-2.0
/// @file
/// Bytes as hexadecimal pairs: lower case out, either case in.
#ifndef MODULE_VKT_VKT_HTTPS_HEX_PAIRS_H
#define MODULE_VKT_VKT_HTTPS_HEX_PAIRS_H

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace Tulvo::Https {

std::string ToHexPairs(const std::vector<std::uint8_t>& bytes);

/// Whether `text` is nothing but pairs of hexadecimal digits; so is an empty text.
bool AreHexPairs(std::string_view text);

/// The bytes of a text for which AreHexPairs() holds.
std::vector<std::uint8_t> FromHexPairs(std::string_view text);

}  // namespace Tulvo::Https

#endif
