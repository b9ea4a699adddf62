// SPDX-License-Identifier: Apache-2.0
// Records as a host's own sink gets them.
#include "common/log/log.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <iomanip>
#include <locale>
#include <memory>
#include <ostream>
#include <sstream>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "tests/support/run_in_threads.h"

namespace Tulvo {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

class LogTest : public testing::Test
{
protected:
    LogTest()
    {
        SetLogLevel(4);
        SetLogSink([this](const LogRecord& record) { records.push_back(record); });
    }
    ~LogTest() override
    {
        SetLogSink({});
        SetLogLevel(2);
    }

    std::vector<std::string> Texts() const
    {
        std::vector<std::string> texts;
        for (const LogRecord& record : records) {
            texts.push_back(record.text);
        }
        return texts;
    }

    std::vector<LogRecord> records;
};

TEST_F(LogTest, RecordHoldsLevelFileLineAndText)
{
    const char* const file = "src/some/file.cpp";
    Log(3, file, 42).Stream() << "Try " << 1 << ' ' << std::hex << 0xB0;

    ASSERT_EQ(records.size(), 1U);
    EXPECT_EQ(records[0].level, 3);
    EXPECT_EQ(records[0].file, file);
    EXPECT_EQ(records[0].line, 42);
    EXPECT_EQ(records[0].text, "Try 1 b0");
}

TEST_F(LogTest, TextArrivesByteForByte)
{
    std::string everyByte;
    for (int byte = 0; byte < 256; ++byte) {
        everyByte += static_cast<char>(byte);
    }
    Log(1, "f", 1).Stream() << everyByte << '\0';

    EXPECT_THAT(Texts(), ElementsAre(everyByte + std::string(1, '\0')));
}

TEST_F(LogTest, RecordNamesTheTargetOfTheInnermostContext)
{
    const auto targetOfRecord = [this] {
        Log(1, "f", 1).Stream() << "text";
        return records.back().target;
    };
    EXPECT_EQ(targetOfRecord(), "");
    {
        const LogContext outer("enc017");
        EXPECT_EQ(targetOfRecord(), "enc017");
        {
            const LogContext inner("enc018");
            EXPECT_EQ(targetOfRecord(), "enc018");
        }
        EXPECT_EQ(targetOfRecord(), "enc017");
    }
    EXPECT_EQ(targetOfRecord(), "");
    EXPECT_THAT(Texts(), testing::Each("text"));
}

TEST_F(LogTest, RecordKeepsTheTargetThatItWasBegunFor)
{
    std::unique_ptr<Log> record;
    {
        const LogContext context("enc017");
        record = std::make_unique<Log>(1, "f", 1);
    }
    record.reset();
    ASSERT_EQ(records.size(), 1U);
    EXPECT_EQ(records[0].target, "enc017");
}

TEST_F(LogTest, ThreadsHaveContextsOfTheirOwn)
{
    constexpr int kThreads = 8;
    constexpr int kRecords = 500;
    const LogContext context("of the thread that started the others");
    RunInThreads(kThreads, [](int thread) {
        Log(1, "f", thread).Stream() << "";
        for (int i = 0; i < kRecords; ++i) {
            const std::string target = std::to_string(thread) + '/' + std::to_string(i);
            const LogContext own(target);
            Log(1, "f", thread).Stream() << target;
        }
    });
    EXPECT_EQ(records.size(), std::size_t{kThreads} * (1 + kRecords));
    for (const LogRecord& record : records) {
        EXPECT_EQ(record.target, record.text);
    }
}

TEST_F(LogTest, RecordWithoutTextIsARecord)
{
    {
        const Log record(1, "f", 1);
    }
    EXPECT_THAT(Texts(), ElementsAre(""));
}

TEST_F(LogTest, MissingFileNameIsEmpty)
{
    Log(1, nullptr, 0).Stream() << "text";
    ASSERT_EQ(records.size(), 1U);
    EXPECT_STREQ(records[0].file, "");
}

TEST_F(LogTest, ThresholdDecidesWhatIsWritten)
{
    struct Case
    {
        int threshold;
        std::vector<int> written;
    };
    const std::vector<Case> cases = {{-1, {}},         {0, {}},        {1, {1}},
                                     {2, {1, 2}},      {3, {1, 2, 3}}, {4, {1, 2, 3, 4}},
                                     {9, {1, 2, 3, 4}}};
    for (const Case& row : cases) {
        records.clear();
        SetLogLevel(row.threshold);
        for (int level = 1; level <= 4; ++level) {
            Log(level, "f", 1).Stream() << level;
        }
        std::vector<int> written;
        for (const LogRecord& record : records) {
            written.push_back(record.level);
        }
        EXPECT_EQ(written, row.written) << "threshold " << row.threshold;
    }
}

TEST_F(LogTest, ThresholdCanBeAsked)
{
    SetLogLevel(3);
    EXPECT_EQ(GetLogLevel(), 3);
    SetLogLevel(-5);
    EXPECT_EQ(GetLogLevel(), 0);
}

TEST_F(LogTest, RecordsNest)
{
    {
        Log outer(1, "f", 1);
        outer.Stream() << "outer " << std::hex;
        Log(2, "f", 2).Stream() << "inner " << 16;
        outer.Stream() << 16;
    }
    EXPECT_THAT(Texts(), ElementsAre("inner 16", "outer 10"));
}

TEST_F(LogTest, FormatOfOneRecordDoesNotReachTheNext)
{
    Log(1, "f", 1).Stream() << std::hex << std::setfill('*') << std::setw(4) << 255;
    Log(1, "f", 2).Stream() << std::setw(4) << 255;
    EXPECT_THAT(Texts(), ElementsAre("**ff", " 255"));
}

class Grouping : public std::numpunct<char>
{
    char do_thousands_sep() const override { return '.'; }
    std::string do_grouping() const override { return "\3"; }
};

TEST_F(LogTest, HostsLocaleDoesNotGroupDigits)
{
    const std::locale earlier =
        std::locale::global(std::locale(std::locale::classic(), new Grouping));
    Log(1, "f", 1).Stream() << 1234567;
    std::locale::global(earlier);
    EXPECT_THAT(Texts(), ElementsAre("1234567"));
}

struct Formatted
{
    int* count;
};

std::ostream& operator<<(std::ostream& stream, const Formatted& value)
{
    if (stream) {
        ++*value.count;
    }
    return stream;
}

TEST_F(LogTest, RecordAboveTheThresholdFormatsNothing)
{
    int count = 0;
    SetLogLevel(3);
    Log(4, "f", 1).Stream() << Formatted{&count};
    EXPECT_EQ(count, 0);
    Log(3, "f", 2).Stream() << Formatted{&count};
    EXPECT_EQ(count, 1);
}

TEST_F(LogTest, StreamAboveTheThresholdStaysFailedWhateverAnEarlierUserDid)
{
    SetLogLevel(1);
    std::stringbuf buffer;
    Log(4, "f", 1).Stream().clear();
    Log(4, "f", 2).Stream().rdbuf(&buffer);
    EXPECT_THROW(Log(4, "f", 3).Stream().exceptions(std::ios_base::badbit), std::ios_base::failure);

    Log record(4, "f", 4);
    record.Stream() << "text";
    EXPECT_FALSE(record.Stream().good());
    EXPECT_EQ(buffer.str(), "");
    EXPECT_THAT(records, IsEmpty());
}

TEST_F(LogTest, ThrowingSinkDoesNotReachTheHost)
{
    SetLogSink([](const LogRecord&) { throw std::runtime_error("sink"); });
    Log(1, "f", 1).Stream() << "lost";
    SetLogSink([](const LogRecord&) { throw 7; });
    Log(1, "f", 2).Stream() << "lost";
    SetLogSink([this](const LogRecord& record) { records.push_back(record); });
    Log(1, "f", 3).Stream() << "arrives";
    EXPECT_THAT(Texts(), ElementsAre("arrives"));
}

TEST_F(LogTest, ThrowingInserterLeavesTheTextSoFar)
{
    struct Thrower
    {
        static int Value() { throw std::runtime_error("argument"); }
    };
    try {
        Log record(1, "f", 1);
        record.Stream() << "so far";
        record.Stream() << Thrower::Value();
    } catch (const std::runtime_error&) {
    }
    EXPECT_THAT(Texts(), ElementsAre("so far"));
}

TEST_F(LogTest, RecordsThatASinkWritesAreDropped)
{
    SetLogSink([this](const LogRecord& record) {
        records.push_back(record);
        Log(1, "f", 2).Stream() << "by the sink";
    });
    Log(1, "f", 1).Stream() << "first";
    Log(1, "f", 1).Stream() << "second";
    EXPECT_THAT(Texts(), ElementsAre("first", "second"));
}

TEST_F(LogTest, SinkMayReplaceItself)
{
    const auto alive = std::make_shared<int>(7);
    SetLogSink([this, alive](const LogRecord& record) {
        SetLogSink([this](const LogRecord& later) { records.push_back(later); });
        records.push_back({record.level, record.file, *alive, "replaced"});
    });
    EXPECT_EQ(alive.use_count(), 2);
    Log(1, "f", 1).Stream() << "by the old one";
    Log(1, "f", 2).Stream() << "by the new one";
    EXPECT_THAT(Texts(), ElementsAre("replaced", "by the new one"));
    EXPECT_EQ(alive.use_count(), 1);
}

TEST_F(LogTest, SinkIsCalledByOneThreadAtATime)
{
    constexpr int kThreads = 8;
    constexpr int kRecords = 5000;
    std::atomic<int> inside{0};
    std::atomic<int> overlaps{0};
    SetLogSink([&](const LogRecord& record) {
        overlaps += inside.fetch_add(1);
        records.push_back(record);
        inside.fetch_sub(1);
    });
    RunInThreads(kThreads, [](int thread) {
        for (int i = 0; i < kRecords; ++i) {
            Log(1, "f", thread).Stream() << i;
        }
    });

    EXPECT_EQ(overlaps, 0);
    std::vector<int> next(kThreads, 0);
    for (const LogRecord& record : records) {
        EXPECT_EQ(record.text, std::to_string(next.at(static_cast<std::size_t>(record.line))++));
    }
    EXPECT_THAT(next, testing::Each(kRecords));
}

struct LogsWhenItsThreadEnds
{
    ~LogsWhenItsThreadEnds()
    {
        Log(4, "f", 1).Stream() << "not written";
        Log(1, "f", 2).Stream() << "last words";
    }
    int value = 0;
};

TEST_F(LogTest, ThreadMayLogWhileItEnds)
{
    SetLogLevel(1);
    std::thread([] {
        thread_local LogsWhenItsThreadEnds object;
        object.value = 1;
        Log(4, "f", 3).Stream() << "not written";
    }).join();
    EXPECT_THAT(Texts(), ElementsAre("last words"));
}

}  // namespace
}  // namespace Tulvo
