// SPDX-License-Identifier: Apache-2.0
/// @file
/// File descriptors that have to be had.
#ifndef APPS_VKT_SIMULATOR_OWNED_DESCRIPTOR_H
#define APPS_VKT_SIMULATOR_OWNED_DESCRIPTOR_H

#include <cerrno>
#include <system_error>

#include "common/platform/file_descriptor.h"

namespace Tulvo::Simulator {

/// Takes ownership of what open(), socket() and their like return.
/// @throws std::system_error from errno, telling `what`, when that is no descriptor.
inline FileDescriptor Owned(int number, const char* what)
{
    if (number < 0) {
        throw std::system_error(errno, std::generic_category(), what);
    }
    return FileDescriptor(number);
}

}  // namespace Tulvo::Simulator

#endif
