// SPDX-License-Identifier: Apache-2.0
/// @file
/// Where the password comes from when it is neither on the command line nor typed.
#ifndef APPS_VKTINVENTORY_INPUT_PASSWORD_H
#define APPS_VKTINVENTORY_INPUT_PASSWORD_H

#include <stdexcept>
#include <string>

namespace Tulvo::Cli {

/// No password could be had; what() says why and what to do, without a password in it.
class NoPassword : public std::runtime_error
{
public:
    using std::runtime_error::runtime_error;
};

/// The first line of the file, without its line feed. It may be empty: so a module is reached that
/// has no password.
std::string PasswordFromFile(const std::string& path);

/// The value of the environment variable IPMI_PASSWORD, which must not be empty.
std::string PasswordFromEnvironment();

}  // namespace Tulvo::Cli

#endif
