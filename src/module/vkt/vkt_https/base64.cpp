// SPDX-License-Identifier: Apache-2.0
#include "module/vkt/vkt_https/base64.h"

#include <openssl/evp.h>

namespace Tulvo::Https {

std::string ToBase64(std::string_view bytes)
{
    // EVP_EncodeBlock writes a NUL behind its four characters for every three bytes.
    std::string text((bytes.size() + 2) / 3 * 4 + 1, '\0');
    EVP_EncodeBlock(reinterpret_cast<unsigned char*>(text.data()),
                    reinterpret_cast<const unsigned char*>(bytes.data()),
                    static_cast<int>(bytes.size()));
    text.pop_back();
    return text;
}

}  // namespace Tulvo::Https
