// SPDX-License-Identifier: Apache-2.0
/// @file
/// The process's arguments, without the secrets. Whoever may list processes may read the argument
/// list, so password and key are taken out of it before anything else happens, and no parser gets a
/// copy.
#ifndef APPS_VKTINVENTORY_INPUT_ARGUMENTS_H
#define APPS_VKTINVENTORY_INPUT_ARGUMENTS_H

#include <string>
#include <vector>

namespace Tulvo::Cli {

struct Arguments
{
    std::vector<std::string>
        words;  ///< Without the program's name; kHiddenSecret for a secret; an empty one stays.
    std::string password;  ///< What -P or --password was given.
    std::string kg;        ///< What -k or --kg was given.
};

/// Stands for a secret in Arguments::words.
inline constexpr const char* kHiddenSecret = "*";

/// Copies the arguments and blanks the secrets in `argv` itself.
Arguments TakeArguments(int argc, char** argv);

}  // namespace Tulvo::Cli

#endif
