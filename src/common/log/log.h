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

}  // namespace Tulvo

#endif
