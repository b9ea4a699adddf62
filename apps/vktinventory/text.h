// SPDX-License-Identifier: Apache-2.0
/// @file
/// Texts from the module (and from the command line) may hold any byte. They are made safe once per
/// destination: for people, so that no answer drives their terminal; for JSON, so that it stays
/// valid and no byte is lost.
#ifndef APPS_VKTINVENTORY_TEXT_H
#define APPS_VKTINVENTORY_TEXT_H

#include <string>
#include <string_view>

namespace Tulvo::Cli {

/// Printable ASCII stays; every other byte is written as `\xNN`.
std::string Printable(std::string_view bytes);

/// UTF-8 in which each byte of `bytes` is the character with the same number (U+0000 to U+00FF).
std::string BytesAsUtf8(std::string_view bytes);

}  // namespace Tulvo::Cli

#endif
