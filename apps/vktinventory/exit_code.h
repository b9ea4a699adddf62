// SPDX-License-Identifier: Apache-2.0
/// @file
/// How the command ends. Each code has one meaning; kExitCodes is also what --help lists.
#ifndef APPS_VKTINVENTORY_EXIT_CODE_H
#define APPS_VKTINVENTORY_EXIT_CODE_H

#include <string_view>

namespace Tulvo::Cli {

enum class ExitCode : int
{
    everythingRead = 0,
    someQueriesFailed = 1,
    wrongUsage = 2,
    noConnection = 3,
    refused = 4,
    outputFailed = 5,
    hostExhausted = 6,
    interrupted = 130,
};

struct ExitCodeMeaning
{
    ExitCode code;
    std::string_view meaning;
};

inline constexpr ExitCodeMeaning kExitCodes[] = {
    {ExitCode::everythingRead, "everything was read"},
    {ExitCode::someQueriesFailed, "some queries failed; what was read is printed"},
    {ExitCode::wrongUsage, "wrong usage; nothing was read"},
    {ExitCode::noConnection, "no connection to the module"},
    {ExitCode::refused, "refused: log-in, privilege, cipher suite, certificate"},
    {ExitCode::outputFailed, "the results could not be written"},
    {ExitCode::hostExhausted, "this host has no memory or thread left for it"},
    {ExitCode::interrupted, "interrupted (128 and the signal's number)"},
};

}  // namespace Tulvo::Cli

#endif
