// SPDX-License-Identifier: Apache-2.0
/// @file
/// A file descriptor that is closed with its owner, and files that exist in memory alone.
#ifndef APPS_VKT_SIMULATOR_FILE_DESCRIPTOR_H
#define APPS_VKT_SIMULATOR_FILE_DESCRIPTOR_H

#include <string>

namespace Tulvo::Simulator {

class FileDescriptor
{
public:
    FileDescriptor() = default;
    /// Takes ownership. @throws std::system_error from errno, telling `what`, when `fd` is
    /// negative.
    FileDescriptor(int fd, const char* what);
    ~FileDescriptor();
    FileDescriptor(FileDescriptor&& other) noexcept;
    FileDescriptor& operator=(FileDescriptor&& other) noexcept;
    FileDescriptor(const FileDescriptor&) = delete;
    FileDescriptor& operator=(const FileDescriptor&) = delete;

    int Get() const { return fd_; }
    bool Valid() const { return fd_ >= 0; }

private:
    int fd_ = -1;
};

/// A file in memory, closed on exec. `name` is seen in /proc only.
FileDescriptor MakeMemoryFile(const char* name, const std::string& content);

/// Everything in the file, from its start.
std::string ReadWhole(const FileDescriptor& file);

/// The path under which a process that inherits `file` can open it.
std::string PathOf(const FileDescriptor& file);

}  // namespace Tulvo::Simulator

#endif
