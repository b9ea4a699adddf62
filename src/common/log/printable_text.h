// SPDX-License-Identifier: Apache-2.0
/// @file
/// What a module answers is nobody's friend: made harmless for terminals and line-wise readers.
#ifndef COMMON_LOG_PRINTABLE_TEXT_H
#define COMMON_LOG_PRINTABLE_TEXT_H

#include <string>
#include <string_view>

namespace Tulvo {

/// `text` with each byte that belongs to no printable UTF-8 character, line feed or tab as `\xNN`.
std::string PrintableText(std::string_view text);

}  // namespace Tulvo

#endif
