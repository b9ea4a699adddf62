// SPDX-License-Identifier: Apache-2.0
/// @file
/// Records as lines of text, and where the lines can go.
#ifndef COMMON_LOG_TEXT_SINK_H
#define COMMON_LOG_TEXT_SINK_H

#include <cstddef>
#include <memory>
#include <string>

#include "common/log/log.h"

namespace spdlog::sinks {
class sink;
}

namespace Tulvo::Logging {

using TextSink = std::shared_ptr<spdlog::sinks::sink>;

TextSink MakeStderrSink();
/// Throws spdlog's exception, which names path and reason, when the file cannot be opened.
TextSink MakeFileSink(const std::string& path, std::size_t maxBytes, std::size_t oldFiles);
TextSink MakeSyslogSink(const std::string& ident);

/// Writes `record` and flushes. Throws when the sink says that it failed.
void WriteRecord(spdlog::sinks::sink& sink, const LogRecord& record);

}  // namespace Tulvo::Logging

#endif
