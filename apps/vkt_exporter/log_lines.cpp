// SPDX-License-Identifier: Apache-2.0
#include "apps/vkt_exporter/log_lines.h"

#include <unistd.h>

#include <array>
#include <atomic>
#include <cstddef>
#include <ctime>
#include <mutex>
#include <string_view>

#include "common/text/printable.h"

namespace Tulvo::Exporter {
namespace {

constexpr std::size_t kMostKept = std::size_t{1} << 20U;

/// What is in force without collectors.
std::atomic<int> threshold = kWarning;
std::mutex collecting;
unsigned collectors = 0;
thread_local LogCollector* collector = nullptr;

constexpr std::array<std::string_view, 5> kLevels = {"error", "error", "warn", "info", "debug"};

std::string TimeText(std::chrono::system_clock::time_point time)
{
    const auto seconds = std::chrono::floor<std::chrono::seconds>(time);
    const auto milliseconds = std::chrono::floor<std::chrono::milliseconds>(time - seconds).count();
    const std::time_t whole = std::chrono::system_clock::to_time_t(seconds);
    std::tm parts = {};
    gmtime_r(&whole, &parts);
    std::array<char, 32> text{};
    const std::size_t length =
        std::strftime(text.data(), text.size(), "%Y-%m-%dT%H:%M:%S.", &parts);
    const std::string fraction = std::to_string(1000 + milliseconds);
    return std::string(text.data(), length).append(fraction, 1).append("Z");
}

std::string LogfmtValue(std::string_view text)
{
    std::string quoted = "\"";
    for (const char character : text) {
        if (character == '"' || character == '\\') {
            quoted += '\\';
        }
        quoted += Text::IsPrintableAscii(character) ? std::string(1, character)
                                                    : Text::EscapedByte(character);
    }
    return quoted + "\"";
}

/// The libraries' records about single reads are for whoever looks into one of them; what they say
/// about their configuration concerns all.
bool IsForStandardError(const LogRecord& record)
{
    const std::string_view file = record.file;
    const bool ofRead = file.starts_with("src/") && !file.starts_with("src/common/config/");
    return record.level <= threshold && (!ofRead || threshold == kTrace);
}

void TakeRecord(const LogRecord& record)
{
    const std::string line = LineOf(record, std::chrono::system_clock::now());
    if (collector != nullptr) {
        collector->Keep(line);
    }
    if (IsForStandardError(record)) {
        [[maybe_unused]] const ssize_t written = write(STDERR_FILENO, line.data(), line.size());
    }
}

}  // namespace

std::string LineOf(const LogRecord& record, std::chrono::system_clock::time_point time)
{
    const bool known = record.level >= 0 && static_cast<std::size_t>(record.level) < kLevels.size();
    std::string line = "time=" + TimeText(time);
    line.append(" level=").append(known ? kLevels[static_cast<std::size_t>(record.level)]
                                        : "debug");
    if (!record.target.empty()) {
        line.append(" target=").append(LogfmtValue(record.target));
    }
    return line.append(" msg=").append(LogfmtValue(record.text)).append("\n");
}

void StartLogging(LogLevel level)
{
    threshold = static_cast<int>(level);
    SetLogLevel(threshold);
    SetLogSink(TakeRecord);
}

LogCollector::LogCollector()
{
    const std::lock_guard lock(collecting);
    collector = this;
    ++collectors;
    SetLogLevel(kTrace);
}

void LogCollector::Keep(const std::string& line)
{
    constexpr std::string_view kTooLong = "(the log goes on, and is too long)\n";
    if (text_.size() + line.size() <= kMostKept) {
        text_ += line;
    } else if (!text_.ends_with(kTooLong)) {
        text_ += kTooLong;
    }
}

LogCollector::~LogCollector()
{
    const std::lock_guard lock(collecting);
    collector = nullptr;
    if (--collectors == 0) {
        SetLogLevel(threshold);
    }
}

}  // namespace Tulvo::Exporter
