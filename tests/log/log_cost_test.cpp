// SPDX-License-Identifier: Apache-2.0
// What a record costs in allocations.
#include <gtest/gtest.h>

#include <cstdlib>
#include <new>
#include <string>
#include <thread>

#include "common/log/log.h"

namespace {

thread_local int allocations = 0;

}  // namespace

void* operator new(std::size_t size)
{
    ++allocations;
    void* const memory = std::malloc(size);
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
namespace {

int AllocationsOfARecord(int level)
{
    static const std::string text(100, 'x');
    const int before = allocations;
    Log(level, __FILE__, __LINE__).Stream() << text << ' ' << 123456 << ' ' << 1.5;
    return allocations - before;
}

class LogCostTest : public testing::Test
{
protected:
    LogCostTest()
    {
        SetLogLevel(2);
        SetLogSink([](const LogRecord&) {});
    }
    ~LogCostTest() override { SetLogSink({}); }
};

TEST_F(LogCostTest, RecordAboveTheThresholdAllocatesNothing)
{
    EXPECT_GT(AllocationsOfARecord(2), 0) << "the counter must count";
    EXPECT_EQ(AllocationsOfARecord(3), 0);
    EXPECT_EQ(AllocationsOfARecord(4), 0);
}

TEST_F(LogCostTest, ContextCostsNothingAboveTheThreshold)
{
    const LogContext context("a name that is too long to be kept within the object");
    EXPECT_EQ(AllocationsOfARecord(4), 0);
}

TEST_F(LogCostTest, FirstRecordOfAThreadAllocatesNothingAboveTheThreshold)
{
    int count = -1;
    std::thread([&count] { count = AllocationsOfARecord(4); }).join();
    EXPECT_EQ(count, 0);
}

}  // namespace
}  // namespace Tulvo
