// SPDX-License-Identifier: Apache-2.0
/// @file
/// From where a password is kept to the password. No message has any of it.
#ifndef FLEET_PASSWORDS_H
#define FLEET_PASSWORDS_H

#include <cstddef>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <stop_token>
#include <string>
#include <string_view>
#include <utility>
#include <variant>

#include "fleet/bounded_file.h"
#include "fleet/host_pattern.h"
#include "fleet/settings.h"

namespace Tulvo::Fleet {

/// Why a file that holds or is a password may not be used as its permissions are: others may read
/// it, or it is the caller's and its group may. Empty when it may.
std::string TooOpen(const struct stat& status);

/// Why a line is no password as it stands, written in another encoding; empty when it may be one.
std::string OtherEncoding(std::string_view line);

/// Whether this caller may not read the file, which another may.
bool MayNotRead(const std::string& path);

/// What two sources of the same password have in common.
std::pair<std::size_t, std::string> KeyOf(const PasswordSource& source);

/// The first line of a file, without its line feed. It may be empty: so a module is reached that
/// has no password.
std::variant<std::string, Mistake> ReadPassword(const PasswordFile& file);

/// Reads each file and runs each command once, however many hosts need it; a file is read anew
/// when it has changed. Any number of threads may ask.
class Passwords
{
public:
    Passwords() = default;
    Passwords(const Passwords&) = delete;
    Passwords& operator=(const Passwords&) = delete;

    /// The password now. A mistake is not kept: the next call tries again.
    /// @param stop ends a command, which else may take half a minute.
    std::variant<std::string, Mistake> Get(const PasswordSource& source,
                                           const std::stop_token& stop = {});

    /// Runs a command again, for a password that modules no longer accept. Who asks meanwhile gets
    /// the one that it printed before, without a wait.
    /// @return why there is no new one, if so; then the one before stays.
    std::optional<Mistake> Renew(const PasswordCommand& command, const std::stop_token& stop = {});

private:
    struct Entry
    {
        std::mutex mutex;
        bool known = false;
        std::string password;
        struct stat status = {};
    };

    std::shared_ptr<Entry> EntryOf(const PasswordSource& source);
    static std::variant<std::string, Mistake> FromFile(Entry& entry, const PasswordFile& file);
    static std::variant<std::string, Mistake> FromCommand(Entry& entry,
                                                          const PasswordCommand& command,
                                                          const std::stop_token& stop);

    std::mutex mutex_;
    std::map<std::pair<std::size_t, std::string>, std::shared_ptr<Entry>> entries_;
};

}  // namespace Tulvo::Fleet

#endif
