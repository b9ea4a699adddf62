// SPDX-License-Identifier: Apache-2.0
/// @file
/// The process's arguments, without the password. Whoever may list processes may read the argument
/// list, so the password is taken out of it before anything else happens, and no parser gets a
/// copy.
#ifndef APPS_VKTINVENTORY_ARGUMENTS_H
#define APPS_VKTINVENTORY_ARGUMENTS_H

#include <string>
#include <vector>

namespace Tulvo::Cli {

struct Arguments
{
    std::vector<std::string>
        words;  ///< Without the program's name; kHiddenPassword for a password; an empty one stays.
    std::string password;  ///< What -P or --password was given.
};

/// Stands for the password in Arguments::words.
inline constexpr const char* kHiddenPassword = "*";

/// Copies the arguments and blanks the password in `argv` itself.
Arguments TakeArguments(int argc, char** argv);

}  // namespace Tulvo::Cli

#endif
