// SPDX-License-Identifier: Apache-2.0
#include "fleet/bounded_file.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <system_error>
#include <utility>

#include "common/platform/file_descriptor.h"

namespace Tulvo::Fleet {
namespace {

constexpr std::size_t kBlock = 65536;

std::string LastError()
{
    return std::generic_category().message(errno);
}

std::variant<FileText, std::string> ReadAll(int descriptor, std::size_t most)
{
    FileText file;
    if (fstat(descriptor, &file.status) != 0) {
        return LastError();
    }
    std::size_t length = 0;
    while (length <= most) {
        file.text.resize(std::min(length + kBlock, most + 1));
        const ssize_t count = read(descriptor, &file.text[length], file.text.size() - length);
        if (count < 0 && errno != EINTR) {
            return LastError();
        }
        if (count == 0) {
            file.text.resize(length);
            return file;
        }
        length += count > 0 ? static_cast<std::size_t>(count) : 0;
    }
    return "it has more than " + std::to_string(most) + " bytes";
}

}  // namespace

std::variant<FileText, std::string> ReadFile(const std::string& path, std::size_t most)
{
    const FileDescriptor file(open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NOCTTY));
    return file.Valid() ? ReadAll(file.Get(), most) : LastError();
}

std::variant<FileText, std::string> ReadStandardInput(std::size_t most)
{
    return ReadAll(STDIN_FILENO, most);
}

}  // namespace Tulvo::Fleet
