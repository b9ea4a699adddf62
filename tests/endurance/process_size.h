// SPDX-License-Identifier: Apache-2.0
/// @file
/// What a process uses, as the system counts it.
#ifndef TESTS_ENDURANCE_PROCESS_SIZE_H
#define TESTS_ENDURANCE_PROCESS_SIZE_H

#include <sys/types.h>

#include <cstddef>
#include <ostream>

namespace Tulvo::Tests {

struct ProcessSize
{
    std::size_t residentBytes = 0;
    std::size_t descriptors = 0;
    std::size_t threads = 0;
};

ProcessSize SizeOf(pid_t process);

std::ostream& operator<<(std::ostream& stream, const ProcessSize& size);

}  // namespace Tulvo::Tests

#endif
