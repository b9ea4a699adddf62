// SPDX-License-Identifier: Apache-2.0
/// @file
/// The fleet file: which enclosures there are, in which groups, and how each is reached. TOML with
/// the tables [defaults], [[group]] and [[host]], whose keys are the command's long flags; for a
/// host, [[host]] stands before its group and that before [defaults], key by key.
#ifndef FLEET_FLEET_FILE_H
#define FLEET_FLEET_FILE_H

#include <cstddef>
#include <map>
#include <optional>
#include <stop_token>
#include <string>
#include <string_view>
#include <utility>
#include <variant>
#include <vector>

#include "fleet/host_pattern.h"
#include "fleet/passwords.h"
#include "fleet/settings.h"
#include "module/vkt/vkt_enclosure/target.h"

namespace Tulvo::Fleet {

/// Each names file, line and key, what is wrong and what to do.
using Mistakes = std::vector<Mistake>;

using Labels = std::map<std::string, std::string>;

/// One host, with all that the file says of it.
struct Member
{
    std::string name;   ///< As the file has it, a port included, or as the caller named it.
    std::string group;  ///< Empty for a host of no group.
    Labels labels;
    Settings settings;
};

/// Which hosts of the file. With neither groups nor labels nor `all` none.
struct Selection
{
    std::vector<std::string> groups;                          ///< Any of them.
    std::vector<std::pair<std::string, std::string>> labels;  ///< All of them, within the groups.
    bool all = false;                                         ///< Whatever the group.
};

/// How a fleet file is read.
struct FleetReading
{
    /// Files that it names are left alone, so that names can be had whatever is missing.
    bool namesOnly = false;
    /// Names that a label must not have, beside those that Prometheus keeps for itself.
    std::vector<std::string> refusedLabels = {};
};

/// What a fleet file says. Never changes, and may be read by any number of threads; a file that has
/// changed is loaded anew, and whoever holds the old one keeps it until the new one has no mistake.
class FleetFile
{
public:
    /// A fleet without a host: no file at all.
    FleetFile() = default;

    /// Everything in `path`, else every mistake in it and in the files that it names. Of these,
    /// only pins are kept; passwords are Passwords'. A file that this caller may not read is no
    /// mistake before it is needed.
    static std::variant<FleetFile, Mistakes> Load(const std::string& path,
                                                  const FleetReading& reading = {});

    const std::string& Path() const { return path_; }

    /// All hosts: group by group, then those of no group, in the order of the file.
    const Hosts& HostNames() const { return names_; }

    /// All groups, in the order of the file.
    std::vector<std::string> GroupNames() const;

    /// All values of all labels, by name.
    std::map<std::string, std::vector<std::string>> LabelValues() const;

    /// The host of just this name.
    std::optional<Member> Find(std::string_view name) const;

    /// As a person names it: just so, else with or without the port that the file has or lacks. Of
    /// a host that the file does not have, the defaults. The member has the name as given.
    Member Resolve(std::string_view name) const;

    /// Whether the file has the host, so named.
    bool Has(std::string_view name) const { return PlaceOf(name) != places_.end(); }

    /// The names of the selected hosts, in the order of the file; or which group or label there is
    /// none of.
    std::variant<Hosts, Mistakes> Select(const Selection& selection) const;

private:
    friend class FleetReader;

    struct Part
    {
        std::string name;  ///< Of the group.
        Labels labels;
        Settings settings;
    };
    struct Place
    {
        std::optional<std::size_t> group;  ///< Into groups_.
        std::optional<std::size_t> own;    ///< Into hosts_.
    };

    using Places = std::map<std::string, Place, std::less<>>;

    Member MemberAt(const std::string& name, const Place& place) const;
    Places::const_iterator PlaceOf(std::string_view name) const;
    const std::string* Pin(const std::string& pinsFrom, const std::string& host) const;

    std::string path_;
    Part defaults_;
    std::vector<Part> groups_;
    std::vector<Part> hosts_;
    Hosts names_;
    Places places_;
    std::map<std::string, std::string, std::less<>> withoutPort_;  ///< The first name of each host.
    /// By Settings::pinsFrom.
    std::map<std::string, std::map<std::string, std::string, std::less<>>> pins_;
};

/// Where the fleet file is.
struct FleetPath
{
    std::optional<std::string> path;  ///< Nothing when there is no file at all.
    std::vector<std::string> tried;   ///< Where one was looked for.
};

/// The first of: `flag` unless empty, VKT_FLEET, $XDG_CONFIG_HOME/vktinventory/fleet.toml
/// (~/.config), /etc/vktinventory/fleet.toml. The first two are taken whether or not they exist.
FleetPath FindFleetFile(const std::string& flag = {});

/// Whom to ask for each of `members`, in that order; or every mistake, each once. Waits for
/// password commands, each of which is run once.
std::variant<std::vector<Enclosures::Target>, Mistakes> TargetsOf(
    const std::vector<Member>& members, Passwords& passwords, const std::stop_token& stop = {});

}  // namespace Tulvo::Fleet

#endif
