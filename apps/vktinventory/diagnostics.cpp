// SPDX-License-Identifier: Apache-2.0
#include "apps/vktinventory/diagnostics.h"

#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <charconv>
#include <chrono>
#include <cstdlib>
#include <functional>
#include <mutex>
#include <new>
#include <utility>

#include "apps/vktinventory/writing.h"
#include "common/log/log.h"
#include "common/text/printable.h"

namespace Tulvo::Cli {
namespace {

constexpr int kWarning = 2;
constexpr int kNotice = 3;
constexpr int kTrace = 4;

/// How the library's notices of its retry loops begin, and how often it tries.
constexpr std::string_view kRetryNotices[] = {"Try to get VKT status, retry ",
                                              "Try to get PSU status, start retry "};
constexpr int kTries = 6;

constexpr std::string_view kEraseLine = "\r\033[K";

/// Guards what stands below it. Held for moments, but where standard error does not take what is
/// written: nobody who ends the process may wait for it.
std::timed_mutex mutex;
std::string detail;
bool progressStands = false;

std::atomic<bool> outputEnded = false;

/// Whoever prints holds it; EndOutput() takes it and keeps it.
std::mutex printing;

/// Far above those moments.
constexpr std::chrono::milliseconds kMoment{200};

/// Nobody is left to tell when standard error itself fails.
void WriteError(std::string_view text)
{
    [[maybe_unused]] const ssize_t written = write(STDERR_FILENO, text.data(), text.size());
}

void EraseStandingLine()
{
    if (std::exchange(progressStands, false)) {
        WriteError(kEraseLine);
    }
}

void ShowTry(int number)
{
    WriteError(std::string(kEraseLine) + "module not ready, try " + std::to_string(number) +
               " of " + std::to_string(kTries) + " ...");
    progressStands = true;
}

/// Which try a notice announces; 0 when it announces none.
int TryIn(std::string_view text)
{
    int number = 0;
    for (const std::string_view notice : kRetryNotices) {
        if (text.substr(0, notice.size()) == notice) {
            std::from_chars(text.data() + notice.size(), text.data() + text.size(), number);
        }
    }
    return number;
}

/// A warning about the configuration is about this command's own set-up, not about a query.
bool IsAboutConfiguration(const LogRecord& record)
{
    return std::string_view(record.file).find("common/config/") != std::string_view::npos;
}

void Line(std::string_view text)
{
    EraseStandingLine();
    try {
        WriteError("vktinventory: " + Text::PrintableAscii(text) + "\n");
    } catch (const std::bad_alloc&) {
        WriteError("vktinventory: no memory is left, not even to say what else is wrong\n");
    }
}

void TakeRecordQuietly(const LogRecord& record)
{
    const std::lock_guard lock(mutex);
    if (outputEnded) {
        return;
    }
    if (record.level > kWarning) {
        if (const int number = TryIn(record.text); number > 1 && isatty(STDERR_FILENO) != 0) {
            ShowTry(number);
        }
        return;
    }
    if (IsAboutConfiguration(record)) {
        Line(record.text);
        return;
    }
    detail = record.text;
}

bool IsSet(const char* variable)
{
    const char* const value = std::getenv(variable);
    return value != nullptr && *value != '\0';
}

bool TerminalIsDumb()
{
    const char* const terminal = std::getenv("TERM");
    return terminal != nullptr && std::string_view(terminal) == "dumb";
}

}  // namespace

void Complain(std::string_view text)
{
    const std::scoped_lock lock(printing, mutex);
    Line(text);
}

void StartLogging(int verbosity)
{
    SetLogLevel(verbosity > 1 ? kTrace : kNotice);
    SetLogSink(verbosity == 0 ? std::function(TakeRecordQuietly) : nullptr);
}

std::string TakeLogDetail()
{
    const std::lock_guard lock(mutex);
    EraseStandingLine();
    return std::exchange(detail, {});
}

void EraseProgress()
{
    const std::lock_guard lock(mutex);
    EraseStandingLine();
}

void EndOutput()
{
    outputEnded = true;
    if (const std::unique_lock lock(mutex, kMoment); lock && progressStands) {
        WriteIfTaken(STDERR_FILENO, kEraseLine);
    }
    SetLogLevel(0);
    // A print that has begun may be stuck in a pipe that nobody reads; it is not waited for.
    static_cast<void>(printing.try_lock());
}

bool WriteOut(std::string_view text)
{
    const std::lock_guard lock(printing);
    while (!text.empty()) {
        const ssize_t written = write(STDOUT_FILENO, text.data(), text.size());
        if (written < 0 && errno != EINTR) {
            return false;
        }
        text.remove_prefix(written > 0 ? static_cast<std::size_t>(written) : 0);
    }
    return true;
}

bool WantsColour()
{
    return isatty(STDOUT_FILENO) != 0 && !IsSet("NO_COLOR") && !TerminalIsDumb();
}

}  // namespace Tulvo::Cli
