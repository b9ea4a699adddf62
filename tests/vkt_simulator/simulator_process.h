// SPDX-License-Identifier: Apache-2.0
#ifndef TESTS_VKT_SIMULATOR_SIMULATOR_PROCESS_H
#define TESTS_VKT_SIMULATOR_SIMULATOR_PROCESS_H

#include <sys/types.h>

#include <cstdint>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "apps/vkt_simulator/memory_file.h"
#include "common/platform/file_descriptor.h"

namespace Tulvo::Simulator {

/// One run of vkt-simulator, watched from outside.
class SimulatorProcess
{
public:
    /// @param environment "NAME=value" texts that replace or join this process's own
    explicit SimulatorProcess(const std::vector<std::string>& arguments,
                              const std::vector<std::string>& environment = {});
    ~SimulatorProcess();
    SimulatorProcess(const SimulatorProcess&) = delete;
    SimulatorProcess& operator=(const SimulatorProcess&) = delete;

    /// The next line of its standard output; empty when it ended without one.
    std::string Line();
    /// What it writes to its standard output from here to its end.
    std::string Rest();
    /// The line that it prints when it is ready.
    nlohmann::json Endpoints() { return nlohmann::json::parse(Line()); }
    /// The port for RMCP+ of that line.
    std::uint16_t Port() { return Endpoints().at("rmcp").at("port").get<std::uint16_t>(); }
    pid_t Pid() const { return pid_; }
    void Signal(int signal) const;
    /// Waits for its end. 256 and more: ended by signal number (result - 256).
    int ExitCode();
    /// Everything on its standard error so far; after ExitCode(): everything.
    std::string ErrorText() const { return ReadWhole(errors_); }
    /// The processes that it has started and that still run.
    std::vector<pid_t> Children() const;

private:
    FileDescriptor output_;
    FileDescriptor errors_;
    pid_t pid_ = -1;
    bool reaped_ = false;
};

/// Waits until a process is gone; false when it still runs after a generous time.
bool IsGone(pid_t process);

}  // namespace Tulvo::Simulator

#endif
