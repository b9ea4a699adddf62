// SPDX-License-Identifier: Apache-2.0
#include "tests/support/allocations.h"

#include <atomic>
#include <cstdlib>
#include <new>

namespace {

std::atomic<std::uint64_t> allocations{0};

}  // namespace

// The other forms of operator new and delete end in these.
void* operator new(std::size_t size)
{
    allocations.fetch_add(1, std::memory_order_relaxed);
    void* const memory = std::malloc(size == 0 ? 1 : size);
    if (memory == nullptr) {
        throw std::bad_alloc();
    }
    return memory;
}

void operator delete(void* memory) noexcept
{
    std::free(memory);
}

void operator delete(void* memory, std::size_t) noexcept
{
    std::free(memory);
}

namespace Tulvo {

std::uint64_t AllocationCount()
{
    return allocations.load(std::memory_order_relaxed);
}

}  // namespace Tulvo
