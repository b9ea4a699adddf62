// SPDX-License-Identifier: Apache-2.0
// Two independent IPMI clients and an independent HTTPS client get the bytes that the model gives,
// over both transports.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdio>
#include <optional>
#include <regex>
#include <sstream>
#include <string>
#include <vector>

#include "apps/vkt_simulator/enclosure.h"
#include "apps/vkt_simulator/scenario.h"
#include "common/text/hexadecimal.h"
#include "tests/vkt_simulator/curl.h"
#include "tests/vkt_simulator/shell.h"
#include "tests/vkt_simulator/simulator_process.h"

namespace Tulvo::Simulator {
namespace {

struct RawRequest
{
    std::uint8_t netFn;
    std::uint8_t command;
    std::vector<std::uint8_t> data;
};

std::string Words(const std::vector<std::uint8_t>& bytes)
{
    std::string words;
    for (const std::uint8_t byte : bytes) {
        std::array<char, 8> word = {};
        std::snprintf(word.data(), word.size(), " 0x%02x", byte);
        words += word.data();
    }
    return words;
}

// Reads hexadecimal bytes up to the first word that is none.
std::vector<std::uint8_t> HexadecimalBytes(const std::string& text)
{
    std::vector<std::uint8_t> bytes;
    std::istringstream words(text);
    for (std::string word; words >> word && word.size() == 2;) {
        bytes.push_back(static_cast<std::uint8_t>(std::stoul(word, nullptr, 16)));
    }
    return bytes;
}

// "Unable to send RAW command (channel=0x0 netfn=0x32 lun=0x0 cmd=0xa8 rsp=0xc7): ..."
std::optional<Answer> AskIpmitool(std::uint16_t port, const RawRequest& request)
{
    const std::string output =
        Ipmitool(port, "-P enclosure -H 127.0.0.1",
                 Words({request.netFn, request.command}) + Words(request.data));
    std::smatch refusal;
    if (std::regex_search(output, refusal, std::regex("rsp=0x([0-9a-f]{2})\\)"))) {
        return Answer{HexadecimalBytes(refusal[1]).at(0), {}};
    }
    if (output.find("exit 0") == std::string::npos) {
        return std::nullopt;
    }
    return Answer{0, HexadecimalBytes(output)};
}

// "rcvd: A8 00 02 05 ...": command, completion code, data.
std::optional<Answer> AskIpmiRaw(std::uint16_t port, const RawRequest& request)
{
    const std::string output = Shell(
        "ipmi-raw --driver-type=LAN_2_0 -W opensesspriv -h 127.0.0.1:" + std::to_string(port) +
        " -u admin -p enclosure -l ADMIN 0" + Words({request.netFn, request.command}) +
        Words(request.data));
    const std::size_t start = output.find("rcvd: ");
    if (start == std::string::npos) {
        return std::nullopt;
    }
    std::vector<std::uint8_t> bytes = HexadecimalBytes(output.substr(start + 6));
    return Answer{bytes.at(1), {bytes.begin() + 2, bytes.end()}};
}

std::optional<Answer> AskCurl(const nlohmann::json& https, const RawRequest& request)
{
    const nlohmann::json reply = nlohmann::json::parse(
        Curl(https, IpmiCall(request.netFn, request.command, Text::ToHexPairs(request.data))),
        nullptr, false);
    if (reply.value("NetFn", 0) != request.netFn + 1 ||
        reply.value("Command", -1) != request.command) {
        return std::nullopt;
    }
    return Answer{reply.at("CompletionCode").get<std::uint8_t>(),
                  Text::FromHexPairs(reply.at("ResponseData").get<std::string>())};
}

std::vector<RawRequest> Requests(bool isVkt2)
{
    const std::uint8_t chassis = isVkt2 ? 0x0D : 0x05;
    std::vector<RawRequest> requests = {
        {0x32, 0xB0, {0x05, 0x00}},
        {0x32, 0xB0, {0x05, 0x01}},
        {0x32, 0xB0, {0x05, 0x0B}},
        {0x32, 0xA8, {}},
        {0x32, 0x98, {chassis}},
        {0x32, 0x9D, {chassis}},
        {0x32, 0xA5, {0x01}},
        {0x32, 0xA5, {0x02}},
        {0x32, 0x91, {}},
        {0x32, 0xA7, {0x01}},
        {0x32, 0xA7, {0x04}},
        {0x32, 0x98, {0x01}},
        {0x32, 0x98, {0x04}},
        {0x32, 0xF4, {0x00, 0x02}},
        // Refusals: a node and a supply that are not there, too many data, an unknown command.
        {0x32, 0xA7, {0x20}},
        {0x32, 0xA5, {0x20}},
        {0x32, 0xA8, {0x01}},
        {0x32, 0x55, {}},
    };
    const std::vector<RawRequest> registers =
        isVkt2 ? std::vector<RawRequest>{{0x32, 0x92, {0x01, 0x02, 0xFC}},
                                         {0x32, 0x92, {0x09, 0x05, 0x99}},
                                         {0x32, 0x92, {0x02, 0x20, 0xF0}},
                                         {0x06, 0x52, {0x0F, 0xD0, 0x02, 0xFC}}}
               : std::vector<RawRequest>{{0x06, 0x52, {0x0F, 0xD0, 0x02, 0xFC}},
                                         {0x06, 0x52, {0x0D, 0xD0, 0x05, 0x99}},
                                         {0x06, 0x52, {0x0D, 0xD0, 0x20, 0xF0}},
                                         {0x32, 0x92, {0x01, 0x02, 0xFC}}};
    requests.insert(requests.end(), registers.begin(), registers.end());
    return requests;
}

class IndependentClients : public testing::TestWithParam<const char*>
{
};

TEST_P(IndependentClients, GetTheBytesOfTheModel)
{
    const std::string file = std::string(SCENARIO_FOLDER) + '/' + GetParam() + ".json";
    Enclosure model(ParseScenario(ReadScenarioFile(file), file).enclosure);
    SimulatorProcess simulator({"--scenario", file});
    const nlohmann::json endpoints = simulator.Endpoints();
    const auto port = endpoints.at("rmcp").at("port").get<std::uint16_t>();
    for (const RawRequest& request : Requests(model.State().generation == Generation::kVkt2)) {
        const Answer expected = model.Serve(request.netFn, request.command, request.data);
        const std::string what = Words({request.netFn, request.command}) + Words(request.data);
        EXPECT_EQ(AskIpmitool(port, request), expected) << "ipmitool" << what;
        EXPECT_EQ(AskIpmiRaw(port, request), expected) << "ipmi-raw" << what;
        EXPECT_EQ(AskCurl(endpoints.at("https"), request), expected) << "curl" << what;
    }
}

INSTANTIATE_TEST_SUITE_P(Generations, IndependentClients,
                         testing::Values("healthy-first", "healthy-vkt2-fc-9"));

}  // namespace
}  // namespace Tulvo::Simulator
