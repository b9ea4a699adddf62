// SPDX-License-Identifier: Apache-2.0
// Many users side by side. A build with ThreadSanitizer runs this to see that what they share, the
// companions' log and settings and the libraries below, is shared safely.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "common/log/log.h"
#include "tests/endurance/crowd.h"
#include "tests/endurance/readers.h"
#include "tests/support/temporary_directory.h"

namespace Tulvo::Tests {
namespace {

constexpr int kQuestions = 10'000;
constexpr int kQuestionsPerUser = (kQuestions + Crowd::kUsers - 1) / Crowd::kUsers;
constexpr int kQuestionsPerFacade = 40;
constexpr int kEverything = 4;

TEST(ManyThreads, GetTheirOwnAnswersOverBothTransports)
{
    const TemporaryDirectory folder;
    ASSERT_TRUE(LogToFile(folder / "trace.log", 1'000'000, 1));
    Crowd crowd;
    EXPECT_THAT(crowd.Ask(kQuestionsPerUser, kQuestionsPerFacade, [] { SetLogLevel(kEverything); }),
                testing::Each(""));
    EXPECT_THAT(crowd.End(), testing::Each(""));
    LogToStderr();
}

TEST(ManyThreads, ReadTheirOwnEnclosuresWithSettingsOfTheirOwn)
{
    constexpr int kReads = 8;
    Readers readers;
    EXPECT_THAT(readers.Read(kReads), testing::Each(""));
    EXPECT_THAT(readers.End(), testing::Each(""));
}

}  // namespace
}  // namespace Tulvo::Tests
