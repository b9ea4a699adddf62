// SPDX-License-Identifier: Apache-2.0
#include <sys/resource.h>

#include <exception>

#include "apps/vktinventory/diagnostics.h"
#include "apps/vktinventory/interrupt.h"
#include "apps/vktinventory/run.h"

namespace {

/// A core would hold the password. One byte, not none: the kernel takes 1 as "never", also where
/// cores are piped to a program, for which 0 would still be a yes.
void ForbidCores()
{
    const rlimit limit{1, 1};
    setrlimit(RLIMIT_CORE, &limit);
}

}  // namespace

int main(int argc, char** argv)
{
    ForbidCores();
    Tulvo::Cli::WatchForInterrupts();
    try {
        return static_cast<int>(Tulvo::Cli::Run(argc, argv));
    } catch (const std::exception& fault) {
        Tulvo::Cli::Complain(fault.what());
        return static_cast<int>(Tulvo::Cli::ExitCode::someQueriesFailed);
    }
}
