// SPDX-License-Identifier: Apache-2.0
/// @file
/// Where the password comes from when it is not on the command line.
#ifndef APPS_VKTINVENTORY_PASSWORD_H
#define APPS_VKTINVENTORY_PASSWORD_H

#include <stdexcept>
#include <string>

namespace Tulvo::Cli {

/// No password could be had; what() says why and what to do, without a password in it.
class NoPassword : public std::runtime_error
{
public:
    using std::runtime_error::runtime_error;
};

/// The first line of the file, without its line feed.
std::string PasswordFromFile(const std::string& path);

/// The value of the environment variable IPMI_PASSWORD.
std::string PasswordFromEnvironment();

/// Asks on the process's terminal, without echo.
std::string PasswordFromTerminal();

/// Gives the terminal its echo back if PasswordFromTerminal() is asking; for a signal's thread.
void RestoreEcho();

}  // namespace Tulvo::Cli

#endif
