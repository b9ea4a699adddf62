// SPDX-License-Identifier: Apache-2.0
#include "common/log/text_sink.h"

#include <spdlog/details/log_msg.h>
#include <spdlog/sinks/rotating_file_sink.h>
#include <spdlog/sinks/stdout_sinks.h>
#include <spdlog/sinks/syslog_sink.h>

#include <algorithm>
#include <array>

#include "common/text/printable.h"

namespace Tulvo::Logging {

namespace {

struct Level
{
    const char* name;
    spdlog::level::level_enum priority;
};

constexpr std::array<Level, 4> kLevels = {{
    {"error", spdlog::level::err},
    {"warning", spdlog::level::warn},
    {"notice", spdlog::level::info},
    {"trace", spdlog::level::debug},
}};

constexpr const char* kTimeThenRecord = "%Y-%m-%dT%H:%M:%S.%e%z %v";

const Level& LevelOf(const LogRecord& record)
{
    return kLevels[static_cast<std::size_t>(std::clamp(record.level, 1, 4) - 1)];
}

/// Only a record's first line begins at the margin, so no text can pass for a record.
std::string Indented(const std::string& text)
{
    std::string indented;
    for (const char character : text) {
        indented += character;
        if (character == '\n') {
            indented += "    ";
        }
    }
    return indented;
}

/// Whom the record is about stands on its first line, whatever the name holds.
std::string LineOf(const LogRecord& record)
{
    std::string line = LevelOf(record).name;
    line.append(" ").append(record.file).append(":").append(std::to_string(record.line));
    line.append(": ");
    if (!record.target.empty()) {
        line.append(Text::PrintableAscii(record.target)).append(": ");
    }
    return line.append(Indented(Text::PrintableText(record.text)));
}

TextSink WithTime(TextSink sink)
{
    sink->set_pattern(kTimeThenRecord);
    return sink;
}

}  // namespace

TextSink MakeStderrSink()
{
    return WithTime(std::make_shared<spdlog::sinks::stderr_sink_st>());
}

TextSink MakeFileSink(const std::string& path, std::size_t maxBytes, std::size_t oldFiles)
{
    return WithTime(
        std::make_shared<spdlog::sinks::rotating_file_sink_st>(path, maxBytes, oldFiles));
}

TextSink MakeSyslogSink(const std::string& ident)
{
    constexpr bool kWithTime = false;
    return std::make_shared<spdlog::sinks::syslog_sink_st>(ident, LOG_PID, LOG_USER, kWithTime);
}

void WriteRecord(spdlog::sinks::sink& sink, const LogRecord& record)
{
    sink.log(spdlog::details::log_msg("", LevelOf(record).priority, LineOf(record)));
    sink.flush();
}

}  // namespace Tulvo::Logging
