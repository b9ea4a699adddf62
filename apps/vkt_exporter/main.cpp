// SPDX-License-Identifier: Apache-2.0
#include <exception>
#include <new>
#include <string_view>
#include <variant>

#include <unistd.h>

#include "apps/host_checks.h"
#include "apps/vkt_exporter/command_line.h"
#include "apps/vkt_exporter/run.h"

namespace {

using Tulvo::Exporter::ExitCode;

void Complain(std::string_view reason)
{
    for (const std::string_view part :
         {std::string_view("vkt-exporter: "), reason, std::string_view("\n")}) {
        [[maybe_unused]] const ssize_t written = write(STDERR_FILENO, part.data(), part.size());
    }
}

ExitCode Run(int argc, char** argv)
{
    const auto line = Tulvo::Exporter::ParseCommandLine(argc, argv);
    if (const auto* const ended = std::get_if<ExitCode>(&line)) {
        return *ended;
    }
    return Tulvo::Exporter::Run(std::get<Tulvo::Exporter::CommandLine>(line));
}

}  // namespace

int main(int argc, char** argv)
{
    Tulvo::ForbidCores();
    ExitCode code = ExitCode::kCannotRun;
    try {
        Tulvo::CheckHost();
        code = Run(argc, argv);
    } catch (const std::bad_alloc&) {
        Complain("memory ran out; free some, or raise this process's limit");
    } catch (const std::exception& fault) {
        Complain(fault.what());
    }
    return static_cast<int>(code);
}
