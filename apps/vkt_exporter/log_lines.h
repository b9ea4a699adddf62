// SPDX-License-Identifier: Apache-2.0
/// @file
/// What is logged, as lines of key=value pairs on standard error. Whatever a module says, a record
/// is one line of printable text.
#ifndef APPS_VKT_EXPORTER_LOG_LINES_H
#define APPS_VKT_EXPORTER_LOG_LINES_H

#include <chrono>
#include <string>

#include "apps/vkt_exporter/command_line.h"
#include "common/log/log.h"

namespace Tulvo::Exporter {

/// The levels of records.
inline constexpr int kError = 1;
inline constexpr int kWarning = 2;
inline constexpr int kNotice = 3;
inline constexpr int kTrace = 4;

/// `time=2026-11-21T19:07:03.250Z level=warn target=enc017 msg="..."`, with a line feed.
std::string LineOf(const LogRecord& record, std::chrono::system_clock::time_point time);

/// From now on records of this level and those above it are lines on standard error; of what the
/// libraries say about single reads only with kDebug.
void StartLogging(LogLevel level);

/// As long as it lives, keeps what its thread logs, of all levels.
class LogCollector
{
public:
    LogCollector();
    LogCollector(const LogCollector&) = delete;
    LogCollector& operator=(const LogCollector&) = delete;
    ~LogCollector();

    void Keep(const std::string& line);
    /// The lines up to now. Of very many the last are left out, which the text then says.
    const std::string& Text() const { return text_; }

private:
    std::string text_;
};

}  // namespace Tulvo::Exporter

#endif
