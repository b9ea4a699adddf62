// SPDX-License-Identifier: Apache-2.0
// The system's log, with the C library's functions replaced: a test must not write to the real one.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <syslog.h>

#include <array>
#include <cstdarg>
#include <cstdio>
#include <string>
#include <utility>
#include <vector>

#include "common/log/log.h"

namespace {

struct FakeSyslog
{
    std::string ident;
    bool open = false;
    std::vector<std::pair<int, std::string>> messages;
};

FakeSyslog fake;

void NoteMessage(int priority, const char* format, va_list arguments)
{
    std::array<char, 1000> text{};
    vsnprintf(text.data(), text.size(), format, arguments);
    fake.messages.emplace_back(priority, text.data());
}

}  // namespace

extern "C" {

VKT_EXPORT void openlog(const char* ident, int, int)
{
    fake.ident = ident;
    fake.open = true;
}

VKT_EXPORT void closelog()
{
    fake.open = false;
}

VKT_EXPORT void syslog(int priority, const char* format, ...)
{
    va_list arguments;
    va_start(arguments, format);
    NoteMessage(priority, format, arguments);
    va_end(arguments);
}

// What syslog() becomes in a library that is built with checked calls.
VKT_EXPORT void CheckedSyslog(int priority, int flag, const char* format,
                              ...) __asm__("__syslog_chk");

void CheckedSyslog(int priority, int, const char* format, ...)
{
    va_list arguments;
    va_start(arguments, format);
    NoteMessage(priority, format, arguments);
    va_end(arguments);
}
}

namespace Tulvo {
namespace {

using testing::ElementsAre;
using testing::Pair;

class LogSyslogTest : public testing::Test
{
protected:
    LogSyslogTest() { fake = {}; }
    ~LogSyslogTest() override
    {
        LogToStderr();
        SetLogLevel(2);
    }
};

TEST_F(LogSyslogTest, RecordsGoOutAtTheirPriority)
{
    SetLogLevel(4);
    LogToSyslog("exporter");
    for (int level = 1; level <= 4; ++level) {
        Log(level, "f", level).Stream() << "100 %s\r";
    }
    EXPECT_EQ(fake.ident, "exporter");
    EXPECT_THAT(fake.messages, ElementsAre(Pair(LOG_ERR, "error f:1: 100 %s\\x0d"),
                                           Pair(LOG_WARNING, "warning f:2: 100 %s\\x0d"),
                                           Pair(LOG_INFO, "notice f:3: 100 %s\\x0d"),
                                           Pair(LOG_DEBUG, "trace f:4: 100 %s\\x0d")));
}

TEST_F(LogSyslogTest, AnotherNameMayBeChosen)
{
    LogToSyslog("first");
    LogToSyslog("second");
    EXPECT_EQ(fake.ident, "second");
    EXPECT_TRUE(fake.open);
}

TEST_F(LogSyslogTest, AnotherSinkEndsIt)
{
    LogToSyslog("exporter");
    LogToStderr();
    EXPECT_FALSE(fake.open);
    testing::internal::CaptureStderr();
    Log(1, "f", 1).Stream() << "text";
    EXPECT_NE(testing::internal::GetCapturedStderr(), "");
    EXPECT_TRUE(fake.messages.empty());
}

}  // namespace
}  // namespace Tulvo
