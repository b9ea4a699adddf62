// SPDX-License-Identifier: Apache-2.0
#include "apps/vkt_simulator/enclosure.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace Tulvo::Simulator {
namespace {

using Bytes = std::vector<std::uint8_t>;

struct Exchange
{
    const char* what;
    std::uint8_t netFn;
    std::uint8_t command;
    Bytes data;
    Answer answer;
};

void ExpectAnswers(const EnclosureState& state, const std::vector<Exchange>& exchanges)
{
    Enclosure enclosure(state);
    for (const Exchange& exchange : exchanges) {
        const Answer answer = enclosure.Serve(exchange.netFn, exchange.command, exchange.data);
        EXPECT_EQ(answer.completionCode, exchange.answer.completionCode) << exchange.what;
        EXPECT_EQ(answer.bytes, exchange.answer.bytes) << exchange.what;
    }
}

// What both generations have in common. Every number has two different bytes, so that a swap shows.
EnclosureState Common(Generation generation, std::size_t nodes, std::size_t supplies)
{
    EnclosureState state;
    state.generation = generation;
    state.machineType = "7X2Z";
    state.serialNumber = "J30ABC12";
    state.name = "Chassis A";
    state.firmware = {"ABC123", 0x01, 0x0A};
    state.power = {300, 400, 500};
    state.caps = {0, 1200, 5000, 1000, 0xFFFF};
    state.nodes.assign(nodes, {0x00, 1, 2, 0, {1, 2, 3}});
    state.nodes.front() = {0x80, 2, 0xFF, 1, {0xFFFF, 0, 100}};
    state.nodes.back() = {0x20, 1, 1, 7, {258, 515, 772}};
    PowerSupply supply;
    supply.present = true;
    supply.powerGood = true;
    supply.fanStatus = 2;
    supply.fans = {{{10000, 5}, {1000, 2}}};
    supply.firmwareMajor = 0x01;
    supply.firmwareMinor = 0x03;
    supply.manufacturer = "ACME";
    supply.position = 0x010A;
    state.supplies.assign(supplies, supply);
    return state;
}

EnclosureState FirstGeneration()
{
    return Common(Generation::kFirst, 4, 2);
}

EnclosureState Vkt2()
{
    EnclosureState state = Common(Generation::kVkt2, 12, 9);
    state.platformId = 0xFC;
    state.generationCode = 3;
    return state;
}

PowerSupply Missing()
{
    return {};
}

// A register read gives as many bytes as were asked for.
Bytes Padded(Bytes bytes, std::size_t length)
{
    bytes.resize(length);
    return bytes;
}

TEST(Enclosure, FirstGenerationAnswersEveryRequest)
{
    ExpectAnswers(
        FirstGeneration(),
        {
            {"machine type", 0x32, 0xB0, {0x05, 0x00}, {0, {'7', 'X', '2', 'Z', 0}}},
            {"serial number",
             0x32,
             0xB0,
             {0x05, 0x01},
             {0, {'J', '3', '0', 'A', 'B', 'C', '1', '2', 0}}},
            {"name",
             0x32,
             0xB0,
             {0x05, 0x0B},
             {0, {'C', 'h', 'a', 's', 's', 'i', 's', ' ', 'A', 0}}},
            {"status and firmware version",
             0x32,
             0xA8,
             {},
             {0, {0x01, 0x0A, 0, 0, 0, 'A', 'B', 'C', '1', '2', '3', 0, 0, 0, 0}}},
            {"chassis power", 0x32, 0x98, {0x05}, {0, {0x2C, 0x01, 0x90, 0x01, 0xF4, 0x01}}},
            {"node power", 0x32, 0x98, {0x01}, {0, {0xFF, 0xFF, 0x00, 0x00, 0x64, 0x00}}},
            {"last node's power", 0x32, 0x98, {0x04}, {0, {0x02, 0x01, 0x03, 0x02, 0x04, 0x03}}},
            {"power cap",
             0x32,
             0x9D,
             {0x05},
             {0, {0x00, 0x00, 0xB0, 0x04, 0x88, 0x13, 0xE8, 0x03, 0xFF, 0xFF}}},
            {"fan", 0x32, 0xA5, {0x02}, {0, {0x10, 0x27, 0x05, 0x02}}},
            {"supplies", 0x32, 0x91, {}, {0, {0x00, 0x00, 0x03, 0x03, 0x00, 0x00}}},
            {"node status", 0x32, 0xA7, {0x01}, {0, {0x80, 0x02, 0xFF, 0x01}}},
            {"last node's status", 0x32, 0xA7, {0x04}, {0, {0x20, 0x01, 0x01, 0x07}}},
            {"supply's version", 0x06, 0x52, {0x0F, 0xD0, 0x02, 0xFC}, {0, {0x03, 0x01}}},
            {"supply's maker",
             0x06,
             0x52,
             {0x0D, 0xD0, 0x05, 0x99},
             {0, {0x04, 'A', 'C', 'M', 'E'}}},
            {"supply's position",
             0x06,
             0x52,
             {0x0D, 0xD0, 0x20, 0xF0},
             {0, Padded({0x01, 0x0A}, 32)}},
            {"select", 0x32, 0xF4, {0x00, 0x03}, {0, {0x03}}},
        });
}

TEST(Enclosure, Vkt2AnswersEveryRequest)
{
    ExpectAnswers(
        Vkt2(),
        {
            {"machine type", 0x32, 0xB0, {0x05, 0x00}, {0, {0x05, 0x00, '7', 'X', '2', 'Z', 0}}},
            {"serial number",
             0x32,
             0xB0,
             {0x05, 0x01},
             {0, {0x05, 0x01, 'J', '3', '0', 'A', 'B', 'C', '1', '2', 0}}},
            {"name",
             0x32,
             0xB0,
             {0x05, 0x0B},
             {0, {0x05, 0x0B, 'C', 'h', 'a', 's', 's', 'i', 's', ' ', 'A', 0}}},
            {"status and firmware version",
             0x32,
             0xA8,
             {},
             {0, {0xFC, 0x01, 0x0A, 0, 0, 0, 'A', 'B', 'C', '1', '2', '3', 0, 0x03, 0}}},
            {"chassis power", 0x32, 0x98, {0x0D}, {0, {0, 0x2C, 0x01, 0x90, 0x01, 0xF4, 0x01}}},
            {"node power", 0x32, 0x98, {0x01}, {0, {0, 0xFF, 0xFF, 0x00, 0x00, 0x64, 0x00}}},
            {"fifth node's power", 0x32, 0x98, {0x05}, {0, {0, 1, 0, 2, 0, 3, 0}}},
            {"last node's power", 0x32, 0x98, {0x0C}, {0, {0, 0x02, 0x01, 0x03, 0x02, 0x04, 0x03}}},
            {"power cap",
             0x32,
             0x9D,
             {0x0D},
             {0, {0, 0x00, 0x00, 0xB0, 0x04, 0x88, 0x13, 0xE8, 0x03, 0xFF, 0xFF}}},
            {"fans", 0x32, 0xA5, {0x09}, {0, {0, 0x10, 0x27, 0x05, 0xE8, 0x03, 0x02, 0x02}}},
            {"supplies",
             0x32,
             0x91,
             {},
             {0, {0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0xFF, 0x01, 0xFF, 0x01}}},
            {"node status", 0x32, 0xA7, {0x01}, {0, {0, 0x80, 0x02, 0xFF, 0x01}}},
            {"last node's status", 0x32, 0xA7, {0x0C}, {0, {0, 0x20, 0x01, 0x01, 0x07}}},
            {"supply's version", 0x32, 0x92, {0x01, 0x02, 0xFC}, {0, {0x03, 0x01}}},
            {"supply's maker", 0x32, 0x92, {0x09, 0x05, 0x99}, {0, {'A', 'C', 'M', 'E', 0}}},
            {"supply's position", 0x32, 0x92, {0x05, 0x20, 0xF0}, {0, Padded({0x01, 0x0A}, 32)}},
            {"select", 0x32, 0xF4, {0x00, 0x09}, {0, {0x09}}},
            {"no supply named", 0x32, 0xF4, {0x00}, {0, {0x09}}},
        });
}

TEST(Enclosure, FirstGenerationRefusesWhatItDoesNotKnow)
{
    ExpectAnswers(FirstGeneration(),
                  {
                      {"unknown command", 0x32, 0x55, {}, {0xC1, {}}},
                      {"unknown function", 0x2E, 0xB0, {0x05, 0x00}, {0xC1, {}}},
                      {"register read of a VKT2", 0x32, 0x92, {1, 2, 0xFC}, {0xC1, {}}},
                      {"chassis selector of twelve nodes", 0x32, 0x98, {0x0D}, {0xC9, {}}},
                      {"cap of twelve nodes", 0x32, 0x9D, {0x0D}, {0xC9, {}}},
                      {"node 0", 0x32, 0xA7, {0x00}, {0xC9, {}}},
                      {"node 5", 0x32, 0xA7, {0x05}, {0xC9, {}}},
                      {"supply 3", 0x32, 0xA5, {0x03}, {0xC9, {}}},
                      {"another bus", 0x06, 0x52, {0x0B, 0xD0, 2, 0xFC}, {0xC9, {}}},
                      {"nothing at the address", 0x06, 0x52, {0x0F, 0xA0, 2, 0xFC}, {0x83, {}}},
                      {"nothing to read", 0x06, 0x52, {0x0F, 0xD0, 0, 0xFC}, {0xCA, {}}},
                      {"supply 4 selected", 0x32, 0xF4, {0x00, 0x04}, {0xC9, {}}},
                      {"nothing selected", 0x32, 0xF4, {0x00}, {0xC7, {}}},
                  });
}

TEST(Enclosure, Vkt2RefusesWhatItDoesNotKnow)
{
    ExpectAnswers(Vkt2(),
                  {
                      {"register read of the first", 0x06, 0x52, {0xF, 0xD0, 2, 0xFC}, {0xC1, {}}},
                      {"unknown item", 0x32, 0xB0, {0x05, 0x02}, {0xCC, {}}},
                      {"unknown item group", 0x32, 0xB0, {0x04, 0x00}, {0xCC, {}}},
                      {"node 0's power", 0x32, 0x98, {0x00}, {0xC9, {}}},
                      {"node 14's power", 0x32, 0x98, {0x0E}, {0xC9, {}}},
                      {"cap of four nodes", 0x32, 0x9D, {0x05}, {0xC9, {}}},
                      {"node 13", 0x32, 0xA7, {0x0D}, {0xC9, {}}},
                      {"supply 0", 0x32, 0xA5, {0x00}, {0xC9, {}}},
                      {"supply 10", 0x32, 0xA5, {0x0A}, {0xC9, {}}},
                      {"supply 10's register", 0x32, 0x92, {0x0A, 2, 0xFC}, {0xC9, {}}},
                      {"unknown register", 0x32, 0x92, {0x01, 2, 0x00}, {0xCC, {}}},
                      {"more than a block", 0x32, 0x92, {0x01, 0x21, 0xF0}, {0xCA, {}}},
                      {"supply 0 selected", 0x32, 0xF4, {0x00, 0x00}, {0xC9, {}}},
                      {"supply 10 selected", 0x32, 0xF4, {0x00, 0x0A}, {0xC9, {}}},
                      {"another lead byte", 0x32, 0xF4, {0x01, 0x01}, {0xCC, {}}},
                  });
}

TEST(Enclosure, RefusesEveryOtherNumberOfDataBytes)
{
    const struct
    {
        Generation generation;
        std::uint8_t netFn;
        std::uint8_t command;
        std::size_t shortest;
        std::size_t longest;
    } lengths[] = {
        {Generation::kVkt2, 0x32, 0xB0, 2, 2},  {Generation::kVkt2, 0x32, 0xA8, 0, 0},
        {Generation::kVkt2, 0x32, 0x98, 1, 1},  {Generation::kVkt2, 0x32, 0x9D, 1, 1},
        {Generation::kVkt2, 0x32, 0xA5, 1, 1},  {Generation::kVkt2, 0x32, 0x91, 0, 0},
        {Generation::kVkt2, 0x32, 0xA7, 1, 1},  {Generation::kVkt2, 0x32, 0x92, 3, 3},
        {Generation::kFirst, 0x06, 0x52, 4, 4}, {Generation::kVkt2, 0x32, 0xF4, 1, 2},
    };
    for (const auto& row : lengths) {
        Enclosure enclosure(row.generation == Generation::kVkt2 ? Vkt2() : FirstGeneration());
        for (std::size_t length = 0; length <= 40; ++length) {
            const Answer answer = enclosure.Serve(row.netFn, row.command, Bytes(length, 1));
            const bool fits = length >= row.shortest && length <= row.longest;
            EXPECT_NE(answer.completionCode == 0xC7, fits)
                << std::hex << int{row.command} << " with " << std::dec << length << " bytes";
        }
    }
}

TEST(Enclosure, TellsTheStatesOfItsSuppliesApart)
{
    EnclosureState state = Vkt2();
    state.supplies[0].earlyPowerWarning = true;
    state.supplies[8].earlyPowerWarning = true;
    state.supplies[1].throttle = true;
    state.supplies[2] = Missing();
    state.supplies[7].powerGood = false;
    ExpectAnswers(state, {{"ten bytes of a VKT2",
                           0x32,
                           0x91,
                           {},
                           {0, {0x01, 0x01, 0x00, 0x00, 0x02, 0x00, 0x7B, 0x01, 0xFB, 0x01}}}});
    state.generation = Generation::kFirst;
    state.supplies.resize(3);
    ExpectAnswers(state, {{"six bytes of a first generation",
                           0x32,
                           0x91,
                           {},
                           {0, {0x01, 0x02, 0x03, 0x03, 0x00, 0x00}}}});
}

TEST(Enclosure, HasNoRegistersOfAMissingSupply)
{
    EnclosureState state = Vkt2();
    state.supplies[1] = Missing();
    ExpectAnswers(state, {{"register", 0x32, 0x92, {0x02, 0x02, 0xFC}, {0xCB, {}}},
                          {"fans", 0x32, 0xA5, {0x02}, {0, {0, 0, 0, 0, 0, 0, 0, 0}}}});
    EnclosureState first = FirstGeneration();
    first.supplies[1] = Missing();
    ExpectAnswers(first, {{"register", 0x06, 0x52, {0x0D, 0xD0, 0x02, 0xFC}, {0x83, {}}},
                          {"other slot", 0x06, 0x52, {0x0F, 0xD0, 0x02, 0xFC}, {0, {3, 1}}},
                          {"fan", 0x32, 0xA5, {0x02}, {0, {0, 0, 0, 0}}}});
}

TEST(Enclosure, PlacesTheChassisSelectorByPlatform)
{
    const struct
    {
        std::uint8_t platformId;
        std::uint8_t selector;
    } platforms[] = {{0xFC, 0x0D}, {0xFD, 0x0D}, {0xFE, 0x05}};
    for (const auto& platform : platforms) {
        EnclosureState state = Vkt2();
        state.platformId = platform.platformId;
        state.nodes.resize(NodeCount(platform.platformId));
        ExpectAnswers(state, {{"chassis power",
                               0x32,
                               0x98,
                               {platform.selector},
                               {0, {0, 0x2C, 0x01, 0x90, 0x01, 0xF4, 0x01}}}});
    }
}

TEST(Enclosure, CountsNodesAndSlotsByPlatform)
{
    EXPECT_EQ(NodeCount(0xFC), 12U);
    EXPECT_EQ(NodeCount(0xFD), 12U);
    EXPECT_EQ(NodeCount(0xFE), 4U);
    EXPECT_EQ(SupplyCount(0xFC, 3), 9U);
    EXPECT_EQ(SupplyCount(0xFD, 3), 9U);
    EXPECT_EQ(SupplyCount(0xFC, 4), 6U);
    EXPECT_EQ(SupplyCount(0xFD, 7), 6U);
    EXPECT_EQ(SupplyCount(0xFE, 3), 2U);
}

TEST(Enclosure, NeverAnswersMoreThanAServerCanSend)
{
    EnclosureState state = Vkt2();
    state.name = std::string(kMaxTextLength, 'n');
    Enclosure enclosure(state);
    EXPECT_EQ(enclosure.Serve(0x32, 0xB0, {0x05, 0x0B}).bytes.size(), 35U);
}

TEST(Enclosure, KeepsTheGenerationCodeBehindTheLongestBuildName)
{
    EnclosureState state = Vkt2();
    state.firmware.build = std::string(MaxBuildLength(Generation::kVkt2), 'B');
    Bytes status = Enclosure(state).Serve(0x32, 0xA8, {}).bytes;
    EXPECT_EQ(status[12], 0x00);
    EXPECT_EQ(status[13], 0x03);
    state.generation = Generation::kFirst;
    state.firmware.build = std::string(MaxBuildLength(Generation::kFirst), 'B');
    status = Enclosure(state).Serve(0x32, 0xA8, {}).bytes;
    EXPECT_EQ(status[12], 0x00);
    EXPECT_EQ(status[13], 0x03);
}

TEST(Enclosure, RemembersTheSupplyThatWasSelected)
{
    Enclosure enclosure(Vkt2());
    EXPECT_EQ(enclosure.State().selectedSupply, 1);
    enclosure.Serve(0x32, 0xF4, {0x00, 0x04});
    EXPECT_EQ(enclosure.State().selectedSupply, 4);
    enclosure.Serve(0x32, 0xF4, {0x00, 0xFF});
    EXPECT_EQ(enclosure.State().selectedSupply, 4);
}

}  // namespace
}  // namespace Tulvo::Simulator
