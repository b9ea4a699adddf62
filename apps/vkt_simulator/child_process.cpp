// SPDX-License-Identifier: Apache-2.0
#include "apps/vkt_simulator/child_process.h"

#include <fcntl.h>
#include <linux/close_range.h>
#include <sys/prctl.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <sstream>
#include <stdexcept>
#include <system_error>

#include "apps/vkt_simulator/owned_descriptor.h"

namespace Tulvo::Simulator {

namespace {

constexpr int kExitCodeCannotStart = 127;

[[noreturn]] void Fail(const char* message)
{
    const ssize_t ignored = write(STDERR_FILENO, message, std::strlen(message));
    static_cast<void>(ignored);
    _exit(kExitCodeCannotStart);
}

void DieWithParent(pid_t parent)
{
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    // The parent may have ended before the line above; then the signal would never come.
    if (getppid() != parent) {
        Fail("the process that started this one has ended");
    }
}

void ResetSignals()
{
    sigset_t none;
    sigemptyset(&none);
    sigprocmask(SIG_SETMASK, &none, nullptr);
    for (const int ignored : {SIGPIPE, SIGXFSZ}) {
        std::signal(ignored, SIG_DFL);
    }
}

void SetUpDescriptors(int output, const std::vector<int>& inherited)
{
    dup2(open("/dev/null", O_RDONLY | O_CLOEXEC), STDIN_FILENO);
    dup2(output, STDOUT_FILENO);
    dup2(output, STDERR_FILENO);
    close_range(STDERR_FILENO + 1, ~0U, CLOSE_RANGE_CLOEXEC);
    for (const int fd : inherited) {
        fcntl(fd, F_SETFD, 0);
    }
}

// Between fork and exec of a process with threads only async-signal-safe calls are allowed: no
// allocation, no exception.
[[noreturn]] void RunChild(char* const* arguments, char* const* environment, int output,
                           const std::vector<int>& inherited, pid_t parent)
{
    SetUpDescriptors(output, inherited);
    DieWithParent(parent);
    setpgid(0, 0);
    ResetSignals();
    execve(arguments[0], arguments, environment);
    Fail("the program cannot be executed");
}

// For exec: the texts, which have to outlive what is returned, and the null behind them.
std::vector<char*> Pointers(const std::vector<std::string>& texts)
{
    std::vector<char*> pointers;
    pointers.reserve(texts.size() + 1);
    for (const std::string& text : texts) {
        pointers.push_back(const_cast<char*>(text.c_str()));
    }
    pointers.push_back(nullptr);
    return pointers;
}

// Everything else in it may be a secret, such as a password that the user's shell has exported.
std::vector<std::string> Environment()
{
    std::vector<std::string> variables;
    for (const char* name : {"PATH", "TMPDIR"}) {
        if (const char* value = std::getenv(name)) {
            variables.push_back(std::string(name) + '=' + value);
        }
    }
    return variables;
}

}  // namespace

std::string FindProgram(const std::string& name, const std::string& package)
{
    const char* path = std::getenv("PATH");
    std::istringstream folders(std::string(path == nullptr ? "" : path) + ":/usr/bin:/usr/sbin");
    for (std::string folder; std::getline(folders, folder, ':');) {
        std::string candidate = folder;
        candidate.append("/").append(name);
        if (access(candidate.c_str(), X_OK) == 0) {
            return candidate;
        }
    }
    throw std::runtime_error("the program " + name +
                             " is not installed; install the Debian package " + package);
}

ChildProcess::ChildProcess(const std::vector<std::string>& arguments,
                           const std::vector<int>& inherited)
    : output_(MakeMemoryFile("output", ""))
{
    const std::vector<std::string> variables = Environment();
    const std::vector<char*> words = Pointers(arguments);
    const std::vector<char*> environment = Pointers(variables);
    const pid_t parent = getpid();
    pid_ = fork();
    if (pid_ == 0) {
        RunChild(words.data(), environment.data(), output_.Get(), inherited, parent);
    }
    if (pid_ < 0) {
        throw std::system_error(errno, std::generic_category(), "cannot start " + arguments[0]);
    }
    exit_ = Owned(static_cast<int>(syscall(SYS_pidfd_open, pid_, 0)),
                  "cannot watch the started process");
}

ChildProcess::~ChildProcess()
{
    Kill();
}

bool ChildProcess::Running()
{
    reaped_ = reaped_ || waitpid(pid_, nullptr, WNOHANG) == pid_;
    return !reaped_;
}

void ChildProcess::Kill()
{
    if (!Running()) {
        return;
    }
    kill(pid_, SIGKILL);
    while (waitpid(pid_, nullptr, 0) < 0 && errno == EINTR) {
    }
    reaped_ = true;
}

}  // namespace Tulvo::Simulator
