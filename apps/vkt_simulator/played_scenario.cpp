// SPDX-License-Identifier: Apache-2.0
#include "apps/vkt_simulator/played_scenario.h"

#include <nlohmann/json.hpp>

namespace Tulvo::Simulator {

namespace {

std::string Digits(std::size_t number, std::size_t digits)
{
    const std::string text = std::to_string(number);
    return std::string(digits - text.size(), '0') + text;
}

std::string Numbered(const std::string& text, const std::string& number)
{
    return text.substr(0, kMaxTextLength - number.size()) + number;
}

void Number(PlayedScenario& played, const std::string& number)
{
    EnclosureState& state = played.scenario.enclosure;
    state.serialNumber = Numbered(state.serialNumber, number);
    state.name = Numbered(state.name, number);
    nlohmann::json document = nlohmann::json::parse(played.text);
    document["module"]["serialNumber"] = state.serialNumber;
    document["module"]["name"] = state.name;
    played.text = document.dump();
}

}  // namespace

std::vector<PlayedScenario> ReadScenarios(const ScenarioPlan& plan)
{
    std::vector<PlayedScenario> sources;
    for (const std::string& file : plan.files) {
        std::string text = ReadScenarioFile(file);
        Scenario scenario = ParseScenario(text, file);
        sources.push_back({file, std::move(text), std::move(scenario)});
    }
    const std::size_t digits = std::to_string(plan.count).size();
    std::vector<PlayedScenario> played;
    for (std::size_t i = 0; i < plan.count; ++i) {
        played.push_back(sources[i % sources.size()]);
        if (plan.numbered) {
            Number(played.back(), Digits(i + 1, digits));
        }
    }
    return played;
}

}  // namespace Tulvo::Simulator
