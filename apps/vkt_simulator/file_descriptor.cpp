// SPDX-License-Identifier: Apache-2.0
#include "apps/vkt_simulator/file_descriptor.h"

#include <sys/mman.h>
#include <sys/types.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <system_error>
#include <utility>

namespace Tulvo::Simulator {

FileDescriptor::FileDescriptor(int fd, const char* what) : fd_(fd)
{
    if (fd < 0) {
        throw std::system_error(errno, std::generic_category(), what);
    }
}

FileDescriptor::~FileDescriptor()
{
    if (Valid()) {
        close(fd_);
    }
}

FileDescriptor::FileDescriptor(FileDescriptor&& other) noexcept : fd_(std::exchange(other.fd_, -1))
{
}

FileDescriptor& FileDescriptor::operator=(FileDescriptor&& other) noexcept
{
    std::swap(fd_, other.fd_);
    return *this;
}

FileDescriptor MakeMemoryFile(const char* name, const std::string& content)
{
    FileDescriptor file(memfd_create(name, MFD_CLOEXEC), "cannot make a file in memory");
    std::size_t done = 0;
    while (done < content.size()) {
        const ssize_t count = write(file.Get(), content.data() + done, content.size() - done);
        if (count < 0) {
            throw std::system_error(errno, std::generic_category(), "cannot fill a file in memory");
        }
        done += static_cast<std::size_t>(count);
    }
    return file;
}

std::string ReadWhole(const FileDescriptor& file)
{
    std::string content;
    std::array<char, 4096> block;
    ssize_t count = 0;
    while ((count = pread(file.Get(), block.data(), block.size(),
                          static_cast<off_t>(content.size()))) > 0) {
        content.append(block.data(), static_cast<std::size_t>(count));
    }
    return content;
}

std::string PathOf(const FileDescriptor& file)
{
    return "/proc/self/fd/" + std::to_string(file.Get());
}

}  // namespace Tulvo::Simulator
