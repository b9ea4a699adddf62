// SPDX-License-Identifier: Apache-2.0
// Records as text, on the standard error output and in files.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <time.h>

#include <chrono>
#include <cstdlib>
#include <map>
#include <sstream>
#include <string>
#include <vector>

#include "common/log/log.h"
#include "tests/log/text_of.h"
#include "tests/support/run_in_threads.h"
#include "tests/support/temporary_directory.h"

namespace Tulvo {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;

class LogTextTest : public testing::Test
{
protected:
    LogTextTest()
    {
        SetLogLevel(4);
        LogToStderr();
    }
    ~LogTextTest() override
    {
        LogToStderr();
        SetLogLevel(2);
    }
};

time_t Now()
{
    return std::chrono::system_clock::to_time_t(std::chrono::system_clock::now());
}

std::string StderrOf(int level, const std::string& text)
{
    testing::internal::CaptureStderr();
    Log(level, "src/f.cpp", 12).Stream() << text;
    return testing::internal::GetCapturedStderr();
}

TEST_F(LogTextTest, LineNamesTimeLevelFileAndLine)
{
    const std::vector<std::pair<int, std::string>> names = {
        {1, "error"}, {2, "warning"}, {3, "notice"}, {4, "trace"}};
    for (const auto& [level, name] : names) {
        EXPECT_EQ(AfterTime(StderrOf(level, "some text")), name + " src/f.cpp:12: some text\n");
    }
}

TEST_F(LogTextTest, LineNamesTheTargetBeforeTheText)
{
    const LogContext context("enc017");
    EXPECT_EQ(AfterTime(StderrOf(2, "first\nsecond")),
              "warning src/f.cpp:12: enc017: first\n    second\n");
}

TEST_F(LogTextTest, TargetCannotForgeARecord)
{
    const LogContext context("enc\n017\x1b");
    EXPECT_EQ(AfterTime(StderrOf(1, "text")), "error src/f.cpp:12: enc\\x0a017\\x1b: text\n");
}

TEST_F(LogTextTest, EmptyTargetChangesNothing)
{
    const LogContext context("");
    EXPECT_EQ(AfterTime(StderrOf(1, "text")), "error src/f.cpp:12: text\n");
}

TEST_F(LogTextTest, LevelsBesideTheScaleTakeItsEnds)
{
    SetLogLevel(100);
    EXPECT_EQ(AfterTime(StderrOf(-3, "text")), "error src/f.cpp:12: text\n");
    EXPECT_EQ(AfterTime(StderrOf(77, "text")), "trace src/f.cpp:12: text\n");
}

TEST_F(LogTextTest, TimeIsTheRecordsOwnWithTheZonesOffset)
{
    const char* const earlier = getenv("TZ");
    const std::string zone = earlier == nullptr ? "" : earlier;
    setenv("TZ", "HERE-5:30", 1);
    tzset();
    LogToStderr();
    const time_t before = Now();
    const std::string line = StderrOf(1, "text");
    const time_t after = Now();
    earlier == nullptr ? unsetenv("TZ") : setenv("TZ", zone.c_str(), 1);
    tzset();

    tm parsed = {};
    ASSERT_NE(strptime(line.c_str(), "%Y-%m-%dT%H:%M:%S", &parsed), nullptr) << line;
    const time_t written = timegm(&parsed) - 19800;  // five and a half hours
    EXPECT_GE(written, before);
    EXPECT_LE(written, after);
    EXPECT_EQ(line.substr(23, 6), "+05:30");
}

TEST_F(LogTextTest, BytesThatAreNoPrintableCharacterAreEscaped)
{
    EXPECT_EQ(AfterTime(StderrOf(1, "tab\tand \xc3\xa9 stay\r\x1b[31mred\xc2\x9b")),
              "error src/f.cpp:12: tab\tand \xc3\xa9 stay\\x0d\\x1b[31mred\\xc2\\x9b\n");
}

TEST_F(LogTextTest, FurtherLinesAreIndentedSoThatNoneLooksLikeARecord)
{
    const std::string forged = "2026-11-20T23:50:05.123+00:00 error src/f.cpp:1: all is well";
    const auto lines = LinesOf(StderrOf(2, "name\n" + forged + "\n\n" + forged));
    ASSERT_EQ(lines.size(), 4U);
    EXPECT_EQ(AfterTime(lines[0]), "warning src/f.cpp:12: name");
    EXPECT_THAT(std::vector(lines.begin() + 1, lines.end()),
                ElementsAre("    " + forged, "    ", "    " + forged));
}

TEST_F(LogTextTest, EmptySinkGoesBackToText)
{
    SetLogSink([](const LogRecord&) {});
    EXPECT_EQ(StderrOf(1, "to the host"), "");
    SetLogSink({});
    EXPECT_EQ(AfterTime(StderrOf(1, "to all")), "error src/f.cpp:12: to all\n");
}

TEST_F(LogTextTest, FileTakesTheRecordsAndIsExtended)
{
    const TemporaryDirectory directory;
    std::ofstream(directory / "log.txt") << "what was there\n";
    testing::internal::CaptureStderr();
    ASSERT_TRUE(LogToFile(directory / "log.txt", 10000, 1));
    Log(1, "src/f.cpp", 12).Stream() << "text";

    EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
    const auto lines = LinesOf(ContentOf(directory / "log.txt"));
    ASSERT_EQ(lines.size(), 2U);
    EXPECT_EQ(lines[0], "what was there");
    EXPECT_EQ(AfterTime(lines[1]), "error src/f.cpp:12: text");
}

TEST_F(LogTextTest, FullFileIsRotated)
{
    constexpr int kRecords = 20;
    constexpr std::size_t kMaxBytes = 300;
    const TemporaryDirectory directory;
    ASSERT_TRUE(LogToFile(directory / "log.txt", kMaxBytes, 2));
    for (int i = 0; i < kRecords; ++i) {
        Log(1, "f", i).Stream() << "text";
    }

    std::string all;
    for (const char* name : {"log.2.txt", "log.1.txt", "log.txt"}) {
        const std::string content = ContentOf(directory / name);
        EXPECT_LE(content.size(), kMaxBytes) << name;
        EXPECT_NE(content, "") << name;
        all += content;
    }
    EXPECT_FALSE(std::filesystem::exists(directory / "log.3.txt"));
    const auto lines = LinesOf(all);
    int expected = kRecords - static_cast<int>(lines.size());
    for (const std::string& line : lines) {
        EXPECT_EQ(AfterTime(line), "error f:" + std::to_string(expected++) + ": text");
    }
}

TEST_F(LogTextTest, FileThatCannotBeUsedGivesOneWarningAndChangesNothing)
{
    const TemporaryDirectory directory;
    ASSERT_TRUE(LogToFile(directory / "log.txt", 10000, 1));
    EXPECT_FALSE(LogToFile("/dev/null/log.txt", 10000, 1));
    EXPECT_FALSE(LogToFile(directory / "other.txt", 0, 1));

    const auto lines = LinesOf(ContentOf(directory / "log.txt"));
    ASSERT_EQ(lines.size(), 2U);
    EXPECT_THAT(lines[0], HasSubstr("log file /dev/null/log.txt is not used"));
    EXPECT_THAT(lines[1], HasSubstr("other.txt is not used"));
    EXPECT_FALSE(std::filesystem::exists(directory / "other.txt"));
}

TEST_F(LogTextTest, LinesOfManyThreadsDoNotMix)
{
    constexpr int kThreads = 8;
    constexpr int kRecords = 500;
    const std::string padding(200, '.');
    const TemporaryDirectory directory;
    ASSERT_TRUE(LogToFile(directory / "log.txt", 100'000'000, 1));
    RunInThreads(kThreads, [&padding](int thread) {
        for (int i = 0; i < kRecords; ++i) {
            Log(1, "f", thread).Stream() << i << padding;
        }
    });

    std::map<std::string, int> next;
    for (const std::string& line : LinesOf(ContentOf(directory / "log.txt"))) {
        const std::string rest = AfterTime(line);
        const std::string thread = rest.substr(0, rest.find(": ") + 2);
        const int number = next[thread]++;
        EXPECT_EQ(rest.substr(thread.size()), std::to_string(number) + padding);
    }
    std::map<std::string, int> all;
    for (int thread = 0; thread < kThreads; ++thread) {
        all["error f:" + std::to_string(thread) + ": "] = kRecords;
    }
    EXPECT_EQ(next, all);
}

}  // namespace
}  // namespace Tulvo
