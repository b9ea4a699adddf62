// SPDX-License-Identifier: Apache-2.0
/// @file
/// The pin of a public key: "sha256//" and the SHA-256 of its DER in Base64, as curl's
/// --pinnedpubkey takes it.
#ifndef COMMON_TEXT_PIN_H
#define COMMON_TEXT_PIN_H

#include <cstddef>
#include <string_view>

namespace Tulvo::Text {

inline bool IsOnePin(std::string_view pin)
{
    constexpr std::string_view kScheme = "sha256//";
    constexpr std::size_t kDigits = 43;  // of 32 bytes in Base64, before one "="
    constexpr std::string_view kBase64 =
        "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
    if (!pin.starts_with(kScheme)) {
        return false;
    }
    const std::string_view digest = pin.substr(kScheme.size());
    return digest.find_first_not_of(kBase64) == kDigits && digest.substr(kDigits) == "=";
}

/// Whether `pins` is one pin or several, separated by semicolons.
inline bool ArePins(std::string_view pins)
{
    for (;;) {
        const std::size_t end = pins.find(';');
        if (!IsOnePin(pins.substr(0, end))) {
            return false;
        }
        if (end == std::string_view::npos) {
            return true;
        }
        pins.remove_prefix(end + 1);
    }
}

}  // namespace Tulvo::Text

#endif
