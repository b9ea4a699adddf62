// SPDX-License-Identifier: Apache-2.0
// What trust depends on, when memory runs out while the file is read.
#include <gtest/gtest.h>

#include <cstdlib>
#include <new>
#include <string>

#include "common/config/global_config.h"
#include "tests/config/config_fixture.h"

namespace {

/// How many more allocations this thread gets; below 0 all.
thread_local int allocationsLeft = -1;

}  // namespace

void* operator new(std::size_t size)
{
    void* const memory = allocationsLeft == 0 ? nullptr : std::malloc(size);
    if (memory == nullptr) {
        throw std::bad_alloc();
    }
    allocationsLeft -= allocationsLeft > 0 ? 1 : 0;
    return memory;
}

void operator delete(void* memory) noexcept
{
    std::free(memory);
}

void operator delete(void* memory, std::size_t /*size*/) noexcept
{
    std::free(memory);
}

namespace Tulvo {
namespace {

class GlobalConfigMemoryTest : public ConfigFixture
{
};

TEST_F(GlobalConfigMemoryTest, SettingIsNotTakenForUnsetOnceThereIsMemoryAgain)
{
    const std::string key = "A_KEY_THAT_IS_TOO_LONG_TO_STAND_WITHIN_A_STRING";
    ConfigState withLittle = ConfigState::kUnset;
    int refused = 0;
    for (int allocations = 0; allocations < 500; ++allocations) {
        // Another file each time, so that it is parsed.
        WriteFile(key + " = 'ca.pem' #" + std::to_string(allocations) + "\n");
        allocationsLeft = allocations;
        withLittle = FindGlobalConfigText(key).state;
        allocationsLeft = -1;
        refused += withLittle == ConfigState::kUnusable ? 1 : 0;
        EXPECT_NE(withLittle, ConfigState::kUnset) << allocations;
        EXPECT_EQ(FindGlobalConfigText(key).state, ConfigState::kSet) << allocations;
    }
    EXPECT_GT(refused, 0);
    EXPECT_EQ(withLittle, ConfigState::kSet) << "the last try must have had enough";
}

}  // namespace
}  // namespace Tulvo
