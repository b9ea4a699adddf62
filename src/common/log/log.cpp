// SPDX-License-Identifier: Apache-2.0
#include "common/log/log.h"

#include <algorithm>
#include <atomic>
#include <charconv>
#include <cstddef>
#include <cstdlib>
#include <locale>
#include <memory>
#include <new>
#include <optional>
#include <sstream>
#include <string_view>
#include <utility>

#include "common/log/log_output.h"

namespace Tulvo {

namespace {

constexpr int kSilent = 0;
constexpr int kMostDetailed = 4;
constexpr int kDefaultLevel = 2;
constexpr int kNotYetAsked = -1;

std::atomic<int> threshold{kNotYetAsked};

thread_local const LogContext* innermost = nullptr;

std::optional<int> ParseLevel(std::string_view text)
{
    int level = 0;
    const char* const end = text.data() + text.size();
    const auto [rest, error] = std::from_chars(text.data(), end, level);
    const bool isLevel =
        error == std::errc{} && rest == end && level >= kSilent && level <= kMostDetailed;
    return isLevel ? std::optional(level) : std::nullopt;
}

void AskEnvironment()
{
    const char* const setting = std::getenv("VKT_LOG_LEVEL");
    const std::optional<int> level = setting == nullptr ? kDefaultLevel : ParseLevel(setting);
    int unset = kNotYetAsked;
    // The threshold stands before the warning is written, which asks for it again.
    const bool first = threshold.compare_exchange_strong(unset, level.value_or(kDefaultLevel));
    if (first && !level) {
        Log(2, __FILE__, __LINE__).Stream()
            << "VKT_LOG_LEVEL is \"" << setting << "\", but must be a number from " << kSilent
            << " (nothing) to " << kMostDetailed << " (traces); using " << kDefaultLevel;
    }
}

/// A stream of this thread that takes nothing. Never destroyed, and so usable by whatever logs
/// while the thread ends.
std::ostream& FailedStream()
{
    alignas(std::ostream) thread_local std::byte storage[sizeof(std::ostream)];
    thread_local std::ostream* const stream = new (storage) std::ostream(nullptr);
    // An earlier user may have given it a buffer, or asked for exceptions.
    stream->exceptions(std::ios_base::goodbit);
    stream->rdbuf(nullptr);
    return *stream;
}

}  // namespace

struct Log::Record
{
    LogRecord head;
    std::ostringstream stream;
};

Log::Log(int level, const char* file, int line)
{
    if (level > GetLogLevel()) {
        return;
    }
    try {
        auto record = std::make_unique<Record>();
        record->head = {level, file == nullptr ? "" : file, line, {}};
        if (innermost != nullptr) {
            record->head.target = innermost->target_;
        }
        // A host's locale must not group the digits of a number.
        record->stream.imbue(std::locale::classic());
        record_ = record.release();
    } catch (...) {
        // Out of memory: the record is lost, the host goes on.
    }
}

Log::~Log()
{
    const std::unique_ptr<Record> record(record_);
    if (record == nullptr) {
        return;
    }
    try {
        record->head.text = std::move(record->stream).str();
        Logging::DeliverLogRecord(record->head);
    } catch (...) {
        // A record that cannot be written is no reason to end the host.
    }
}

std::ostream& Log::Stream()
{
    return record_ == nullptr ? FailedStream() : record_->stream;
}

LogContext::LogContext(std::string target) : target_(std::move(target)), outer_(innermost)
{
    innermost = this;
}

LogContext::~LogContext()
{
    innermost = outer_;
}

void SetLogLevel(int level)
{
    threshold.store(std::max(level, kSilent), std::memory_order_relaxed);
}

int GetLogLevel()
{
    const int level = threshold.load(std::memory_order_relaxed);
    if (level != kNotYetAsked) {
        return level;
    }
    AskEnvironment();
    return threshold.load(std::memory_order_relaxed);
}

}  // namespace Tulvo
