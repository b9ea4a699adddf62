// SPDX-License-Identifier: Apache-2.0
#include "fleet/password_command.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <csignal>
#include <cstddef>
#include <optional>
#include <system_error>

#include "common/platform/file_descriptor.h"

namespace Tulvo::Fleet {
namespace {

using Clock = std::chrono::steady_clock;

constexpr std::size_t kMostOutput = 4096;
constexpr std::chrono::milliseconds kGlance{50};  // between looks at the stop token
constexpr int kNoShell = 127;

std::string LastError()
{
    return std::generic_category().message(errno);
}

/// In the child: nothing but calls that are safe after fork() among threads.
[[noreturn]] void BecomeShell(const char* command, int output, pid_t parent)
{
    setpgid(0, 0);
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    if (getppid() != parent) {
        _exit(kNoShell);
    }
    for (int signal = 1; signal < NSIG; ++signal) {
        std::signal(signal, SIG_DFL);
    }
    sigset_t none;
    sigemptyset(&none);
    sigprocmask(SIG_SETMASK, &none, nullptr);
    const int nothing = open("/dev/null", O_RDONLY);
    if (nothing < 0 || dup2(nothing, STDIN_FILENO) < 0 || dup2(output, STDOUT_FILENO) < 0) {
        _exit(kNoShell);
    }
    execl("/bin/sh", "sh", "-c", command, static_cast<char*>(nullptr));
    _exit(kNoShell);
}

/// A running shell, which ends with its owner.
class Shell
{
public:
    explicit Shell(pid_t process) : process_(process) { setpgid(process, process); }
    Shell(const Shell&) = delete;
    Shell& operator=(const Shell&) = delete;
    ~Shell()
    {
        kill(-process_, SIGKILL);
        if (!ended_) {
            Wait(0);
        }
    }

    /// How it ended, as waitpid() tells; nothing as long as it runs.
    std::optional<int> Ended() { return ended_ ? status_ : Wait(WNOHANG | WUNTRACED); }

    /// Whether it has been stopped for want of the terminal, which a process in the background must
    /// neither read nor set up.
    bool WantsTerminal() const { return wantsTerminal_; }

private:
    std::optional<int> Wait(int how)
    {
        pid_t got = 0;
        do {
            got = waitpid(process_, &status_, how);
        } while (got < 0 && errno == EINTR);
        const bool stopped = got > 0 && WIFSTOPPED(status_);
        const int signal = stopped ? WSTOPSIG(status_) : 0;
        wantsTerminal_ = wantsTerminal_ || signal == SIGTTIN || signal == SIGTTOU;
        ended_ = got != 0 && !stopped;
        return ended_ ? std::optional(status_) : std::nullopt;
    }

    pid_t process_;
    int status_ = 0;
    bool ended_ = false;
    bool wantsTerminal_ = false;
};

std::string Ending(int status)
{
    return WIFSIGNALED(status) ? "was ended by signal " + std::to_string(WTERMSIG(status))
                               : "ended with status " + std::to_string(WEXITSTATUS(status));
}

/// Why there is no password, or its line.
class Output
{
public:
    /// Until the shell has ended and what it wrote is read. Whatever it left behind may keep the
    /// pipe open and is not waited for.
    std::optional<std::string> Read(Shell& shell, int pipe, const std::stop_token& stop,
                                    std::chrono::milliseconds limit)
    {
        const auto until = Clock::now() + limit;
        for (;;) {
            const std::optional<int> status = shell.Ended();
            const bool closed = !TakeWhatIsThere(pipe, status ? 0 : kGlance.count());
            if (text_.size() > kMostOutput) {
                return "prints more than " + std::to_string(kMostOutput) + " bytes";
            }
            if (status) {
                return *status == 0 ? std::nullopt : std::optional(Ending(*status));
            }
            if (stop.stop_requested()) {
                return "was cancelled";
            }
            if (shell.WantsTerminal()) {
                return "asks on the terminal, which it cannot have; unlock what it needs before, "
                       "as in an agent";
            }
            if (Clock::now() >= until) {
                return "took longer than " +
                       std::to_string(std::chrono::ceil<std::chrono::seconds>(limit).count()) +
                       " s";
            }
            if (closed) {
                poll(nullptr, 0, 1);
            }
        }
    }

    std::optional<std::string> OnlyLine()
    {
        if (text_.ends_with('\n')) {
            text_.pop_back();
        }
        if (text_.ends_with('\r')) {
            text_.pop_back();
        }
        if (text_.empty()) {
            return "prints nothing";
        }
        if (text_.find('\n') != std::string::npos) {
            return "prints more than one line";
        }
        if (text_.find('\0') != std::string::npos) {
            return "prints a NUL byte";
        }
        return std::nullopt;
    }

    std::string Take() { return std::move(text_); }

private:
    /// False when nothing more can come.
    bool TakeWhatIsThere(int pipe, std::chrono::milliseconds::rep wait)
    {
        pollfd ready{pipe, POLLIN, 0};
        std::array<char, kMostOutput> bytes{};
        while (text_.size() <= kMostOutput && poll(&ready, 1, static_cast<int>(wait)) > 0) {
            const ssize_t count = read(pipe, bytes.data(), bytes.size());
            if (count <= 0) {
                return count < 0 && errno == EINTR;
            }
            text_.append(bytes.data(), static_cast<std::size_t>(count));
            wait = 0;
        }
        return true;
    }

    std::string text_;
};

}  // namespace

std::variant<std::string, Mistake> RunPasswordCommand(const std::string& command,
                                                      const std::string& where,
                                                      const std::stop_token& stop,
                                                      std::chrono::milliseconds limit)
{
    const auto mistake = [&where](const std::string& what) {
        return Mistake{where + ": the command " + what};
    };
    int ends[2];
    if (pipe2(ends, O_CLOEXEC) != 0) {
        return mistake("cannot be run: " + LastError());
    }
    const FileDescriptor reading(ends[0]);
    FileDescriptor writing(ends[1]);
    const pid_t parent = getpid();
    const pid_t child = fork();
    if (child < 0) {
        return mistake("cannot be run: " + LastError());
    }
    if (child == 0) {
        BecomeShell(command.c_str(), writing.Get(), parent);
    }
    Shell shell(child);
    {
        const FileDescriptor closed = std::move(writing);
    }
    Output output;
    if (const auto fault = output.Read(shell, reading.Get(), stop, limit)) {
        return mistake(*fault);
    }
    if (const auto fault = output.OnlyLine()) {
        return mistake(*fault);
    }
    return output.Take();
}

}  // namespace Tulvo::Fleet
