// SPDX-License-Identifier: Apache-2.0
/// @file
/// Bytes in Base64.
#ifndef MODULE_VKT_VKT_HTTPS_BASE64_H
#define MODULE_VKT_VKT_HTTPS_BASE64_H

#include <string>
#include <string_view>

namespace Tulvo::Https {

std::string ToBase64(std::string_view bytes);

}  // namespace Tulvo::Https

#endif
