// SPDX-License-Identifier: Apache-2.0
#ifndef FLEET_BOUNDED_FILE_H
#define FLEET_BOUNDED_FILE_H

#include <sys/stat.h>

#include <cstddef>
#include <string>
#include <variant>

namespace Tulvo::Fleet {

/// What a file holds, and what the system said of the very file that was read.
struct FileText
{
    std::string text;
    struct stat status = {};
};

/// Waits for the writer of a pipe. Else the reason why there is no text: the system's, or that
/// there are more than `most` bytes.
std::variant<FileText, std::string> ReadFile(const std::string& path, std::size_t most);
std::variant<FileText, std::string> ReadStandardInput(std::size_t most);

}  // namespace Tulvo::Fleet

#endif
