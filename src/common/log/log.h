// SPDX-License-Identifier: Apache-2.0
/// @file
/// One object is one log record: made with level, file and line, filled through Stream(), handed
/// over when it ends. May be used from any thread.
///
/// A record above the threshold costs almost nothing: its stream is in a failed state, so that
/// inserters return at once. Put work into an inserter, never into its argument.
#ifndef COMMON_LOG_LOG_H
#define COMMON_LOG_LOG_H

#include <cstddef>
#include <functional>
#include <iosfwd>
#include <ostream>
#include <string>

#include "common/platform/export.h"

namespace Tulvo {

/// A finished record, as a sink gets it.
struct LogRecord
{
    int level;         ///< 1 error, 2 warning, 3 notice, 4 trace.
    const char* file;  ///< Source file of the statement; never null.
    int line;          ///< Line of the statement.
    std::string text;  ///< What was inserted, byte for byte; may hold any byte, also NUL.
    /// Whom it is about, as the LogContext of the thread said when the record was begun; else
    /// empty.
    std::string target = {};
};

/// As long as it lives, the records of its thread say that they are about one target, so that those
/// of many that are asked side by side can be told apart. The innermost of several stands. It is a
/// local variable: it ends on the thread that made it, before those that were made earlier there. A
/// thread that is started within has none.
class VKT_EXPORT LogContext
{
public:
    /// @param target any text, such as a host's name; an empty one names nobody.
    explicit LogContext(std::string target);
    ~LogContext();
    LogContext(const LogContext&) = delete;
    LogContext& operator=(const LogContext&) = delete;

private:
    friend class Log;

    std::string target_;
    const LogContext* outer_;
};

/// A record under construction.
///
///     Log(1, __FILE__, __LINE__).Stream() << "connect failed with error:" << state;
class VKT_EXPORT Log
{
public:
    /// @param level 1 error, 2 warning, 3 notice, 4 trace.
    /// @param file  source file of the statement; a text that outlives the record (`__FILE__`).
    /// @param line  line of the statement.
    Log(int level, const char* file, int line);
    /// Hands the record over, unless it is above the threshold. Never throws.
    ~Log();
    Log(const Log&) = delete;
    Log& operator=(const Log&) = delete;

    /// Where the record's text is inserted; valid as long as the object.
    std::ostream& Stream();

private:
    struct Record;
    Record* record_ = nullptr;  ///< Null above the threshold.
};

/// Records of a higher level than this are not written; 0 silences all. Stands above the
/// environment variable `VKT_LOG_LEVEL` (0 to 4), which stands above the default, 2.
VKT_EXPORT void SetLogLevel(int level);

/// The threshold in force.
VKT_EXPORT int GetLogLevel();

/// Hands every record to `sink` instead of writing it as text; an empty function goes back to text.
/// Calls come one at a time, from the threads that log, and none comes after the next SetLogSink()
/// has returned to another thread. What the sink throws is dropped, and so are records that it
/// writes itself.
VKT_EXPORT void SetLogSink(std::function<void(const LogRecord&)> sink);

// Where records go as text: a line "time level file:line: text" each, or "time level file:line:
// target: text" where a target is named, further lines of the text indented. Control characters
// other than line feed and tab, and bytes that are no UTF-8, are written as \xNN. One of these is
// in force at a time.

/// Text goes to the standard error output. This is the default.
VKT_EXPORT void LogToStderr();

/// Text goes to the file `path`, which is extended if it exists. Before a line would make it longer
/// than `maxBytes` (not 0), it becomes "name.1.ext", that one "name.2.ext", and so on up to
/// `oldFiles` of them. Should a write fail later, a warning says so and text goes to the standard
/// error output from then on.
/// @return false, after a warning, when the file cannot be written; nothing changes then.
VKT_EXPORT bool LogToFile(const std::string& path, std::size_t maxBytes, std::size_t oldFiles);

/// Text goes to the system's log under the name `ident`, at the priorities err, warning, info and
/// debug, without time.
VKT_EXPORT void LogToSyslog(const std::string& ident);

}  // namespace Tulvo

#endif
