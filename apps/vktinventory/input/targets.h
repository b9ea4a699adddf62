// SPDX-License-Identifier: Apache-2.0
/// @file
/// From the command line's words and the fleet file to whom to ask, and how.
#ifndef APPS_VKTINVENTORY_INPUT_TARGETS_H
#define APPS_VKTINVENTORY_INPUT_TARGETS_H

#include <chrono>
#include <cstddef>
#include <functional>
#include <set>
#include <stdexcept>
#include <stop_token>
#include <string>
#include <vector>

#include "apps/vktinventory/input/command_line.h"
#include "fleet/fleet_file.h"
#include "fleet/passwords.h"
#include "module/vkt/vkt_enclosure/target.h"

namespace Tulvo::Cli {

/// What was asked for cannot be done; what() says why and what to do, a line a mistake.
class WrongUsage : public std::runtime_error
{
public:
    using std::runtime_error::runtime_error;
};

/// The hosts that the words name, in that order, each once; of `hosts` its operands, if any. No
/// file that the fleet file names is read. Throws WrongUsage.
Fleet::Hosts HostsOf(const Options& options);

/// Names of the fleet file for Options::listedNames; none without a file. Throws WrongUsage.
std::vector<std::string> NamesInFleet(const Options& options);

/// What flags say of a secret: it comes from outside the command line's words.
struct Secrets
{
    std::string kg;  ///< Empty for none.
    /// Called if needed; may throw NoPassword. Called again only for a file.
    std::function<std::string()> password;
};

/// The enclosures to ask, each with all that is known of it. Only passwords change, by Renew().
class Targets
{
public:
    /// Throws WrongUsage, with every mistake of the fleet file.
    Targets(const Options& options, const Secrets& secrets);
    /// For whoever logs in nowhere: no password is asked for, nobody is trusted, and no file that
    /// the fleet file names is read. A host of which nobody says the interface is one over HTTPS,
    /// unless the fleet file has it. Throws WrongUsage.
    explicit Targets(const Options& options);

    /// Takes passwords from files that have changed, and runs commands again whose passwords
    /// modules have refused. What was typed, or stands in flags or environment, stays as it is.
    /// @param refused indices of the enclosures that refused.
    /// @param stop ends a command.
    /// @return why there is no new password; then all stay as they were.
    std::vector<std::string> Renew(const std::set<std::size_t>& refused,
                                   const std::stop_token& stop);

    /// Whether they were named in a way that may name several.
    bool AreMany() const { return many_; }
    std::size_t Count() const { return targets_.size(); }

    const Enclosures::Target& Target(std::size_t index) const { return targets_[index]; }
    /// Name, group, labels and expectations.
    const Fleet::Member& Member(std::size_t index) const { return members_[index]; }
    /// Whether whoever answers as one of them gets its password.
    bool TrustAnybody() const;
    /// For the whole read.
    std::chrono::seconds Timeout(std::size_t index) const;
    /// For the first answer, where several are asked.
    std::chrono::seconds ConnectTimeout(std::size_t index) const;

private:
    using Lines = std::vector<std::string>;
    void ReadFlagsFile(Lines& mistakes);
    void RunCommands(const std::set<std::size_t>& refused, const std::stop_token& stop,
                     Lines& mistakes);

    bool many_ = false;
    std::vector<Fleet::Member> members_;
    std::function<std::string()> readAgain_;  ///< Empty unless a flag names a file that can be.
    Fleet::Passwords passwords_;
    std::vector<Enclosures::Target> targets_;
};

}  // namespace Tulvo::Cli

#endif
