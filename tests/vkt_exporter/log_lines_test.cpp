// SPDX-License-Identifier: Apache-2.0
#include "apps/vkt_exporter/log_lines.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <string>
#include <thread>

namespace {

using namespace Tulvo;
using namespace Tulvo::Exporter;
using testing::AllOf;
using testing::EndsWith;
using testing::HasSubstr;
using testing::Not;

TEST(LogLines, AreOneLineWhateverTheyHold)
{
    const auto time =
        std::chrono::system_clock::time_point(std::chrono::milliseconds(1795288023007));
    EXPECT_EQ(
        LineOf({2, "apps/a.cpp", 1, "two\nlines \"quoted\" \\ \x1b[2J \xff", "enc1 \"x\""}, time),
        R"(time=2026-11-21T19:07:03.007Z level=warn target="enc1 \"x\"" )"
        R"(msg="two\x0alines \"quoted\" \\ \x1b[2J \xff")"
        "\n");
    EXPECT_EQ(LineOf({3, "apps/a.cpp", 1, "", ""}, time),
              "time=2026-11-21T19:07:03.007Z level=info msg=\"\"\n");
}

std::string WrittenAt(LogLevel level, int record, const char* file)
{
    StartLogging(level);
    testing::internal::CaptureStderr();
    Log(record, file, 1).Stream() << "something";
    std::string written = testing::internal::GetCapturedStderr();
    SetLogSink(nullptr);
    SetLogLevel(0);
    return written;
}

struct LevelRow
{
    LogLevel level;
    int record;
    const char* file;
    bool written;
};

TEST(LogLines, OfTheLibrariesAreForWhoeverLooksIntoReads)
{
    const char* const own = "apps/vkt_exporter/service.cpp";
    const char* const read = "src/module/vkt/vkt_https/redfish_session.cpp";
    const char* const configuration = "src/common/config/global_config.cpp";
    for (const LevelRow& row : {
             LevelRow{LogLevel::kInfo, 3, own, true},
             LevelRow{LogLevel::kInfo, 4, own, false},
             LevelRow{LogLevel::kWarn, 2, own, true},
             LevelRow{LogLevel::kWarn, 3, own, false},
             LevelRow{LogLevel::kError, 2, own, false},
             LevelRow{LogLevel::kInfo, 1, read, false},
             LevelRow{LogLevel::kDebug, 4, read, true},
             LevelRow{LogLevel::kInfo, 2, configuration, true},
         }) {
        EXPECT_EQ(!WrittenAt(row.level, row.record, row.file).empty(), row.written)
            << static_cast<int>(row.level) << " " << row.record << " " << row.file;
    }
}

TEST(LogLines, AreCollectedOfOneThreadAndAllLevels)
{
    StartLogging(LogLevel::kError);
    testing::internal::CaptureStderr();
    {
        const LogCollector collector;
        Log(4, "src/module/x.cpp", 1).Stream() << "of this read";
        std::thread([] { Log(1, "src/module/x.cpp", 1).Stream() << "of another"; }).join();
        EXPECT_THAT(collector.Text(), AllOf(HasSubstr("level=debug msg=\"of this read\""),
                                            Not(HasSubstr("of another"))));
        const std::string large(std::size_t{1} << 16U, 'x');
        for (int i = 0; i < 100; ++i) {
            Log(4, "src/module/x.cpp", 1).Stream() << large;
        }
        EXPECT_LE(collector.Text().size(), std::size_t{2} << 20U);
        EXPECT_THAT(collector.Text(), EndsWith("(the log goes on, and is too long)\n"));
    }
    EXPECT_EQ(GetLogLevel(), 1);
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
    SetLogSink(nullptr);
    SetLogLevel(0);
}

}  // namespace
