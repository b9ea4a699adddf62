// SPDX-License-Identifier: Apache-2.0
#include "apps/vktinventory/input/password_prompt.h"

#include <fcntl.h>
#include <termios.h>
#include <unistd.h>

#include <mutex>
#include <string_view>

#include "apps/vktinventory/input/first_line.h"
#include "apps/vktinventory/input/password.h"
#include "apps/vktinventory/output/writing.h"
#include "common/platform/file_descriptor.h"

namespace Tulvo::Cli {
namespace {

constexpr std::string_view kPrompt = "Password: ";

/// Guards what stands below it; nobody waits while holding it.
std::mutex mutex;
int askingOn = -1;  ///< The terminal; below 0 when nobody asks.
termios modesBefore = {};

/// Another job's terminal is not ours to change: its shell has set it up for whoever has it now.
bool IsInForeground(int terminal)
{
    return tcgetpgrp(terminal) == getpgrp();
}

/// What was typed before the change is dropped. TCSAFLUSH would do both, but first waits for all
/// output, for ever on a terminal that is held.
bool SetModes(int terminal, const termios& modes)
{
    tcflush(terminal, TCIFLUSH);
    return tcsetattr(terminal, TCSANOW, &modes) == 0;
}

/// The line feed stays visible, as people expect of a prompt.
bool HideTyping(int terminal)
{
    if (tcgetattr(terminal, &modesBefore) != 0) {
        return false;
    }
    termios modes = modesBefore;
    modes.c_lflag &= ~static_cast<tcflag_t>(ECHO);
    modes.c_lflag |= ECHONL;
    return SetModes(terminal, modes);
}

bool TypingShows(int terminal)
{
    termios modes = {};
    return tcgetattr(terminal, &modes) == 0 && (modes.c_lflag & ECHO) != 0;
}

/// What is typed is hidden as long as this lives.
class Question
{
public:
    explicit Question(int terminal)
    {
        const std::lock_guard lock(mutex);
        askingOn = HideTyping(terminal) ? terminal : -1;
        asked_ = askingOn >= 0;
    }
    Question(const Question&) = delete;
    Question& operator=(const Question&) = delete;
    ~Question()
    {
        ShowTyping();
        const std::lock_guard lock(mutex);
        askingOn = -1;
    }

    bool IsHidden() const { return asked_; }

private:
    bool asked_ = false;
};

void RequireForeground(int terminal)
{
    if (!IsInForeground(terminal)) {
        throw NoPassword(
            "no password: it cannot be asked for in the background; use -f FILE, -E or -P");
    }
}

}  // namespace

std::string PasswordFromTerminal()
{
    const FileDescriptor terminal(open("/dev/tty", O_RDWR | O_CLOEXEC | O_NOCTTY));
    if (!terminal.Valid()) {
        throw NoPassword("no password: there is no terminal to ask on; use -f FILE, -E or -P");
    }
    RequireForeground(terminal.Get());
    const Question question(terminal.Get());
    if (!question.IsHidden() || write(terminal.Get(), kPrompt.data(), kPrompt.size()) < 0) {
        throw NoPassword("no password: the terminal's echo cannot be switched off; use -f FILE");
    }
    const FirstLine line = ReadFirstLine(terminal.Get());
    if (line.failed) {
        RequireForeground(terminal.Get());
    }
    if (!line.ended) {
        throw NoPassword("no password: the terminal gave none");
    }
    return line.text;
}

void ShowTyping()
{
    const std::lock_guard lock(mutex);
    if (askingOn >= 0 && IsInForeground(askingOn)) {
        SetModes(askingOn, modesBefore);
    }
}

void HideTypingAgain()
{
    const std::lock_guard lock(mutex);
    const bool lost = askingOn >= 0 && IsInForeground(askingOn) && TypingShows(askingOn);
    if (lost && HideTyping(askingOn)) {
        WriteIfTaken(askingOn, kPrompt);
    }
}

}  // namespace Tulvo::Cli
