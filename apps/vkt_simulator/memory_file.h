// SPDX-License-Identifier: Apache-2.0
/// @file
/// Files that exist in memory alone.
#ifndef APPS_VKT_SIMULATOR_MEMORY_FILE_H
#define APPS_VKT_SIMULATOR_MEMORY_FILE_H

#include <string>

#include "common/platform/file_descriptor.h"

namespace Tulvo::Simulator {

/// A file in memory, closed on exec. `name` is seen in /proc only.
FileDescriptor MakeMemoryFile(const char* name, const std::string& content);

/// Everything in the file, from its start.
std::string ReadWhole(const FileDescriptor& file);

/// The path under which a process that inherits `file` can open it.
std::string PathOf(const FileDescriptor& file);

}  // namespace Tulvo::Simulator

#endif
