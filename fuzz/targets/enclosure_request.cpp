// SPDX-License-Identifier: Apache-2.0
#include <algorithm>

#include "fuzz/input_reader.h"
#include "fuzz/played_answers.h"
#include "fuzz/require.h"
#include "fuzz/targets/targets.h"

namespace Tulvo::Fuzz {

namespace {

using Simulator::Delivery;
using Simulator::FaultyEnclosure;
using Simulator::Scenario;

// What an RMCP+ server of this kind can send.
constexpr std::size_t kLongestPayload = 35;
constexpr std::uint8_t kInvalidCommand = 0xC1;

bool Same(const Delivery& left, const Delivery& right)
{
    return left.answer == right.answer && left.latency == right.latency &&
           left.dropped == right.dropped;
}

bool IsServed(const IPMICOMMAND& request)
{
    static const std::vector<Simulator::RequestCode> codes = Simulator::ServedRequests();
    return std::any_of(codes.begin(), codes.end(), [&request](const auto& code) {
        return code.netFn == request.netFn && code.command == request.cmd;
    });
}

void RequireGoodDelivery(const Scenario& scenario, const IPMICOMMAND& request,
                         const Delivery& delivery)
{
    const Simulator::Answer& answer = delivery.answer;
    Require(answer.bytes.size() <= kLongestPayload, "an answer fits into a packet");
    if (scenario.faults.empty()) {
        Require(answer.completionCode == 0 || answer.bytes.empty(), "a refusal has no data");
        Require(delivery.latency.count() == 0 && !delivery.dropped, "a healthy module answers");
        Require(IsServed(request) || answer.completionCode == kInvalidCommand,
                "what is not served is an invalid command");
    }
}

IPMICOMMAND ReadRequest(InputReader& reader)
{
    constexpr std::size_t kMostData = 64;
    IPMICOMMAND request{};
    request.netFn = reader.Byte();
    request.cmd = reader.Byte();
    request.data = reader.Some(reader.Byte() % kMostData);
    return request;
}

Bytes Written(const IPMICOMMAND& request)
{
    return Bytes{request.netFn, request.cmd, static_cast<std::uint8_t>(request.data.size())} +
           request.data;
}

}  // namespace

void RunEnclosureRequest(Input input)
{
    InputReader reader(input);
    const Scenario& scenario = Scenarios()[reader.Byte() % Scenarios().size()];
    FaultyEnclosure enclosure(scenario.enclosure, scenario.faults);
    FaultyEnclosure twin(scenario.enclosure, scenario.faults);
    while (!reader.AtEnd()) {
        const IPMICOMMAND request = ReadRequest(reader);
        const Delivery delivery = enclosure.Serve(request.netFn, request.cmd, request.data);
        RequireGoodDelivery(scenario, request, delivery);
        Require(Same(delivery, twin.Serve(request.netFn, request.cmd, request.data)),
                "the same requests get the same answers");
    }
}

// The input is a byte for the scenario, and requests: network function, command, length, data.
std::vector<Bytes> EnclosureRequestSeeds()
{
    std::vector<Bytes> seeds;
    for (std::size_t at = 0; at < Scenarios().size(); ++at) {
        Bytes all = {static_cast<std::uint8_t>(at)};
        for (const IPMICOMMAND& request : RequestsTo(Scenarios()[at])) {
            seeds.push_back(Bytes{static_cast<std::uint8_t>(at)} + Written(request));
            all = std::move(all) + Written(request);
        }
        seeds.push_back(std::move(all));
    }
    return seeds;
}

}  // namespace Tulvo::Fuzz
