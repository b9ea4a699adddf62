// SPDX-License-Identifier: Apache-2.0
#include "fleet/fleet_file.h"

#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <set>

#include "common/text/host.h"
#include "common/text/printable.h"

namespace Tulvo::Fleet {
namespace {

std::string HostOf(std::string_view name)
{
    const std::optional<HostPort> divided = SplitPort(name);
    return divided ? divided->host : std::string(name);
}

bool HasPort(std::string_view name)
{
    const std::optional<HostPort> divided = SplitPort(name);
    return divided && divided->port != 0;
}

/// Labels of `first`, else of `second`.
void Add(Labels& first, const Labels& second)
{
    first.insert(second.begin(), second.end());
}

bool HasAll(const Labels& labels, const std::vector<std::pair<std::string, std::string>>& wanted)
{
    return std::all_of(wanted.begin(), wanted.end(), [&labels](const auto& label) {
        const auto found = labels.find(label.first);
        return found != labels.end() && found->second == label.second;
    });
}

std::string Variable(const char* name)
{
    const char* const value = std::getenv(name);
    return value == nullptr ? "" : value;
}

/// So many groups are named to somebody who asks for another; more are counted.
constexpr std::size_t kMostNamed = 8;

std::string SomeOf(const std::vector<std::string>& groups)
{
    std::string text;
    for (std::size_t index = 0; index < std::min(groups.size(), kMostNamed); ++index) {
        text.append(text.empty() ? "" : ", ").append(Text::Quoted(groups[index]));
    }
    if (groups.size() > kMostNamed) {
        text.append(" and ").append(std::to_string(groups.size() - kMostNamed)).append(" more");
    }
    return text.empty() ? "none" : text;
}

}  // namespace

std::vector<std::string> FleetFile::GroupNames() const
{
    std::vector<std::string> names;
    for (const Part& group : groups_) {
        names.push_back(group.name);
    }
    return names;
}

std::map<std::string, std::vector<std::string>> FleetFile::LabelValues() const
{
    std::map<std::string, std::set<std::string>> values;
    const auto take = [&values](const Part& part) {
        for (const auto& [name, value] : part.labels) {
            values[name].insert(value);
        }
    };
    take(defaults_);
    std::for_each(groups_.begin(), groups_.end(), take);
    std::for_each(hosts_.begin(), hosts_.end(), take);
    std::map<std::string, std::vector<std::string>> sorted;
    for (const auto& [name, all] : values) {
        sorted[name].assign(all.begin(), all.end());
    }
    return sorted;
}

const std::string* FleetFile::Pin(const std::string& pinsFrom, const std::string& host) const
{
    const auto pins = pins_.find(pinsFrom);
    if (pins == pins_.end()) {
        return nullptr;
    }
    auto pin = pins->second.find(host);
    if (pin == pins->second.end()) {
        pin = pins->second.find(HostOf(host));
    }
    return pin == pins->second.end() ? nullptr : &pin->second;
}

Member FleetFile::MemberAt(const std::string& name, const Place& place) const
{
    Member member{name, {}, {}, {}};
    const auto lay = [&](const Part& part) {
        member.settings = Over(member.settings, part.settings);
        Add(member.labels, part.labels);
    };
    if (place.own) {
        lay(hosts_[*place.own]);
    }
    if (place.group) {
        member.group = groups_[*place.group].name;
        lay(groups_[*place.group]);
    }
    lay(defaults_);
    if (const std::string* const pin = Pin(member.settings.pinsFrom, name)) {
        member.settings.trust = Enclosures::TrustPinnedKey{*pin};
    }
    return member;
}

std::optional<Member> FleetFile::Find(std::string_view name) const
{
    const auto place = places_.find(name);
    return place == places_.end() ? std::nullopt
                                  : std::optional(MemberAt(place->first, place->second));
}

FleetFile::Places::const_iterator FleetFile::PlaceOf(std::string_view name) const
{
    const auto place = places_.find(name);
    if (place != places_.end()) {
        return place;
    }
    if (HasPort(name)) {
        const auto other = places_.find(HostOf(name));
        return other != places_.end() ? other : places_.find(Text::WithBrackets(HostOf(name)));
    }
    const auto other = withoutPort_.find(HostOf(name));
    return other == withoutPort_.end() ? places_.end() : places_.find(other->second);
}

Member FleetFile::Resolve(std::string_view name) const
{
    const auto place = PlaceOf(name);
    if (place == places_.end()) {
        return MemberAt(std::string(name), {});
    }
    if (HasPort(name) || !HasPort(place->first)) {
        return MemberAt(std::string(name), place->second);
    }
    Member member = MemberAt(place->first, place->second);
    member.settings.port = SplitPort(place->first)->port;
    member.name = name;
    return member;
}

std::variant<Hosts, Mistakes> FleetFile::Select(const Selection& selection) const
{
    Mistakes mistakes;
    std::set<std::size_t> groups;
    for (const std::string& name : selection.groups) {
        const auto group = std::find_if(groups_.begin(), groups_.end(),
                                        [&name](const Part& part) { return part.name == name; });
        if (group == groups_.end()) {
            mistakes.push_back({path_ + " has no group " + Text::Quoted(name) + "; it has " +
                                SomeOf(GroupNames())});
        }
        groups.insert(static_cast<std::size_t>(group - groups_.begin()));
    }
    Hosts hosts;
    const bool any = selection.all || !selection.groups.empty() || !selection.labels.empty();
    for (const std::string& name : any ? names_ : Hosts{}) {
        const Place& place = places_.find(name)->second;
        const bool inGroups = selection.all || selection.groups.empty() ||
                              (place.group && groups.contains(*place.group));
        if (inGroups &&
            (selection.labels.empty() || HasAll(MemberAt(name, place).labels, selection.labels))) {
            hosts.push_back(name);
        }
    }
    if (mistakes.empty() && hosts.empty() && !selection.labels.empty()) {
        const auto& [name, value] = selection.labels.front();
        mistakes.push_back(
            {path_ + " has no such host with the label " + Text::Quoted(name + "=" + value)});
    }
    return mistakes.empty() ? std::variant<Hosts, Mistakes>(std::move(hosts)) : mistakes;
}

FleetPath FindFleetFile(const std::string& flag)
{
    for (const std::string& named : {flag, Variable("VKT_FLEET")}) {
        if (!named.empty()) {
            return {named, {named}};
        }
    }
    FleetPath found;
    const std::string home = Variable("HOME");
    std::string configuration = Variable("XDG_CONFIG_HOME");
    if (configuration.empty() && !home.empty()) {
        configuration = home + "/.config";
    }
    if (!configuration.empty()) {
        found.tried.push_back(configuration + "/vktinventory/fleet.toml");
    }
    found.tried.emplace_back("/etc/vktinventory/fleet.toml");
    for (const std::string& path : found.tried) {
        if (access(path.c_str(), F_OK) == 0) {
            found.path = path;
            break;
        }
    }
    return found;
}

std::variant<std::vector<Enclosures::Target>, Mistakes> TargetsOf(
    const std::vector<Member>& members, Passwords& passwords, const std::stop_token& stop)
{
    std::vector<Enclosures::Target> targets;
    std::map<std::pair<std::size_t, std::string>, std::variant<std::string, Mistake>> known;
    Mistakes mistakes;
    std::set<std::string> told;
    const auto tell = [&](const Mistake& mistake) {
        if (told.insert(mistake.message).second) {
            mistakes.push_back(mistake);
        }
    };
    for (const Member& member : members) {
        std::string password;
        if (member.settings.password) {
            const PasswordSource& source = *member.settings.password;
            auto& got = known[KeyOf(source)];
            if (const auto* const text = std::get_if<std::string>(&got); text && text->empty()) {
                got = passwords.Get(source, stop);
            }
            if (const auto* const mistake = std::get_if<Mistake>(&got)) {
                tell(*mistake);
                continue;
            }
            password = std::get<std::string>(got);
        }
        auto target = TargetOf(member.name, member.settings, std::move(password));
        if (const auto* const mistake = std::get_if<Mistake>(&target)) {
            tell(*mistake);
        } else {
            targets.push_back(std::move(std::get<Enclosures::Target>(target)));
        }
    }
    if (!mistakes.empty()) {
        return mistakes;
    }
    return targets;
}

}  // namespace Tulvo::Fleet
