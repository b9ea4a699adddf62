// SPDX-License-Identifier: Apache-2.0
#include "tests/support/run_in_processes.h"

#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <exception>
#include <iostream>
#include <map>
#include <system_error>

namespace Tulvo {
namespace {

struct Child
{
    int number;
    int output;
};

void Write(int file, const std::string& text)
{
    if (write(file, text.data(), text.size()) != static_cast<ssize_t>(text.size())) {
        _exit(2);
    }
}

[[noreturn]] void WorkAndExit(const std::function<std::string(int)>& work, const Child& child,
                              unsigned seconds)
{
    std::signal(SIGALRM, SIG_DFL);
    alarm(seconds);
    try {
        Write(child.output, work(child.number));
    } catch (const std::exception& error) {
        Write(child.output, error.what());
        _exit(1);
    }
    _exit(0);
}

std::string Content(int file)
{
    std::string text;
    std::array<char, 4096> block{};
    ssize_t count = 0;
    while ((count = pread(file, block.data(), block.size(), static_cast<off_t>(text.size()))) > 0) {
        text.append(block.data(), static_cast<std::size_t>(count));
    }
    return text;
}

std::string Describe(int status)
{
    if (WIFSIGNALED(status)) {
        return WTERMSIG(status) == SIGALRM
                   ? "it hung"
                   : "it ended by signal " + std::to_string(WTERMSIG(status));
    }
    return "it ended with " + std::to_string(WEXITSTATUS(status));
}

WorkEnd EndOf(const Child& child, int status)
{
    WorkEnd end{child.number, WIFEXITED(status) && WEXITSTATUS(status) == 0, Content(child.output)};
    close(child.output);
    if (!end.orderly) {
        end.text = Describe(status) + " " + end.text;
    }
    return end;
}

}  // namespace

void RunInProcesses(int first, int last, int atOnce, unsigned seconds,
                    const std::function<std::string(int)>& work,
                    const std::function<void(const WorkEnd&)>& take)
{
    std::map<pid_t, Child> running;
    for (int next = first; next <= last || !running.empty();) {
        if (next <= last && running.size() < static_cast<std::size_t>(atOnce)) {
            std::cout.flush();  // or the child would print what stands in the buffers, too
            std::fflush(nullptr);
            const Child child{next++, memfd_create("output", MFD_CLOEXEC)};
            const pid_t process = fork();
            if (process == 0) {
                WorkAndExit(work, child, seconds);
            }
            if (process < 0) {
                throw std::system_error(errno, std::generic_category(), "fork");
            }
            running[process] = child;
            continue;
        }
        int status = 0;
        const auto ended = running.extract(waitpid(-1, &status, 0));
        if (!ended.empty()) {
            take(EndOf(ended.mapped(), status));
        }
    }
}

}  // namespace Tulvo
