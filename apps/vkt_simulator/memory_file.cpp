// SPDX-License-Identifier: Apache-2.0
#include "apps/vkt_simulator/memory_file.h"

#include <sys/mman.h>
#include <sys/types.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <system_error>

#include "apps/vkt_simulator/owned_descriptor.h"

namespace Tulvo::Simulator {

FileDescriptor MakeMemoryFile(const char* name, const std::string& content)
{
    FileDescriptor file = Owned(memfd_create(name, MFD_CLOEXEC), "cannot make a file in memory");
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
