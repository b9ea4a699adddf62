// SPDX-License-Identifier: Apache-2.0
// A program that runs for months and asks every few seconds must not grow. As many questions are
// asked here without a pause; measured are memory, descriptors, threads and sessions that are not
// released.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <malloc.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstddef>
#include <iostream>
#include <thread>
#include <vector>

#include "tests/endurance/crowd.h"
#include "tests/endurance/process_size.h"
#include "tests/endurance/readers.h"

namespace Tulvo::Tests {
namespace {

constexpr int kFirstQuestions = 1'000;
constexpr int kQuestions = 100'000;
constexpr int kQuestionsPerFacade = 100;

/// Less than a byte a question.
constexpr std::size_t kHeapTolerance = std::size_t{64} * 1024;
/// Pages that are touched late, and gaps between what lives long: 21 bytes a question.
constexpr std::size_t kResidentTolerance = std::size_t{2} * 1024 * 1024;

/// What this process and those of the enclosures hold.
struct Holding
{
    std::size_t heapBytes = mallinfo2().uordblks;
    ProcessSize self = SizeOf(getpid());
    std::vector<ProcessSize> enclosures;
};

std::ostream& operator<<(std::ostream& stream, const Holding& holding)
{
    stream << "this process: " << holding.heapBytes << " bytes of heap in use, " << holding.self;
    for (const ProcessSize& size : holding.enclosures) {
        stream << "\nof an enclosure: " << size;
    }
    return stream;
}

/// @param played has the enclosures' processes.
Holding Measure(const auto& played)
{
    malloc_trim(0);
    Holding holding;
    for (const pid_t process : played.Processes()) {
        holding.enclosures.push_back(SizeOf(process));
    }
    return holding;
}

bool IsAtRest(const Holding& now, const Holding& before)
{
    return now.self.threads == before.self.threads &&
           std::equal(now.enclosures.begin(), now.enclosures.end(), before.enclosures.begin(),
                      [](const auto& one, const auto& other) {
                          return one.descriptors <= other.descriptors;
                      });
}

/// Servers notice a moment later that their clients have gone, and the system that threads have
/// ended.
Holding MeasureAtRest(const auto& played, const Holding& before)
{
    constexpr int kGenerousTries = 6000;
    Holding now = Measure(played);
    for (int tries = 0; tries < kGenerousTries && !IsAtRest(now, before); ++tries) {
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
        now = Measure(played);
    }
    return now;
}

void ExpectNotLarger(const ProcessSize& now, const ProcessSize& before)
{
    EXPECT_LE(now.residentBytes, before.residentBytes + kResidentTolerance);
    EXPECT_EQ(now.descriptors, before.descriptors);
    EXPECT_EQ(now.threads, before.threads);
}

void ExpectNotLarger(const Holding& now, const Holding& before)
{
    EXPECT_LE(now.heapBytes, before.heapBytes + kHeapTolerance);
    ExpectNotLarger(now.self, before.self);
    ASSERT_EQ(now.enclosures.size(), before.enclosures.size());
    for (std::size_t i = 0; i < now.enclosures.size(); ++i) {
        ExpectNotLarger(now.enclosures[i], before.enclosures[i]);
    }
}

int PerUser(int questions)
{
    return (questions + Crowd::kUsers - 1) / Crowd::kUsers;
}

TEST(Soak, EndsAsLargeAsAfterTheFirstThousandQuestions)
{
    Crowd crowd;
    const Holding atStart = Measure(crowd);
    EXPECT_THAT(crowd.Ask(PerUser(kFirstQuestions), kQuestionsPerFacade), testing::Each(""));
    const Holding early = MeasureAtRest(crowd, atStart);
    EXPECT_THAT(crowd.Ask(PerUser(kQuestions - kFirstQuestions), kQuestionsPerFacade),
                testing::Each(""));
    const Holding late = MeasureAtRest(crowd, early);
    std::cout << "After " << kFirstQuestions << " questions:\n"
              << early << "\nAfter " << kQuestions << ":\n"
              << late << '\n';
    ExpectNotLarger(late, early);
    EXPECT_THAT(crowd.End(), testing::Each(""));
}

TEST(Soak, ThousandReadsLeaveItAsLargeAsTheFirstHundred)
{
    constexpr int kFirstReads = 2;  // by each of 64 readers
    constexpr int kMoreReads = 16;
    Readers readers;
    const Holding atStart = Measure(readers);
    EXPECT_THAT(readers.Read(kFirstReads), testing::Each(""));
    const Holding early = MeasureAtRest(readers, atStart);
    EXPECT_THAT(readers.Read(kMoreReads), testing::Each(""));
    const Holding late = MeasureAtRest(readers, early);
    std::cout << "After " << kFirstReads * Readers::kReaders << " reads:\n"
              << early << "\nAfter " << (kFirstReads + kMoreReads) * Readers::kReaders << ":\n"
              << late << '\n';
    ExpectNotLarger(late, early);
    EXPECT_THAT(readers.End(), testing::Each(""));
}

}  // namespace
}  // namespace Tulvo::Tests
