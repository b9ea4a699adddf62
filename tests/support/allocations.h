// SPDX-License-Identifier: Apache-2.0
/// @file
/// Counts what a piece of code allocates, in this program and in the libraries that it loads.
#ifndef TESTS_SUPPORT_ALLOCATIONS_H
#define TESTS_SUPPORT_ALLOCATIONS_H

#include <cstdint>

namespace Tulvo {

/// How often this process has called operator new so far.
std::uint64_t AllocationCount();

/// How often `work` calls operator new.
template <class Work>
std::uint64_t AllocationsOf(const Work& work)
{
    const std::uint64_t before = AllocationCount();
    work();
    return AllocationCount() - before;
}

}  // namespace Tulvo

#endif
