// SPDX-License-Identifier: Apache-2.0
#include "module/ipmi/ipmi_client/sequence_window.h"

#include <gtest/gtest.h>

#include <cstdint>

namespace Tulvo::Rmcp {
namespace {

TEST(SequenceWindow, AcceptsEachNumberOnce)
{
    SequenceWindow window;
    for (std::uint32_t number = 1; number < 100; ++number) {
        EXPECT_TRUE(window.Accept(number)) << number;
        EXPECT_FALSE(window.Accept(number)) << number;
    }
}

TEST(SequenceWindow, NeverAcceptsZeroAtTheStart)
{
    SequenceWindow window;
    EXPECT_FALSE(window.Accept(0));
}

TEST(SequenceWindow, AcceptsALateNumberThatIsLessThanSixteenBehind)
{
    SequenceWindow window;
    ASSERT_TRUE(window.Accept(100));
    EXPECT_TRUE(window.Accept(85));
    EXPECT_FALSE(window.Accept(85));
    EXPECT_TRUE(window.Accept(99));
    EXPECT_FALSE(window.Accept(84));
    EXPECT_FALSE(window.Accept(100));
}

TEST(SequenceWindow, ForgetsNothingWhenTheNumbersJump)
{
    SequenceWindow window;
    ASSERT_TRUE(window.Accept(10));
    ASSERT_TRUE(window.Accept(12));
    EXPECT_TRUE(window.Accept(11));
    ASSERT_TRUE(window.Accept(24));
    for (const std::uint32_t seen : {10U, 11U, 12U, 24U}) {
        EXPECT_FALSE(window.Accept(seen)) << seen;
    }
    ASSERT_TRUE(window.Accept(1000));
    EXPECT_FALSE(window.Accept(24));
    EXPECT_TRUE(window.Accept(999));
}

TEST(SequenceWindow, WrapsAround)
{
    SequenceWindow window;
    ASSERT_TRUE(window.Accept(0x7FFFFFFF));
    ASSERT_TRUE(window.Accept(0xFFFFFFFE));
    EXPECT_TRUE(window.Accept(1));
    EXPECT_TRUE(window.Accept(0xFFFFFFFF));
    EXPECT_FALSE(window.Accept(0xFFFFFFFE));
}

}  // namespace
}  // namespace Tulvo::Rmcp
