// SPDX-License-Identifier: Apache-2.0
#ifndef COMMON_CONFIG_SMALL_FILE_H
#define COMMON_CONFIG_SMALL_FILE_H

#include <string>

namespace Tulvo::Config {

/// What reading a file gave: its content, or why there is none.
struct SmallFile
{
    std::string content;
    bool missing = false;  ///< There is no such file.
    std::string failure;   ///< Empty when the content was read.

    bool operator==(const SmallFile&) const = default;
};

/// Reads a regular file. Neither waits (for a pipe's writer) nor takes much memory (for a device
/// or a huge file): everything that is no small regular file is a failure.
SmallFile ReadSmallFile(const std::string& path);

}  // namespace Tulvo::Config

#endif
