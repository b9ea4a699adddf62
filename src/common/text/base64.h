// SPDX-License-Identifier: Apache-2.0
/// @file
/// Bytes in Base64, by OpenSSL: whoever includes this links libcrypto.
#ifndef COMMON_TEXT_BASE64_H
#define COMMON_TEXT_BASE64_H

#include <openssl/evp.h>

#include <cstdint>
#include <span>
#include <string>
#include <string_view>

namespace Tulvo::Text {

/// On one line, padded.
inline std::string ToBase64(std::span<const std::uint8_t> bytes)
{
    // The encoder writes a NUL behind its four characters for every three bytes.
    std::string text((bytes.size() + 2) / 3 * 4 + 1, '\0');
    EVP_EncodeBlock(reinterpret_cast<unsigned char*>(text.data()), bytes.data(),
                    static_cast<int>(bytes.size()));
    text.pop_back();
    return text;
}

inline std::string ToBase64(std::string_view bytes)
{
    return ToBase64(std::span(reinterpret_cast<const std::uint8_t*>(bytes.data()), bytes.size()));
}

}  // namespace Tulvo::Text

#endif
