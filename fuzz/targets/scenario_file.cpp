// SPDX-License-Identifier: Apache-2.0
#include <algorithm>
#include <optional>
#include <stdexcept>

#include "fuzz/input_reader.h"
#include "fuzz/played_answers.h"
#include "fuzz/require.h"
#include "fuzz/targets/targets.h"

namespace Tulvo::Fuzz {

namespace {

using Simulator::EnclosureState;
using Simulator::Scenario;

constexpr const char* kName = "file.json";

void RequireGoodMessage(std::string_view message)
{
    constexpr std::size_t kLongestMessage = 1000;
    Require(message.starts_with(std::string(kName) + ": "), "a message begins with the file");
    Require(message.size() <= kLongestMessage, "a message can be read");
    const auto isControl = [](char character) {
        return static_cast<unsigned char>(character) < 0x20 || character == 0x7F;
    };
    Require(std::none_of(message.begin(), message.end(), isControl),
            "a message drives no terminal");
}

std::optional<Scenario> Parse(const std::string& text)
{
    try {
        return Simulator::ParseScenario(text, kName);
    } catch (const std::runtime_error& error) {
        RequireGoodMessage(error.what());
        return std::nullopt;
    }
}

void RequirePlayable(const Scenario& scenario)
{
    const EnclosureState& enclosure = scenario.enclosure;
    Require(enclosure.nodes.size() == Simulator::NodeCount(enclosure.platformId),
            "the platform decides the number of nodes");
    Require(enclosure.supplies.size() ==
                Simulator::SupplyCount(enclosure.platformId, enclosure.generationCode),
            "platform and code decide the number of slots");
    Require(scenario.sessions <= Simulator::kMaxSessions, "sessions are not more than there are");
    Simulator::FaultyEnclosure module(enclosure, scenario.faults);
    for (const IPMICOMMAND& request : RequestsTo(scenario)) {
        const auto delivery = module.Serve(request.netFn, request.cmd, request.data);
        Require(delivery.answer.bytes.size() <= 35, "an answer fits into a packet");
        Require(delivery.latency.count() >= 0, "no answer comes before its request");
    }
}

}  // namespace

void RunScenarioFile(Input input)
{
    if (const std::optional<Scenario> scenario = Parse({input.begin(), input.end()})) {
        RequirePlayable(*scenario);
    }
}

// The input is the file.
std::vector<Bytes> ScenarioFileSeeds()
{
    std::vector<Bytes> seeds;
    for (const std::string& text : ScenarioTexts()) {
        seeds.push_back(AsBytes(text));
    }
    return seeds;
}

}  // namespace Tulvo::Fuzz
