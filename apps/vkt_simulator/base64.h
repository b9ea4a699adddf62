// SPDX-License-Identifier: Apache-2.0
/// @file
/// Bytes as base64.
#ifndef APPS_VKT_SIMULATOR_BASE64_H
#define APPS_VKT_SIMULATOR_BASE64_H

#include <openssl/evp.h>

#include <span>
#include <string>

namespace Tulvo::Simulator {

/// On one line, padded.
inline std::string Base64(std::span<const unsigned char> bytes)
{
    std::string text(4 * ((bytes.size() + 2) / 3) + 1, '\0');  // the encoder adds a zero byte
    EVP_EncodeBlock(reinterpret_cast<unsigned char*>(text.data()), bytes.data(),
                    static_cast<int>(bytes.size()));
    text.pop_back();
    return text;
}

}  // namespace Tulvo::Simulator

#endif
