// SPDX-License-Identifier: Apache-2.0
#include "apps/vktinventory/input/password.h"

#include <fcntl.h>

#include <cerrno>
#include <cstdlib>
#include <string_view>
#include <system_error>

#include "apps/vktinventory/input/first_line.h"
#include "common/platform/file_descriptor.h"

namespace Tulvo::Cli {
namespace {

constexpr const char* kVariable = "IPMI_PASSWORD";

std::string LastError()
{
    return std::generic_category().message(errno);
}

struct Mark
{
    std::string_view bytes;
    std::string_view name;
};

/// What an editor on another system puts in front of a text, unseen.
constexpr Mark kByteOrderMarks[] = {
    {"\xEF\xBB\xBF", "UTF-8"}, {"\xFF\xFE", "UTF-16"}, {"\xFE\xFF", "UTF-16"}};

/// They would be sent as a part of the password: a log-in less before the module locks the account.
void RefuseOtherEncodings(std::string_view line, const std::string& named)
{
    for (const Mark& mark : kByteOrderMarks) {
        if (line.substr(0, mark.bytes.size()) == mark.bytes) {
            throw NoPassword(named + " begins with the byte order mark of " +
                             std::string(mark.name) + "; save it as plain text without one");
        }
    }
    if (line.find('\0') != std::string_view::npos) {
        throw NoPassword(named +
                         " holds a NUL byte in its first line, as text in UTF-16 does; "
                         "save it as plain text");
    }
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
    RefuseOtherEncodings(line.text, named);
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
