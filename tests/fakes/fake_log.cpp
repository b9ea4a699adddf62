// SPDX-License-Identifier: Apache-2.0
#include "tests/fakes/fake_log.h"

#include <locale>
#include <ostream>
#include <sstream>
#include <utility>

#include "common/log/log.h"
#include "tests/fakes/journal.h"

namespace Tulvo {

namespace {

thread_local const LogContext* innermost = nullptr;

}  // namespace

struct Log::Record
{
    int level;
    const char* file;
    int line;
    std::ostringstream text;
    std::string target;
};

Log::Log(int level, const char* file, int line)
{
    const Fakes::FakeLog* const fake = Fakes::FakeLog::Get();
    if (fake != nullptr && level <= fake->threshold) {
        record_ = new Record{level, file, line, {}, innermost != nullptr ? innermost->target_ : ""};
        record_->text.imbue(std::locale::classic());
    }
}

Log::~Log()
{
    if (record_ != nullptr) {
        Fakes::FakeLog::Get()->Add(
            {{record_->level, record_->text.str()}, record_->file, record_->line, record_->target});
        delete record_;
    }
}

std::ostream& Log::Stream()
{
    thread_local std::ostream failed(nullptr);
    return record_ != nullptr ? record_->text : failed;
}

LogContext::LogContext(std::string target) : target_(std::move(target)), outer_(innermost)
{
    innermost = this;
}

LogContext::~LogContext()
{
    innermost = outer_;
}

namespace Fakes {

void PrintTo(const LogLine& line, std::ostream* out)
{
    *out << line.level << " " << ::testing::PrintToString(line.text);
}

void FakeLog::Add(const Record& record)
{
    const std::lock_guard lock(mutex_);
    records_.push_back(record);
    Journal::Write("log " + std::to_string(record.line.level) + " " + record.line.text);
}

LogLines FakeLog::Lines() const
{
    LogLines lines;
    lines.reserve(records_.size());
    for (const Record& record : records_) {
        lines.push_back(record.line);
    }
    return lines;
}

LogLines FakeLog::Lines(int level) const
{
    LogLines lines = Lines();
    std::erase_if(lines, [level](const LogLine& line) { return line.level != level; });
    return lines;
}

LogLines FakeLog::LinesOf(std::string_view file) const
{
    LogLines lines;
    for (const Record& record : records_) {
        if (record.file.find(file) != std::string::npos) {
            lines.push_back(record.line);
        }
    }
    return lines;
}

}  // namespace Fakes

}  // namespace Tulvo
