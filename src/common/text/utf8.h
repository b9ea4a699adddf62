// SPDX-License-Identifier: Apache-2.0
/// @file
/// Texts for formats that take UTF-8 only.
#ifndef COMMON_TEXT_UTF8_H
#define COMMON_TEXT_UTF8_H

#include <string>
#include <string_view>

namespace Tulvo::Text {

/// UTF-8 in which each byte is the character with the same number (U+0000 to U+00FF): a text of the
/// module may hold any byte; the output stays valid, and no byte is lost.
inline std::string BytesAsUtf8(std::string_view bytes)
{
    std::string text;
    text.reserve(bytes.size());
    for (const char character : bytes) {
        const auto byte = static_cast<unsigned char>(character);
        if (byte < 0x80) {
            text += character;
        } else {
            text += static_cast<char>(0xC0U | (byte >> 6U));
            text += static_cast<char>(0x80U | (byte & 0x3FU));
        }
    }
    return text;
}

}  // namespace Tulvo::Text

#endif
