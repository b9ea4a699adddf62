// SPDX-License-Identifier: Apache-2.0
#include "common/config/small_file.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstddef>
#include <system_error>

namespace Tulvo {

namespace {

/// Far above any settings file. It bounds how deep a file can nest, too, which the parser follows
/// on the caller's stack.
constexpr std::size_t kMaxBytes = 16'384;

class Descriptor
{
public:
    explicit Descriptor(int number) : number_(number) {}
    ~Descriptor()
    {
        if (number_ >= 0) {
            close(number_);
        }
    }
    Descriptor(const Descriptor&) = delete;
    Descriptor& operator=(const Descriptor&) = delete;

    int Number() const { return number_; }

private:
    int number_;
};

SmallFile Failure(const std::string& reason)
{
    return {{}, false, reason};
}

SmallFile SystemFailure()
{
    const int error = errno;
    return {{}, error == ENOENT, std::generic_category().message(error)};
}

SmallFile ReadAll(int descriptor)
{
    std::string content(kMaxBytes + 1, '\0');
    std::size_t length = 0;
    while (length < content.size()) {
        const ssize_t count = read(descriptor, &content[length], content.size() - length);
        if (count < 0 && errno != EINTR) {
            return SystemFailure();
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
    const Descriptor file(open(path.c_str(), O_RDONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC));
    struct stat status = {};
    if (file.Number() < 0 || fstat(file.Number(), &status) != 0) {
        return SystemFailure();
    }
    return S_ISREG(status.st_mode) ? ReadAll(file.Number()) : Failure("it is not a regular file");
}

}  // namespace Tulvo
