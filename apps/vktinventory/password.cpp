// SPDX-License-Identifier: Apache-2.0
#include "apps/vktinventory/password.h"

#include <fcntl.h>
#include <termios.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <mutex>
#include <system_error>

namespace Tulvo::Cli {
namespace {

constexpr const char* kVariable = "IPMI_PASSWORD";
constexpr std::string_view kPrompt = "Password: ";
/// Far above any password; only keeps a wrong file (or device) from being read without end.
constexpr std::size_t kLongestLine = 4096;

std::string LastError()
{
    return std::generic_category().message(errno);
}

/// An open file that closes itself; below 0 when it could not be opened.
class Descriptor
{
public:
    Descriptor(const char* path, int flags) : number_(open(path, flags | O_CLOEXEC | O_NOCTTY)) {}
    Descriptor(const Descriptor&) = delete;
    Descriptor& operator=(const Descriptor&) = delete;
    ~Descriptor()
    {
        if (number_ >= 0) {
            close(number_);
        }
    }
    int Number() const { return number_; }

private:
    int number_;
};

struct Line
{
    std::string text;
    bool ended = false;   ///< By a line feed, or by the end of the file after at least a byte.
    bool failed = false;  ///< By an error, which errno tells.
};

/// Byte by byte, so that nothing behind the line is taken from a terminal or a pipe.
Line ReadLine(int descriptor)
{
    Line line;
    while (line.text.size() < kLongestLine) {
        char byte = 0;
        const ssize_t got = read(descriptor, &byte, 1);
        if (got < 0 && errno == EINTR) {
            continue;
        }
        if (got <= 0 || byte == '\n') {
            line.failed = got < 0;
            line.ended = got > 0 || !line.text.empty();
            return line;
        }
        line.text += byte;
    }
    return line;
}

/// The terminal whose echo is off, for RestoreEcho(); -1 when there is none.
std::mutex echoMutex;
int silentTerminal = -1;
termios modesBefore = {};

/// Echo is off as long as this lives. The line feed stays visible, as people expect of a prompt.
class SilentTerminal
{
public:
    explicit SilentTerminal(int terminal)
    {
        const std::lock_guard lock(echoMutex);
        if (tcgetattr(terminal, &modesBefore) != 0) {
            return;
        }
        termios modes = modesBefore;
        modes.c_lflag &= ~static_cast<tcflag_t>(ECHO);
        modes.c_lflag |= ECHONL;
        if (tcsetattr(terminal, TCSAFLUSH, &modes) == 0) {
            silentTerminal = terminal;
        }
    }
    SilentTerminal(const SilentTerminal&) = delete;
    SilentTerminal& operator=(const SilentTerminal&) = delete;
    ~SilentTerminal() { RestoreEcho(); }
    static bool IsSilent() { return silentTerminal >= 0; }
};

}  // namespace

std::string PasswordFromFile(const std::string& path)
{
    const Descriptor file(path.c_str(), O_RDONLY);
    if (file.Number() < 0) {
        throw NoPassword("cannot open the password file: " + LastError());
    }
    Line line = ReadLine(file.Number());
    if (line.failed) {
        throw NoPassword("cannot read the password file: " + LastError());
    }
    if (!line.ended) {
        throw NoPassword("the password file's first line is missing or far too long");
    }
    // An editor on another system ends lines with both; ipmitool passes over the first, too.
    if (!line.text.empty() && line.text.back() == '\r') {
        line.text.pop_back();
    }
    return line.text;
}

std::string PasswordFromEnvironment()
{
    const char* const value = std::getenv(kVariable);
    if (value == nullptr) {
        throw NoPassword("-E needs the environment variable IPMI_PASSWORD, which is not set");
    }
    return value;
}

std::string PasswordFromTerminal()
{
    const Descriptor terminal("/dev/tty", O_RDWR);
    if (terminal.Number() < 0) {
        throw NoPassword("no password: there is no terminal to ask on; use -f FILE, -E or -P");
    }
    const SilentTerminal silence(terminal.Number());
    if (!SilentTerminal::IsSilent() ||
        write(terminal.Number(), kPrompt.data(), kPrompt.size()) < 0) {
        throw NoPassword("no password: the terminal's echo cannot be switched off; use -f FILE");
    }
    Line line = ReadLine(terminal.Number());
    if (!line.ended) {
        throw NoPassword("no password: the terminal gave none");
    }
    return line.text;
}

void RestoreEcho()
{
    const std::lock_guard lock(echoMutex);
    if (silentTerminal >= 0) {
        tcsetattr(silentTerminal, TCSAFLUSH, &modesBefore);
        silentTerminal = -1;
    }
}

}  // namespace Tulvo::Cli
