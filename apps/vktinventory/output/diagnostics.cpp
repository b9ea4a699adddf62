// SPDX-License-Identifier: Apache-2.0
#include "apps/vktinventory/output/diagnostics.h"

#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <cstdlib>
#include <functional>
#include <mutex>
#include <new>
#include <system_error>

#include "common/log/log.h"
#include "common/text/printable.h"

namespace Tulvo::Cli {
namespace {

constexpr int kWarning = 2;
constexpr int kNotice = 3;
constexpr int kTrace = 4;

std::atomic<bool> outputEnded = false;

/// Whoever prints holds it; EndOutput() takes it and keeps it.
std::mutex printing;

/// Nobody is left to tell when standard error itself fails.
void WriteError(std::string_view text)
{
    [[maybe_unused]] const ssize_t written = write(STDERR_FILENO, text.data(), text.size());
}

/// A warning about the configuration is about this command's own set-up, not about a module.
bool IsAboutConfiguration(const LogRecord& record)
{
    return std::string_view(record.file).find("common/config/") != std::string_view::npos;
}

bool progressShows = false;

void EraseProgress()
{
    if (progressShows) {
        WriteError("\r\033[K");
        progressShows = false;
    }
}

/// Takes the beginning of a line back of which the rest found no room, unless somebody else has
/// written behind it.
void TakeBackBegunLine(std::string_view written)
{
    const auto begun = static_cast<off_t>(written.size() - (written.rfind('\n') + 1));
    const off_t end = lseek(STDOUT_FILENO, 0, SEEK_CUR);
    struct stat file = {};
    if (begun > 0 && end >= begun && fstat(STDOUT_FILENO, &file) == 0 && S_ISREG(file.st_mode) &&
        file.st_size == end && ftruncate(STDOUT_FILENO, end - begun) == 0) {
        lseek(STDOUT_FILENO, end - begun, SEEK_SET);
    }
}

void Line(std::string_view text)
{
    EraseProgress();
    try {
        WriteError("vktinventory: " + Text::PrintableAscii(text) + "\n");
    } catch (const std::bad_alloc&) {
        WriteError("vktinventory: no memory is left, not even to say what else is wrong\n");
    }
}

/// What failed is told by whoever asked; what nobody asked for must not get lost.
void TakeRecordQuietly(const LogRecord& record)
{
    if (!outputEnded && IsAboutConfiguration(record)) {
        Line(record.text);
    }
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
    const std::lock_guard lock(printing);
    Line(text);
}

void StartLogging(int verbosity)
{
    constexpr int kLevels[] = {kWarning, kNotice, kTrace};
    SetLogLevel(kLevels[std::min(verbosity, 2)]);
    SetLogSink(verbosity == 0 ? std::function(TakeRecordQuietly) : nullptr);
}

void EndOutput()
{
    outputEnded = true;
    SetLogLevel(0);
    // A print that has begun may be stuck in a pipe that nobody reads; it is not waited for.
    static_cast<void>(printing.try_lock());
}

bool WriteOut(std::string_view text)
{
    const std::lock_guard lock(printing);
    EraseProgress();
    std::size_t written = 0;
    while (written < text.size()) {
        const ssize_t more = write(STDOUT_FILENO, text.data() + written, text.size() - written);
        if (more < 0 && errno != EINTR) {
            const int reason = errno;
            TakeBackBegunLine(text.substr(0, written));
            errno = reason;
            return false;
        }
        written += more > 0 ? static_cast<std::size_t>(more) : 0;
    }
    return true;
}

void ComplainAboutOutput(int reason)
{
    Complain("the results cannot be written to standard output: " +
             std::generic_category().message(reason));
}

bool WantsProgress()
{
    return isatty(STDERR_FILENO) != 0 && !TerminalIsDumb();
}

void ShowProgress(std::string_view line)
{
    const std::lock_guard lock(printing);
    EraseProgress();
    if (!line.empty()) {
        WriteError(line);
        progressShows = true;
    }
}

bool WantsColour()
{
    return isatty(STDOUT_FILENO) != 0 && !IsSet("NO_COLOR") && !TerminalIsDumb();
}

}  // namespace Tulvo::Cli
