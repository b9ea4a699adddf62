// SPDX-License-Identifier: Apache-2.0
#include <exception>
#include <new>
#include <string_view>

#include "apps/host_checks.h"
#include "apps/vktinventory/interrupt.h"
#include "apps/vktinventory/output/diagnostics.h"
#include "apps/vktinventory/run.h"

namespace {

int End(Tulvo::Cli::ExitCode code)
{
    return static_cast<int>(code);
}

int EndExhausted(std::string_view reason)
{
    Tulvo::Cli::Complain(reason);
    return End(Tulvo::Cli::ExitCode::kHostExhausted);
}

}  // namespace

int main(int argc, char** argv)
{
    Tulvo::ForbidCores();
    try {
        Tulvo::CheckHost();
        Tulvo::Cli::WatchForInterrupts();
        return End(Tulvo::Cli::Run(argc, argv));
    } catch (const std::bad_alloc&) {
        return EndExhausted("memory ran out; free some, or raise this process's limit");
    } catch (const std::exception& fault) {
        return EndExhausted(fault.what());
    }
}
