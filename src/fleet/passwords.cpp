// SPDX-License-Identifier: Apache-2.0
#include "fleet/passwords.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>

#include "fleet/password_command.h"

namespace Tulvo::Fleet {
namespace {

constexpr std::size_t kLargestPasswordFile = 65536;

struct Mark
{
    std::string_view bytes;
    std::string_view name;
};

/// What an editor on another system puts in front of a text, unseen.
constexpr Mark kByteOrderMarks[] = {
    {"\xEF\xBB\xBF", "UTF-8"}, {"\xFF\xFE", "UTF-16"}, {"\xFE\xFF", "UTF-16"}};

bool IsUnchanged(const struct stat& one, const struct stat& other)
{
    const auto same = [](const timespec& a, const timespec& b) {
        return a.tv_sec == b.tv_sec && a.tv_nsec == b.tv_nsec;
    };
    return one.st_dev == other.st_dev && one.st_ino == other.st_ino &&
           one.st_size == other.st_size && one.st_mode == other.st_mode &&
           same(one.st_mtim, other.st_mtim) && same(one.st_ctim, other.st_ctim);
}

struct ReadLine
{
    std::string text;
    struct stat status = {};
};

std::variant<ReadLine, Mistake> FirstLineOf(const PasswordFile& file)
{
    const std::string name =
        (file.where.empty() ? "" : file.where + ": ") + "the password file " + file.path + " ";
    auto read = ReadFile(file.path, kLargestPasswordFile);
    if (const auto* const reason = std::get_if<std::string>(&read)) {
        return Mistake{name + "cannot be read: " + *reason};
    }
    FileText& content = std::get<FileText>(read);
    if (const std::string open = TooOpen(content.status); !open.empty()) {
        return Mistake{name + open};
    }
    if (content.text.empty()) {
        return Mistake{name + "is empty"};
    }
    std::string line = content.text.substr(0, content.text.find('\n'));
    if (const std::string other = OtherEncoding(line); !other.empty()) {
        return Mistake{name + other};
    }
    // An editor on another system ends lines with both; ipmitool passes over the first, too.
    if (line.ends_with('\r')) {
        line.pop_back();
    }
    return ReadLine{std::move(line), content.status};
}

std::variant<std::string, Mistake> FromEnvironment()
{
    const char* const value = std::getenv("IPMI_PASSWORD");
    if (value == nullptr || *value == '\0') {
        return Mistake{
            "the password is to come from the environment variable IPMI_PASSWORD, "
            "which is " +
            std::string(value == nullptr ? "not set" : "empty")};
    }
    return value;
}

}  // namespace

/// They would be sent as a part of the password: a log-in less before the module locks the account.
std::string OtherEncoding(std::string_view line)
{
    for (const Mark& mark : kByteOrderMarks) {
        if (line.starts_with(mark.bytes)) {
            return "begins with the byte order mark of " + std::string(mark.name) +
                   "; save it as plain text without one";
        }
    }
    return line.find('\0') == std::string_view::npos
               ? ""
               : "has a NUL byte in its first line, as text in UTF-16 does; save it as plain text";
}

std::string TooOpen(const struct stat& status)
{
    if (!S_ISREG(status.st_mode)) {
        return {};
    }
    if ((status.st_mode & S_IROTH) != 0) {
        return "may be read by everybody; take that away (chmod o-r)";
    }
    if ((status.st_mode & S_IRGRP) != 0 && status.st_uid == geteuid()) {
        return "may be read by its group; take that away (chmod g-r)";
    }
    return {};
}

bool MayNotRead(const std::string& path)
{
    return faccessat(AT_FDCWD, path.c_str(), R_OK, AT_EACCESS) != 0 && errno == EACCES;
}

std::pair<std::size_t, std::string> KeyOf(const PasswordSource& source)
{
    struct
    {
        std::string operator()(const PasswordText& text) const { return text.text; }
        std::string operator()(const PasswordFile& file) const { return file.path; }
        std::string operator()(const PasswordCommand& command) const { return command.command; }
        std::string operator()(const PasswordEnvironment& /*source*/) const { return {}; }
    } const name;
    return {source.index(), std::visit(name, source)};
}

std::variant<std::string, Mistake> ReadPassword(const PasswordFile& file)
{
    auto line = FirstLineOf(file);
    if (auto* const mistake = std::get_if<Mistake>(&line)) {
        return std::move(*mistake);
    }
    return std::move(std::get<ReadLine>(line).text);
}

std::variant<std::string, Mistake> Passwords::Get(const PasswordSource& source,
                                                  const std::stop_token& stop)
{
    if (const auto* const text = std::get_if<PasswordText>(&source)) {
        return text->text;
    }
    if (std::holds_alternative<PasswordEnvironment>(source)) {
        return FromEnvironment();
    }
    const std::shared_ptr<Entry> entry = EntryOf(source);
    const std::lock_guard lock(entry->mutex);
    const auto* const file = std::get_if<PasswordFile>(&source);
    return file != nullptr ? FromFile(*entry, *file)
                           : FromCommand(*entry, std::get<PasswordCommand>(source), stop);
}

std::optional<Mistake> Passwords::Renew(const PasswordCommand& command, const std::stop_token& stop)
{
    auto line = RunPasswordCommand(command.command, command.where, stop);
    if (auto* const mistake = std::get_if<Mistake>(&line)) {
        return std::move(*mistake);
    }
    const std::shared_ptr<Entry> entry = EntryOf(command);
    const std::lock_guard lock(entry->mutex);
    entry->known = true;
    entry->password = std::move(std::get<std::string>(line));
    return std::nullopt;
}

std::shared_ptr<Passwords::Entry> Passwords::EntryOf(const PasswordSource& source)
{
    const std::lock_guard lock(mutex_);
    std::shared_ptr<Entry>& entry = entries_[KeyOf(source)];
    if (entry == nullptr) {
        entry = std::make_shared<Entry>();
    }
    return entry;
}

std::variant<std::string, Mistake> Passwords::FromFile(Entry& entry, const PasswordFile& file)
{
    struct stat now = {};
    if (entry.known && stat(file.path.c_str(), &now) == 0 && IsUnchanged(now, entry.status)) {
        return entry.password;
    }
    auto line = FirstLineOf(file);
    if (auto* const mistake = std::get_if<Mistake>(&line)) {
        return std::move(*mistake);
    }
    entry.known = true;
    entry.password = std::move(std::get<ReadLine>(line).text);
    entry.status = std::get<ReadLine>(line).status;
    return entry.password;
}

std::variant<std::string, Mistake> Passwords::FromCommand(Entry& entry,
                                                          const PasswordCommand& command,
                                                          const std::stop_token& stop)
{
    if (entry.known) {
        return entry.password;
    }
    auto line = RunPasswordCommand(command.command, command.where, stop);
    if (auto* const password = std::get_if<std::string>(&line)) {
        entry.known = true;
        entry.password = *password;
    }
    return line;
}

}  // namespace Tulvo::Fleet
