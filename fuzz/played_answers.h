// SPDX-License-Identifier: Apache-2.0
/// @file
/// What the simulator's enclosures answer to all that the library asks.
#ifndef FUZZ_PLAYED_ANSWERS_H
#define FUZZ_PLAYED_ANSWERS_H

#include <cstdint>
#include <map>
#include <string>
#include <tuple>
#include <vector>

#include "apps/vkt_simulator/scenario.h"
#include "fuzz/target.h"
#include "module/ipmi/ipmi_client/ipmi_command.h"
#include "module/vkt/vkt_info/vkt_info.h"

namespace Tulvo::Fuzz {

/// The texts of the scenarios that come with the simulator.
const std::vector<std::string>& ScenarioTexts();

/// The same scenarios, read.
const std::vector<Simulator::Scenario>& Scenarios();

VKTIype TypeOf(const Simulator::Scenario& scenario);

/// Every request that the library has for such an enclosure, and one node and supply more than it
/// holds.
std::vector<IPMICOMMAND> RequestsTo(const Simulator::Scenario& scenario);

struct PlayedAnswer
{
    VKTIype vktType;
    IPMICOMMAND request;
    Simulator::Answer answer;
};

/// The answers of all scenarios, each once for all requests that get it from a type of module.
const std::vector<PlayedAnswer>& PlayedAnswers();

/// Network function, command and data.
using RequestBytes = std::tuple<std::uint8_t, std::uint8_t, Bytes>;

RequestBytes BytesOf(const IPMICOMMAND& request);

/// The last answer with completion code 0 to each request of a conversation.
using GoodAnswers = std::map<RequestBytes, Bytes>;

}  // namespace Tulvo::Fuzz

#endif
