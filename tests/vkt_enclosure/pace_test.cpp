// SPDX-License-Identifier: Apache-2.0
#include "module/vkt/vkt_enclosure/impl/pace.h"

#include <gtest/gtest.h>

#include <chrono>
#include <stop_token>
#include <thread>

namespace Tulvo::Enclosures {
namespace {

using namespace std::chrono_literals;

TEST(RealPace, WaitsUntilTheTime)
{
    RealPace pace;
    const auto until = pace.Now() + 20ms;
    pace.WaitUntil(until, {});
    EXPECT_GE(pace.Now(), until);
}

TEST(RealPace, EndsAWaitWhenStopIsRequested)
{
    RealPace pace;
    std::stop_source stop;
    const auto begin = pace.Now();
    std::jthread stopper([&stop] { stop.request_stop(); });
    pace.WaitUntil(begin + 1h, stop.get_token());
    EXPECT_LT(pace.Now(), begin + 1h);
}

TEST(RealPace, GivesAPartOfASpan)
{
    RealPace pace;
    bool same = true;
    const auto first = pace.PartOf(1h);
    for (int i = 0; i < 100; ++i) {
        const auto part = pace.PartOf(1h);
        EXPECT_GE(part, 0h);
        EXPECT_LE(part, 1h);
        same = same && part == first;
    }
    EXPECT_FALSE(same);
    EXPECT_EQ(0ms, pace.PartOf(0ms));
}

}  // namespace
}  // namespace Tulvo::Enclosures
