// SPDX-License-Identifier: Apache-2.0
/// @file
/// A program run as a child that cannot outlive its owner.
#ifndef APPS_VKT_SIMULATOR_CHILD_PROCESS_H
#define APPS_VKT_SIMULATOR_CHILD_PROCESS_H

#include <sys/types.h>

#include <string>
#include <vector>

#include "apps/vkt_simulator/memory_file.h"
#include "common/platform/file_descriptor.h"

namespace Tulvo::Simulator {

/// The program's path, looked up in PATH and then in Debian's program folders.
/// @throws std::runtime_error naming `package` when it is not there.
std::string FindProgram(const std::string& name, const std::string& package);

/// Runs a program from construction to destruction, with no other environment than PATH and TMPDIR.
/// The kernel kills it when the thread that made the object ends. It has a process group of its
/// own, so a terminal's Ctrl-C reaches only the owner, which then ends it in order.
class ChildProcess
{
public:
    /// @param arguments the program's path and its arguments
    /// @param inherited what the program may use beside its three standard streams
    ChildProcess(const std::vector<std::string>& arguments, const std::vector<int>& inherited);
    ~ChildProcess();
    ChildProcess(const ChildProcess&) = delete;
    ChildProcess& operator=(const ChildProcess&) = delete;

    pid_t Pid() const { return pid_; }
    bool Running();
    /// Kills it and waits for its end.
    void Kill();
    /// What it wrote to its standard output and standard error.
    std::string Output() const { return ReadWhole(output_); }
    /// Readable (in the sense of poll) as soon as it has ended.
    int ExitDescriptor() const { return exit_.Get(); }

private:
    FileDescriptor output_;
    FileDescriptor exit_;
    pid_t pid_ = -1;
    bool reaped_ = false;
};

}  // namespace Tulvo::Simulator

#endif
