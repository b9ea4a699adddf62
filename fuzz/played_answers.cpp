// SPDX-License-Identifier: Apache-2.0
#include "fuzz/played_answers.h"

#include <algorithm>
#include <filesystem>
#include <set>
#include <tuple>

#include "module/vkt/vkt_inventory/impl/vkt_inventory_requests.h"

namespace Tulvo::Fuzz {

namespace {

std::vector<std::string> ReadScenarioTexts()
{
    std::vector<std::filesystem::path> files;
    for (const auto& entry : std::filesystem::directory_iterator(SCENARIO_FOLDER)) {
        files.push_back(entry.path());
    }
    std::sort(files.begin(), files.end());
    std::vector<std::string> texts;
    texts.reserve(files.size());
    for (const auto& file : files) {
        texts.push_back(Simulator::ReadScenarioFile(file));
    }
    return texts;
}

std::vector<Simulator::Scenario> ReadScenarios()
{
    std::vector<Simulator::Scenario> scenarios;
    for (const std::string& text : ScenarioTexts()) {
        scenarios.push_back(Simulator::ParseScenario(text, "scenario"));
    }
    return scenarios;
}

std::vector<PlayedAnswer> PlayAll()
{
    std::vector<PlayedAnswer> played;
    std::set<std::tuple<VKTIype, std::uint8_t, std::vector<std::uint8_t>>> seen;
    for (const Simulator::Scenario& scenario : Scenarios()) {
        Simulator::FaultyEnclosure enclosure(scenario.enclosure, scenario.faults);
        for (const IPMICOMMAND& request : RequestsTo(scenario)) {
            const auto answer = enclosure.Serve(request.netFn, request.cmd, request.data).answer;
            if (seen.emplace(TypeOf(scenario), answer.completionCode, answer.bytes).second) {
                played.push_back({TypeOf(scenario), request, answer});
            }
        }
    }
    return played;
}

}  // namespace

const std::vector<std::string>& ScenarioTexts()
{
    static const std::vector<std::string> texts = ReadScenarioTexts();
    return texts;
}

const std::vector<Simulator::Scenario>& Scenarios()
{
    static const std::vector<Simulator::Scenario> scenarios = ReadScenarios();
    return scenarios;
}

VKTIype TypeOf(const Simulator::Scenario& scenario)
{
    const bool isVkt2 = scenario.enclosure.generation == Simulator::Generation::kVkt2;
    return isVkt2 ? VKT_TYPE_VKT2 : VKT_TYPE_FIRST_GENERATION;
}

std::vector<IPMICOMMAND> RequestsTo(const Simulator::Scenario& scenario)
{
    const Simulator::EnclosureState& enclosure = scenario.enclosure;
    const VKTIype type = TypeOf(scenario);
    const std::int32_t platform = enclosure.platformId;
    std::vector<IPMICOMMAND> requests = {
        Requests::MachineType(),
        Requests::SerialNumber(),
        Requests::FirmwareVersion(),
        Requests::Name(),
        Requests::ChassisPowerConsumption(platform),
        Requests::ChassisPowerCap(platform),
        Requests::PSUStatus(),
    };
    for (std::uint64_t slot = 1; slot <= enclosure.supplies.size() + 1; ++slot) {
        requests.push_back(Requests::PSUFanSpeed(slot));
        requests.push_back(Requests::PSUVersion(type, slot));
        requests.push_back(Requests::PSUManufacture(type, slot));
        requests.push_back(Requests::PSUPosition(type, slot));
        requests.push_back(Requests::SelectPSU(type, platform, static_cast<std::int32_t>(slot)));
    }
    for (std::uint64_t node = 1; node <= enclosure.nodes.size() + 1; ++node) {
        requests.push_back(Requests::NodeStatus(node));
        requests.push_back(Requests::NodePowerConsumption(node));
    }
    return requests;
}

const std::vector<PlayedAnswer>& PlayedAnswers()
{
    static const std::vector<PlayedAnswer> answers = PlayAll();
    return answers;
}

RequestBytes BytesOf(const IPMICOMMAND& request)
{
    return {request.netFn, request.cmd, request.data};
}

}  // namespace Tulvo::Fuzz
