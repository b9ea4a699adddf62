// SPDX-License-Identifier: Apache-2.0
#include "apps/vkt_simulator/request_limit.h"

#include <gtest/gtest.h>

namespace Tulvo::Simulator {
namespace {

using std::chrono::seconds;

const RequestLimit::Clock::time_point kStart{};

TEST(RequestLimit, AllowsSixtyFourKibibytesOfHeader)
{
    RequestLimit limit;
    limit.Count(65535);
    EXPECT_TRUE(limit.Allows(kStart));
    EXPECT_FALSE(limit.IsUsedUp());
    limit.Count(1);
    EXPECT_FALSE(limit.Allows(kStart));
    EXPECT_TRUE(limit.IsUsedUp());
}

TEST(RequestLimit, HasNoRoomLeftAfterMoreThanItAllows)
{
    RequestLimit limit;
    limit.Count(1000000);
    limit.Count(1);
    EXPECT_FALSE(limit.Allows(kStart));
}

TEST(RequestLimit, CountsABodyByItself)
{
    RequestLimit limit;
    limit.Count(60000);
    limit.BeginBody();
    limit.Count(2097151);
    EXPECT_TRUE(limit.Allows(kStart));
    limit.Count(1);
    EXPECT_FALSE(limit.Allows(kStart));
}

TEST(RequestLimit, CountsTheNextRequestAnew)
{
    RequestLimit limit;
    limit.Count(65536);
    limit.BeginHeader();
    EXPECT_TRUE(limit.Allows(kStart));
    EXPECT_FALSE(limit.IsUsedUp());
}

TEST(RequestLimit, AllowsThirtySecondsFromTheFirstByteOfARequest)
{
    RequestLimit limit;
    EXPECT_TRUE(limit.Allows(kStart + seconds(100)));
    limit.BeginBody();
    EXPECT_TRUE(limit.Allows(kStart + seconds(129)));
    EXPECT_FALSE(limit.Allows(kStart + seconds(130)));
    EXPECT_FALSE(limit.IsUsedUp()) << "that is no matter of length";
    limit.BeginHeader();
    EXPECT_TRUE(limit.Allows(kStart + seconds(200)));
    EXPECT_TRUE(limit.Allows(kStart + seconds(229)));
}

}  // namespace
}  // namespace Tulvo::Simulator
