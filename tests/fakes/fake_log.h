// SPDX-License-Identifier: Apache-2.0
/// @file
/// A logger that keeps every record for the test.
#ifndef TESTS_FAKES_FAKE_LOG_H
#define TESTS_FAKES_FAKE_LOG_H

#include <iosfwd>
#include <mutex>
#include <string>
#include <string_view>
#include <vector>

#include "tests/fakes/current.h"

namespace Tulvo::Fakes {

/// Level and text of a record.
struct LogLine
{
    int level;
    std::string text;

    bool operator==(const LogLine&) const = default;
};
using LogLines = std::vector<LogLine>;

/// Shows a line in a test's message, control characters escaped.
void PrintTo(const LogLine& line, std::ostream* out);

/// Keeps the records; writes each into the journal too, as "log LEVEL TEXT". A record's stream has
/// the classic locale, as that of the logger it stands for.
class FakeLog : public Current<FakeLog>
{
public:
    struct Record
    {
        LogLine line;
        std::string file;
        int lineNumber;
        std::string target;
    };

    /// Records above this level are dropped, and their streams are in a failed state.
    int threshold = 4;

    /// From any thread; what is asked below, when none writes any more.
    void Add(const Record& record);
    const std::vector<Record>& Records() const { return records_; }
    LogLines Lines() const;
    /// The lines of `level` only.
    LogLines Lines(int level) const;
    /// The lines of statements in files whose name contains `file` only.
    LogLines LinesOf(std::string_view file) const;
    void Clear() { records_.clear(); }

private:
    std::mutex mutex_;
    std::vector<Record> records_;
};

}  // namespace Tulvo::Fakes

#endif
