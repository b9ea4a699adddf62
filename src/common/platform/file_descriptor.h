// SPDX-License-Identifier: Apache-2.0
/// @file
/// A file descriptor that is closed with its owner.
#ifndef COMMON_PLATFORM_FILE_DESCRIPTOR_H
#define COMMON_PLATFORM_FILE_DESCRIPTOR_H

#include <unistd.h>

#include <utility>

namespace Tulvo {

/// Takes ownership of what open(), socket() and their like return; below 0 it owns nothing, and
/// errno is still theirs.
class FileDescriptor
{
public:
    FileDescriptor() = default;
    explicit FileDescriptor(int number) : number_(number) {}
    FileDescriptor(FileDescriptor&& other) noexcept : number_(std::exchange(other.number_, -1)) {}
    FileDescriptor& operator=(FileDescriptor&& other) noexcept
    {
        std::swap(number_, other.number_);
        return *this;
    }
    FileDescriptor(const FileDescriptor&) = delete;
    FileDescriptor& operator=(const FileDescriptor&) = delete;
    ~FileDescriptor()
    {
        if (Valid()) {
            close(number_);
        }
    }

    int Get() const { return number_; }
    bool Valid() const { return number_ >= 0; }

private:
    int number_ = -1;
};

}  // namespace Tulvo

#endif
