// SPDX-License-Identifier: Apache-2.0
#include "tests/vkt_simulator/simulator_process.h"

#include <fcntl.h>
#include <poll.h>
#include <spawn.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <csignal>
#include <filesystem>
#include <fstream>
#include <system_error>

namespace Tulvo::Simulator {

namespace {

std::vector<char*> Pointers(std::vector<std::string>& texts)
{
    std::vector<char*> pointers;
    pointers.reserve(texts.size() + 1);
    for (std::string& text : texts) {
        pointers.push_back(text.data());
    }
    pointers.push_back(nullptr);
    return pointers;
}

// The first of two entries with one name counts, so what is added stands first.
std::vector<std::string> Environment(std::vector<std::string> added)
{
    for (char** entry = environ; *entry != nullptr; ++entry) {
        added.emplace_back(*entry);
    }
    return added;
}

}  // namespace

SimulatorProcess::SimulatorProcess(const std::vector<std::string>& arguments,
                                   const std::vector<std::string>& environment)
    : errors_(MakeMemoryFile("errors", ""))
{
    std::array<int, 2> pipe = {};
    if (pipe2(pipe.data(), O_CLOEXEC) != 0) {
        throw std::system_error(errno, std::generic_category(), "cannot make a pipe");
    }
    output_ = FileDescriptor(pipe[0]);
    const FileDescriptor input(pipe[1]);
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_adddup2(&actions, input.Get(), STDOUT_FILENO);
    posix_spawn_file_actions_adddup2(&actions, errors_.Get(), STDERR_FILENO);
    std::vector<std::string> words = {SIMULATOR_PROGRAM};
    words.insert(words.end(), arguments.begin(), arguments.end());
    std::vector<std::string> variables = Environment(environment);
    const int error = posix_spawn(&pid_, SIMULATOR_PROGRAM, &actions, nullptr,
                                  Pointers(words).data(), Pointers(variables).data());
    posix_spawn_file_actions_destroy(&actions);
    if (error != 0) {
        throw std::system_error(error, std::generic_category(), SIMULATOR_PROGRAM);
    }
}

SimulatorProcess::~SimulatorProcess()
{
    Signal(SIGKILL);
    ExitCode();
}

std::string SimulatorProcess::Line()
{
    std::string line;
    char character = 0;
    while (read(output_.Get(), &character, 1) == 1 && character != '\n') {
        line += character;
    }
    return line;
}

std::string SimulatorProcess::Rest()
{
    std::string text;
    std::array<char, 4096> block;
    ssize_t count = 0;
    while ((count = read(output_.Get(), block.data(), block.size())) > 0) {
        text.append(block.data(), static_cast<std::size_t>(count));
    }
    return text;
}

void SimulatorProcess::Signal(int signal) const
{
    if (!reaped_) {
        kill(pid_, signal);
    }
}

int SimulatorProcess::ExitCode()
{
    int status = 0;
    if (reaped_ || waitpid(pid_, &status, 0) != pid_) {
        return -1;
    }
    reaped_ = true;
    return WIFEXITED(status) ? WEXITSTATUS(status) : 256 + WTERMSIG(status);
}

std::vector<pid_t> SimulatorProcess::Children() const
{
    const std::string process = std::to_string(pid_);
    std::ifstream file("/proc/" + process + "/task/" + process + "/children");
    std::vector<pid_t> children;
    for (pid_t child = 0; file >> child;) {
        children.push_back(child);
    }
    return children;
}

bool IsGone(pid_t process)
{
    constexpr int kGenerousMilliseconds = 60000;
    const int descriptor = static_cast<int>(syscall(SYS_pidfd_open, process, 0));
    if (descriptor < 0) {
        return true;
    }
    const FileDescriptor owner(descriptor);
    pollfd ended = {descriptor, POLLIN, 0};
    return poll(&ended, 1, kGenerousMilliseconds) == 1;
}

}  // namespace Tulvo::Simulator
