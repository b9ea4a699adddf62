// SPDX-License-Identifier: Apache-2.0
#include "common/config/small_file.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstddef>
#include <system_error>

#include "common/platform/file_descriptor.h"

namespace Tulvo::Config {

namespace {

/// Far above any settings file. It bounds how deep a file can nest, too, which the parser follows
/// on the caller's stack.
constexpr std::size_t kMaxBytes = 16'384;

SmallFile Failure(const std::string& reason)
{
    return {{}, false, reason};
}

SmallFile SystemFailure(int error)
{
    return Failure(std::generic_category().message(error));
}

/// A symbolic link that leads nowhere is a file that cannot be read, not one that does not exist.
bool IsMissing(const std::string& path, int error)
{
    struct stat status = {};
    return error == ENOENT && lstat(path.c_str(), &status) != 0;
}

SmallFile ReadAll(int descriptor)
{
    std::string content(kMaxBytes + 1, '\0');
    std::size_t length = 0;
    while (length < content.size()) {
        const ssize_t count = read(descriptor, &content[length], content.size() - length);
        if (count < 0 && errno != EINTR) {
            return SystemFailure(errno);
        }
        if (count == 0) {
            content.resize(length);
            return {content, false, {}};
        }
        length += count > 0 ? static_cast<std::size_t>(count) : 0;
    }
    return Failure("it is longer than " + std::to_string(kMaxBytes) + " bytes");
}

}  // namespace

SmallFile ReadSmallFile(const std::string& path)
{
    const FileDescriptor file(open(path.c_str(), O_RDONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC));
    struct stat status = {};
    if (!file.Valid() || fstat(file.Get(), &status) != 0) {
        const int error = errno;
        SmallFile failure = SystemFailure(error);
        failure.missing = IsMissing(path, error);
        return failure;
    }
    return S_ISREG(status.st_mode) ? ReadAll(file.Get()) : Failure("it is not a regular file");
}

}  // namespace Tulvo::Config
