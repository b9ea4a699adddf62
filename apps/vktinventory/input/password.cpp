// SPDX-License-Identifier: Apache-2.0
#include "apps/vktinventory/input/password.h"

#include <fcntl.h>

#include <cerrno>
#include <cstdlib>
#include <system_error>

#include "apps/vktinventory/input/first_line.h"
#include "common/platform/file_descriptor.h"
#include "fleet/passwords.h"

namespace Tulvo::Cli {
namespace {

constexpr const char* kVariable = "IPMI_PASSWORD";

std::string LastError()
{
    return std::generic_category().message(errno);
}

}  // namespace

std::string PasswordFromFile(const std::string& path)
{
    const std::string named = "the password file " + path;
    const FileDescriptor file(open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NOCTTY));
    if (!file.Valid()) {
        throw NoPassword(named + " cannot be opened: " + LastError());
    }
    FirstLine line = ReadFirstLine(file.Get());
    if (line.failed) {
        throw NoPassword(named + " cannot be read: " + LastError());
    }
    if (!line.ended) {
        throw NoPassword(named + (line.text.empty()
                                      ? " is empty; its first line has to be the password"
                                      : " has a first line that is far too long for a password"));
    }
    if (const std::string other = Fleet::OtherEncoding(line.text); !other.empty()) {
        throw NoPassword(named + " " + other);
    }
    // An editor on another system ends lines with both; ipmitool passes over the first, too.
    if (!line.text.empty() && line.text.back() == '\r') {
        line.text.pop_back();
    }
    return line.text;
}

std::string PasswordFromEnvironment()
{
    const char* const value = std::getenv(kVariable);
    if (value == nullptr || *value == '\0') {
        throw NoPassword("-E needs the environment variable IPMI_PASSWORD, which is " +
                         std::string(value == nullptr ? "not set" : "empty"));
    }
    return value;
}

}  // namespace Tulvo::Cli
