// SPDX-License-Identifier: Apache-2.0
#include "apps/vktinventory/ask.h"

#include <chrono>
#include <cstdint>
#include <utility>
#include <variant>

#include "fleet/settings.h"
#include "module/vkt/vkt_enclosure/read_enclosure.h"

namespace Tulvo::Cli {
namespace {

Enclosures::Enclosure EnclosureOf(const Enclosures::Selection& selection)
{
    Enclosures::Enclosure enclosure;
    enclosure.time = std::chrono::system_clock::now() - selection.cost.elapsed;
    enclosure.source = selection.source;
    enclosure.error = selection.failure;
    enclosure.module.powerSupplyCount = selection.powerSupplyCount;
    enclosure.cost = selection.cost;
    return enclosure;
}

/// Where a fleet file names the password's file or command; empty for any other password.
std::string PlaceOf(const std::optional<Fleet::PasswordSource>& password)
{
    if (!password) {
        return {};
    }
    if (const auto* const file = std::get_if<Fleet::PasswordFile>(&*password)) {
        return file->where;
    }
    const auto* const command = std::get_if<Fleet::PasswordCommand>(&*password);
    return command == nullptr ? "" : command->where;
}

}  // namespace

Enclosures::Enclosure Ask(const Options& options, const Enclosures::Target& target,
                          const Enclosures::Limits& limits)
{
    const auto number = static_cast<std::uint8_t>(options.number);
    if (options.command->action == Action::kSelectSupply) {
        return EnclosureOf(Enclosures::SelectSupply(target, number, limits));
    }
    return Enclosures::ReadEnclosure(target, {options.command->read, number}, limits);
}

Report ReportFor(const Options& options, const Fleet::Member& member,
                 Enclosures::Enclosure enclosure)
{
    Report report =
        ReportOf(*options.command, std::move(enclosure), Fleet::ExpectationsOf(member.settings));
    report.host = member.name;
    if (!member.group.empty()) {
        report.group = member.group;
    }
    report.labels = member.labels;
    report.withoutUser = !member.settings.user;
    report.passwordFrom = PlaceOf(member.settings.password);
    report.pinsFrom = member.settings.pinsFrom;
    if (options.command->action == Action::kSelectSupply) {
        report.selected = static_cast<std::uint8_t>(options.number);
    }
    return report;
}

std::optional<std::string> WrongNumber(const Options& options, const Enclosures::Module& module)
{
    const bool ofNode = options.command->action == Action::kReadNode;
    const std::uint8_t* const count =
        ofNode ? module.nodeCount.Get() : module.powerSupplyCount.Get();
    if (count == nullptr || options.number <= *count) {
        return std::nullopt;
    }
    return (ofNode ? "node " : "power supply ") + std::to_string(options.number) +
           ": this enclosure has " + (ofNode ? "nodes" : "power supplies") + " 1 to " +
           std::to_string(*count);
}

}  // namespace Tulvo::Cli
