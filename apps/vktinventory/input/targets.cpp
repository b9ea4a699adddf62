// SPDX-License-Identifier: Apache-2.0
#include "apps/vktinventory/input/targets.h"

#include <algorithm>
#include <filesystem>
#include <optional>
#include <system_error>
#include <utility>
#include <variant>

#include "apps/vktinventory/input/password.h"
#include "apps/vktinventory/interrupt.h"
#include "fleet/host_pattern.h"
#include "fleet/settings.h"

namespace Tulvo::Cli {
namespace {

constexpr std::chrono::seconds kTimeout{30};
constexpr std::chrono::seconds kConnectTimeout{5};

[[noreturn]] void Refuse(const Fleet::Mistakes& mistakes)
{
    std::string lines;
    for (const Fleet::Mistake& mistake : mistakes) {
        lines += (lines.empty() ? "" : "\n") + mistake.message;
    }
    throw WrongUsage(lines);
}

[[noreturn]] void Refuse(const Fleet::Mistake& mistake)
{
    throw WrongUsage(mistake.message);
}

/// The value, unless mistakes stand in its place.
template <class Value, class Wrong>
Value Right(std::variant<Value, Wrong> result)
{
    if (const auto* const wrong = std::get_if<Wrong>(&result)) {
        Refuse(*wrong);
    }
    return std::get<Value>(std::move(result));
}

bool Selects(const Fleet::Selection& selection)
{
    return selection.all || !selection.groups.empty() || !selection.labels.empty();
}

[[noreturn]] void RefuseForLackOfAFile(const std::vector<std::string>& tried)
{
    std::string places;
    for (const std::string& place : tried) {
        places += (places.empty() ? " (" : ", ") + place;
    }
    throw WrongUsage("--group, --label and --all need a fleet file, and there is none" + places +
                     (places.empty() ? "" : ")") + "; name one with --fleet");
}

Fleet::FleetFile FleetFor(const Options& options, bool namesOnly)
{
    const Fleet::FleetPath path = Fleet::FindFleetFile(options.fleetFile);
    if (path.path) {
        return Right(Fleet::FleetFile::Load(*path.path, {.namesOnly = namesOnly}));
    }
    if (Selects(options.selection)) {
        RefuseForLackOfAFile(path.tried);
    }
    return {};
}

/// Those of flags stand before those of the fleet file. No host named is no host; none left is a
/// mistake.
Fleet::Hosts HostsOf(const Options& options, const Fleet::FleetFile& fleet)
{
    if (!options.operands.empty()) {
        return Right(Fleet::ExpandHosts(options.operands, options.without));
    }
    std::vector<std::string> patterns = options.hosts;
    const Fleet::Hosts selected = Right(fleet.Select(options.selection));
    patterns.insert(patterns.end(), selected.begin(), selected.end());
    if (patterns.empty()) {
        throw WrongUsage(fleet.Path() + " names no host; list some in a [[group]]");
    }
    Fleet::Hosts hosts = Right(Fleet::ExpandHosts(patterns, options.without));
    if (hosts.empty()) {
        throw WrongUsage("no host is left: -x takes out all that are named");
    }
    return hosts;
}

bool NameSeveral(const Options& options)
{
    return Selects(options.selection) || options.hosts.size() > 1 ||
           std::any_of(options.hosts.begin(), options.hosts.end(), Fleet::IsPattern);
}

/// Silence would let a typing error decide how a certificate is checked.
void RefuseFlagsOfNoUse(const Options& options, const std::vector<Fleet::Member>& members)
{
    const auto overHttps = [](const Fleet::Member& member) {
        return member.settings.https.value_or(false);
    };
    if (!options.httpsFlag.empty() && std::none_of(members.begin(), members.end(), overHttps)) {
        throw WrongUsage(options.httpsFlag + ": goes only with -I https; see vktinventory --help");
    }
    if (!options.lanplusFlag.empty() && std::all_of(members.begin(), members.end(), overHttps)) {
        throw WrongUsage(options.lanplusFlag +
                         ": does not go with -I https; see vktinventory --help");
    }
}

Fleet::Settings SettingsOf(const Options& options, const Secrets& secrets)
{
    Fleet::Settings settings = options.settings;
    if (!secrets.kg.empty()) {
        settings.kg = secrets.kg;
    }
    if (options.passwordSource != PasswordSource::kTerminal) {
        settings.password = Fleet::PasswordText{secrets.password()};
    }
    return settings;
}

/// Somebody is asked on the terminal only where neither flag nor file has an answer.
void AskForLackingPasswords(std::vector<Fleet::Member>& members, const Secrets& secrets)
{
    std::optional<Fleet::PasswordText> typed;
    for (Fleet::Member& member : members) {
        if (!member.settings.password) {
            typed = typed ? typed : Fleet::PasswordText{secrets.password()};
            member.settings.password = *typed;
        }
    }
}

}  // namespace

Fleet::Hosts HostsOf(const Options& options)
{
    return HostsOf(options, FleetFor(options, true));
}

std::vector<std::string> NamesInFleet(const Options& options)
{
    const Fleet::FleetFile fleet = FleetFor(options, true);
    if (options.listedNames == NameList::kHosts) {
        return fleet.HostNames();
    }
    if (options.listedNames == NameList::kGroups) {
        return fleet.GroupNames();
    }
    std::vector<std::string> labels;
    for (const auto& [key, values] : fleet.LabelValues()) {
        for (const std::string& value : values) {
            labels.emplace_back(key).append("=").append(value);
        }
    }
    return labels;
}

Targets::Targets(const Options& options, const Secrets& secrets) : many_(NameSeveral(options))
{
    const Fleet::FleetFile fleet = FleetFor(options, false);
    const Fleet::Hosts hosts = HostsOf(options, fleet);
    const Fleet::Settings flags = SettingsOf(options, secrets);
    for (const std::string& host : hosts) {
        Fleet::Member& member = members_.emplace_back(fleet.Resolve(host));
        member.settings = Fleet::Over(flags, member.settings);
    }
    RefuseFlagsOfNoUse(options, members_);
    AskForLackingPasswords(members_, secrets);
    const Conversation withCommands;  // for passwords: whatever they have started ends with us
    targets_ = Right(Fleet::TargetsOf(members_, passwords_, withCommands.StopToken()));
    // A pipe gives its password once.
    std::error_code error;
    if (options.passwordSource == PasswordSource::kFile &&
        std::filesystem::is_regular_file(options.passwordFile, error)) {
        readAgain_ = secrets.password;
    }
}

Targets::Targets(const Options& options) : many_(NameSeveral(options))
{
    const Fleet::FleetFile fleet = FleetFor(options, true);
    for (const std::string& host : HostsOf(options, fleet)) {
        Fleet::Member& member = members_.emplace_back(fleet.Resolve(host));
        member.settings = Fleet::Over(options.settings, member.settings);
        member.settings.password.reset();
        member.settings.trust.reset();
        member.settings.https = member.settings.https.value_or(!fleet.Has(host));
    }
    targets_ = Right(Fleet::TargetsOf(members_, passwords_));
}

std::vector<std::string> Targets::Renew(const std::set<std::size_t>& refused,
                                        const std::stop_token& stop)
{
    Lines mistakes;
    ReadFlagsFile(mistakes);
    RunCommands(refused, stop, mistakes);
    auto renewed = Fleet::TargetsOf(members_, passwords_, stop);
    if (auto* const targets = std::get_if<std::vector<Enclosures::Target>>(&renewed)) {
        targets_ = std::move(*targets);
        return mistakes;
    }
    for (const Fleet::Mistake& mistake : std::get<Fleet::Mistakes>(renewed)) {
        mistakes.push_back(mistake.message);
    }
    return mistakes;
}

void Targets::ReadFlagsFile(Lines& mistakes)
{
    if (!readAgain_) {
        return;
    }
    try {
        const Fleet::PasswordText text{readAgain_()};
        for (Fleet::Member& member : members_) {
            member.settings.password = text;
        }
    } catch (const NoPassword& reason) {
        mistakes.emplace_back(reason.what());
    }
}

void Targets::RunCommands(const std::set<std::size_t>& refused, const std::stop_token& stop,
                          Lines& mistakes)
{
    std::set<std::string> ran;
    for (const std::size_t index : refused) {
        const auto& source = members_[index].settings.password;
        const auto* const command =
            source ? std::get_if<Fleet::PasswordCommand>(&*source) : nullptr;
        if (command == nullptr || !ran.insert(command->command).second) {
            continue;
        }
        if (const auto mistake = passwords_.Renew(*command, stop)) {
            mistakes.push_back(mistake->message);
        }
    }
}

bool Targets::TrustAnybody() const
{
    return std::any_of(targets_.begin(), targets_.end(), [](const Enclosures::Target& target) {
        const auto* const https = std::get_if<Enclosures::Https>(&target.transport);
        return https != nullptr && https->trust &&
               std::holds_alternative<Enclosures::TrustAnybody>(*https->trust);
    });
}

std::chrono::seconds Targets::Timeout(std::size_t index) const
{
    return members_[index].settings.timeout.value_or(kTimeout);
}

std::chrono::seconds Targets::ConnectTimeout(std::size_t index) const
{
    return members_[index].settings.connectTimeout.value_or(kConnectTimeout);
}

}  // namespace Tulvo::Cli
