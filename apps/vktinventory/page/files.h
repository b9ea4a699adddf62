// SPDX-License-Identifier: Apache-2.0
/// @file
/// Whole files: what a page is made of, and the page itself.
#ifndef APPS_VKTINVENTORY_PAGE_FILES_H
#define APPS_VKTINVENTORY_PAGE_FILES_H

#include <cstddef>
#include <string>
#include <string_view>

namespace Tulvo::Cli {

/// All of a file, or of standard input ("-").
/// @throws BadInput when it cannot be read, or holds more than `most` bytes.
std::string ReadWholeFile(const std::string& file, std::size_t most);

/// Puts the text in the file's place, at once: until then whoever opens it finds what was there. A
/// file that is there keeps its mode, a link leads to it still; a device or a pipe is written to.
/// @return false when it could not be done; errno says why, and the file is as it was.
bool WriteWholeFile(const std::string& file, std::string_view text);

}  // namespace Tulvo::Cli

#endif
