// SPDX-License-Identifier: Apache-2.0
#include "apps/vkt_exporter/configuration.h"

#include <algorithm>
#include <nlohmann/json.hpp>
#include <set>
#include <utility>

#include "apps/vkt_exporter/metrics/enclosure_metrics.h"

namespace Tulvo::Exporter {

namespace {

/// No label of a host may have the name of one of a metric.
Fleet::FleetReading ReadingOfFleet()
{
    std::set<std::string> names;
    for (const EnclosureFamily& entry : EnclosureFamilies()) {
        names.insert(entry.family.labels.begin(), entry.family.labels.end());
    }
    return {.namesOnly = false, .refusedLabels = {names.begin(), names.end()}};
}

}  // namespace

FleetOrMistakes LoadFleet(const std::string& fleetFile)
{
    auto loaded = Fleet::FleetFile::Load(fleetFile, ReadingOfFleet());
    const auto* const fleet = std::get_if<Fleet::FleetFile>(&loaded);
    // Half of a file that is just being written, say: it would end every target, and with it every
    // alert.
    if (fleet != nullptr && fleet->HostNames().empty()) {
        return Fleet::Mistakes{{fleetFile + ": has no host; name one in a group or by [[host]]"}};
    }
    return loaded;
}

std::variant<SharedConfiguration, Fleet::Mistakes> ConfigurationOf(FleetOrMistakes fleet,
                                                                   const std::stop_token& stop)
{
    if (auto* const mistakes = std::get_if<Fleet::Mistakes>(&fleet)) {
        return std::move(*mistakes);
    }
    auto configuration = std::make_shared<Configuration>();
    configuration->fleet = std::move(std::get<Fleet::FleetFile>(fleet));
    std::vector<Fleet::Member> members;
    for (const std::string& name : configuration->fleet.HostNames()) {
        members.push_back(*configuration->fleet.Find(name));
    }
    auto targets = Fleet::TargetsOf(members, *configuration->passwords, stop);
    if (auto* const mistakes = std::get_if<Fleet::Mistakes>(&targets)) {
        return std::move(*mistakes);
    }
    configuration->discovery = DiscoveryOf(configuration->fleet);
    return configuration;
}

std::string DiscoveryOf(const Fleet::FleetFile& fleet)
{
    constexpr const char* kGroup = "__meta_vkt_group";
    nlohmann::json list = nlohmann::json::array();
    for (const std::string& name : fleet.HostNames()) {
        const Fleet::Member member = *fleet.Find(name);
        nlohmann::json labels = member.labels;
        labels[kGroup] = member.group;
        if (list.empty() || list.back()["labels"] != labels) {
            list.push_back({{"targets", nlohmann::json::array()}, {"labels", labels}});
        }
        list.back()["targets"].push_back(name);
    }
    return list.dump() + "\n";
}

}  // namespace Tulvo::Exporter
