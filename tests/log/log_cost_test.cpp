// SPDX-License-Identifier: Apache-2.0
// What a record costs in allocations.
#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <thread>

#include "common/log/log.h"
#include "tests/support/allocations.h"

namespace Tulvo {
namespace {

std::uint64_t AllocationsOfARecord(int level)
{
    static const std::string text(100, 'x');
    return AllocationsOf([level] {
        Log(level, __FILE__, __LINE__).Stream() << text << ' ' << 123456 << ' ' << 1.5;
    });
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
    EXPECT_GT(AllocationsOfARecord(2), 0U) << "the counter must count";
    EXPECT_EQ(AllocationsOfARecord(3), 0U);
    EXPECT_EQ(AllocationsOfARecord(4), 0U);
}

TEST_F(LogCostTest, ContextCostsNothingAboveTheThreshold)
{
    const LogContext context("a name that is too long to be kept within the object");
    EXPECT_EQ(AllocationsOfARecord(4), 0U);
}

TEST_F(LogCostTest, FirstRecordOfAThreadAllocatesNothingAboveTheThreshold)
{
    std::uint64_t count = 1;
    std::thread([&count] { count = AllocationsOfARecord(4); }).join();
    EXPECT_EQ(count, 0U);
}

}  // namespace
}  // namespace Tulvo
