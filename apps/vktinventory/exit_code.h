// SPDX-License-Identifier: Apache-2.0
/// @file
/// How the command ends. Each code has one meaning; kExitCodes is also what --help lists.
#ifndef APPS_VKTINVENTORY_EXIT_CODE_H
#define APPS_VKTINVENTORY_EXIT_CODE_H

#include <string_view>

namespace Tulvo::Cli {

enum class ExitCode : int
{
    kEverythingRead = 0,
    kSomeQueriesFailed = 1,
    kWrongUsage = 2,
    kNoConnection = 3,
    kRefused = 4,
    kOutputFailed = 5,
    kHostExhausted = 6,
    kInterrupted = 130,
};

struct ExitCodeMeaning
{
    ExitCode code;
    std::string_view meaning;
};

inline constexpr ExitCodeMeaning kExitCodes[] = {
    {ExitCode::kEverythingRead, "everything was read"},
    {ExitCode::kSomeQueriesFailed, "something was not read; what was read is printed"},
    {ExitCode::kWrongUsage, "wrong usage; nothing was read"},
    {ExitCode::kNoConnection, "no connection to a module"},
    {ExitCode::kRefused, "refused: log-in, key, privilege, suite, certificate"},
    {ExitCode::kOutputFailed, "the results could not be written"},
    {ExitCode::kHostExhausted, "a fault on this side: memory, threads, files, settings"},
    {ExitCode::kInterrupted, "interrupted (128 and the signal's number)"},
};

}  // namespace Tulvo::Cli

#endif
