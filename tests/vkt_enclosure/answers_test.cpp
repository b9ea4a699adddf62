// SPDX-License-Identifier: Apache-2.0
// What single answers tell, by the examples and limits of docs/wire-format.md.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstddef>
#include <string>
#include <vector>

#include "module/vkt/vkt_enclosure/impl/plan.h"
#include "tests/vkt_enclosure/paper_enclosure.h"

namespace Tulvo::Enclosures {
namespace {

const PaperEnclosure& Paper(const std::string& name)
{
    static const std::vector<PaperEnclosure> all = PaperEnclosures();
    for (const PaperEnclosure& paper : all) {
        if (paper.name == name) {
            return paper;
        }
    }
    ADD_FAILURE() << "no enclosure " << name;
    return all.front();
}

Values ReadWith(const std::string& paper, const IPMICOMMAND& request, const Bytes& answer)
{
    StillPace pace;
    ScriptedModule module(pace);
    Paper(paper).Teach(module);
    module.Answer(request, answer);
    return ValuesOf(ReadOver(module, pace, {}, {}));
}

const IPMICOMMAND kStatus{0xA8, {}, 0x32};
const IPMICOMMAND kBits{0x91, {}, 0x32};
const IPMICOMMAND kFans{0xA5, {1}, 0x32};
const IPMICOMMAND kNodeState{0xA7, {1}, 0x32};
const IPMICOMMAND kNodePowerRequest{0x98, {1}, 0x32};
const IPMICOMMAND kPowerFE{0x98, {0x05}, 0x32};
const IPMICOMMAND kCapsFE{0x9D, {0x05}, 0x32};
const IPMICOMMAND kMachineType{0xB0, {0x05, 0x00}, 0x32};
const IPMICOMMAND kSerialNumber{0xB0, {0x05, 0x01}, 0x32};
const IPMICOMMAND kName{0xB0, {0x05, 0x0B}, 0x32};
const IPMICOMMAND kVersionVkt2{0x92, {1, 0x02, 0xFC}, 0x32};
const IPMICOMMAND kVersionFirst{0x52, {0x0F, 0xD0, 0x02, 0xFC}, 0x06};
const IPMICOMMAND kMakerVkt2{0x92, {1, 0x05, 0x99}, 0x32};
const IPMICOMMAND kMakerFirst{0x52, {0x0F, 0xD0, 0x05, 0x99}, 0x06};
const IPMICOMMAND kPositionVkt2{0x92, {1, 0x20, 0xF0}, 0x32};
const IPMICOMMAND kPositionFirst{0x52, {0x0F, 0xD0, 0x20, 0xF0}, 0x06};

struct AnswerCase
{
    std::string name;
    std::string enclosure;
    IPMICOMMAND request;
    Bytes answer;
    Values values;
};

void PrintTo(const AnswerCase& one, std::ostream* stream)
{
    *stream << one.name;
}

class AnswerTest : public testing::TestWithParam<AnswerCase>
{
};

TEST_P(AnswerTest, TellsItsValues)
{
    const Values values = ReadWith(GetParam().enclosure, GetParam().request, GetParam().answer);
    for (const auto& [name, value] : GetParam().values) {
        EXPECT_EQ(value, values.at(name)) << name;
    }
}

const std::vector<AnswerCase> kAnswers{
    {"MachineType",
     "First",
     kMachineType,
     {'7', 'X', '2', 'Z'},
     {{"identity.machineType", "7X2Z"}}},
    {"MachineTypeVkt2",
     "Vkt2FE",
     kMachineType,
     {0, 0, '7', 'X', '2', 'Z'},
     {{"identity.machineType", "7X2Z"}}},
    {"NoMachineType",
     "First",
     kMachineType,
     {'7', 'X', '-', 'Z'},
     {{"identity.machineType", "absent"}}},
    {"NameEndsAtTheFirstByteThatIsNoCharacter",
     "First",
     kName,
     {0x43, 0x68, 0x61, 0x73, 0x73, 0x69, 0x73, 0x20, 0x41, 0x01, 0x42},
     {{"identity.name", "Chassis A"}}},
    {"NameKeepsItsBlanks", "First", kName, {' ', 'A', ' '}, {{"identity.name", " A "}}},
    {"EmptyName", "First", kName, {0x00}, {{"identity.name", ""}}},
    {"SerialNumberLosesItsBlanks",
     "First",
     kSerialNumber,
     {' ', 'A', ' ', 'B', ' '},
     {{"identity.serialNumber", "A B"}}},
    {"BlankSerialNumber", "First", kSerialNumber, {' ', ' '}, {{"identity.serialNumber", ""}}},
    {"NoConsumption",
     "First",
     kPowerFE,
     {0xFF, 0xFF, 0x90, 0x01, 0x00, 0x00},
     {{"power.consumption.minimum", "absent"},
      {"power.consumption.average", "400"},
      {"power.consumption.maximum", "0"}}},
    {"NoConsumptionOfANode",
     "Vkt2FE",
     kNodePowerRequest,
     {0xEE, 0xFF, 0xFF, 0x00, 0x00, 0xF4, 0x01},
     {{"Node 1 power.minimum", "absent"},
      {"Node 1 power.average", "absent"},
      {"Node 1 power.maximum", "500"}}},
    {"SixBytesOfANodesPowerHaveNothingInFront",
     "Vkt2FE",
     kNodePowerRequest,
     {0x2C, 0x01, 0x90, 0x01, 0xF4, 0x01},
     {{"Node 1 power.minimum", "300"}, {"Node 1 power.maximum", "500"}}},
    {"NoCaps",
     "First",
     kCapsFE,
     {0x00, 0x00, 0xB0, 0x04, 0x00, 0x00, 0xE8, 0x03, 0xFF, 0xFF},
     {{"power.caps.lowest", "absent"},
      {"power.caps.highest", "1200"},
      {"power.caps.protective", "absent"},
      {"power.caps.user", "1000"},
      {"power.caps.thermal", "65535"}}},
    {"AbnormalFan",
     "First",
     kFans,
     {0x10, 0x27, 0x05, 0x01},
     {{"PSU1 fans.state", "abnormal"},
      {"PSU1 fans.a.speed", "10000"},
      {"PSU1 fans.a.pattern", "5"},
      {"PSU1 fans.b.speed", "absent"}}},
    {"StandingFans",
     "Vkt2FE",
     kFans,
     {0xEE, 0, 0, 0, 0, 0, 0, 0x02},
     {{"PSU1 fans.state", "normal"},
      {"PSU1 fans.a.speed", "absent"},
      {"PSU1 fans.a.pattern", "absent"},
      {"PSU1 fans.b.speed", "absent"},
      {"PSU1 fans.b.pattern", "absent"}}},
    {"FansNotPresent",
     "Vkt2FE",
     kFans,
     {0xEE, 0, 0, 0, 0, 0, 0, 0x00},
     {{"PSU1 fans.state", "notPresent"}, {"PSU1 fans.code", "0"}}},
    {"FansInAStateWithoutAName",
     "Vkt2FE",
     kFans,
     {0xEE, 1, 0, 1, 1, 0, 1, 0x07},
     {{"PSU1 fans.state", "unknown"}, {"PSU1 fans.code", "7"}}},
    {"VersionVkt2", "Vkt2FE", kVersionVkt2, {0x03, 0x01}, {{"PSU1 firmware.version", "1.03"}}},
    {"VersionFirst", "First", kVersionFirst, {0x03, 0x01}, {{"PSU1 firmware.version", "1.03"}}},
    {"PositionVkt2", "Vkt2FE", kPositionVkt2, {0x01, 0x0A}, {{"PSU1 firmware.position", "10a"}}},
    {"PositionFirst", "First", kPositionFirst, {0x01, 0x0A}, {{"PSU1 firmware.position", "10a"}}},
    {"ManufacturerVkt2",
     "Vkt2FE",
     kMakerVkt2,
     {'V', 'O', 0x00, 0xFF, '?'},
     {{"PSU1 firmware.manufacturer", std::string("VO\0\xFF", 4)}}},
    {"ManufacturerFirst",
     "First",
     kMakerFirst,
     {4, 'V', 'O', 'L', 'T'},
     {{"PSU1 firmware.manufacturer", "VOLT"}}},
    {"StatusBits",
     "First",
     kBits,
     {0x01, 0x00, 0x03, 0x02, 0x00, 0x00},
     {{"PSU1 powerOffWarning", "true"},
      {"PSU1 throttling", "false"},
      {"PSU1 present", "true"},
      {"PSU1 powerGood", "false"},
      {"PSU2 powerOffWarning", "false"},
      {"PSU2 powerGood", "true"}}},
    {"TenStatusBytesOfAVkt2",
     "Vkt2FE",
     kBits,
     {0x01, 0, 0, 0, 0x02, 0, 0x03, 0, 0x03, 0},
     {{"PSU1 powerOffWarning", "true"},
      {"PSU1 throttling", "false"},
      {"PSU2 throttling", "true"},
      {"PSU2 powerGood", "true"}}},
    {"SixStatusBytesOfAVkt2LackGoodPower",
     "Vkt2FE",
     kBits,
     {0x00, 0, 0x01, 0, 0x03, 0},
     {{"PSU1 throttling", "true"}, {"PSU1 present", "true"}, {"PSU1 powerGood", "false"}}},
    {"NodeStatus",
     "First",
     kNodeState,
     {0x80, 0x02, 0xFF, 0x01},
     {{"Node 1 powerState", "on"},
      {"Node 1 width", "full"},
      {"Node 1 height", "absent"},
      {"Node 1 permission", "1"}}},
    {"FourBytesOfANodesStateHaveNothingInFront",
     "Vkt2FE",
     kNodeState,
     {0x20, 0x01, 0x01, 0x00},
     {{"Node 1 powerState", "noPermission"}, {"Node 1 width", "half"}}},
    {"NodeOff",
     "First",
     kNodeState,
     {0x00, 0xFF, 0x01, 0x00},
     {{"Node 1 powerState", "off"}, {"Node 1 code", "0"}, {"Node 1 width", "absent"}}},
    {"NodeFault",
     "First",
     kNodeState,
     {0x40, 0x03, 0x01, 0x00},
     {{"Node 1 powerState", "fault"}, {"Node 1 width", "unknown"}, {"Node 1 widthCode", "3"}}},
    {"NodeInAStateWithoutAName",
     "First",
     kNodeState,
     {0x33, 0x01, 0x01, 0x00},
     {{"Node 1 powerState", "unknown"}, {"Node 1 code", "51"}}},
    {"FirstGenerationStatus",
     "First",
     kStatus,
     {1, 10, 0, 0, 0, 'A', 'B', 'C', '1', '2', '3', 0, 0, 3},
     {{"module.generation", "first"},
      {"module.platformId", "254"},
      {"module.nodeCount", "4"},
      {"module.powerSupplyCount", "2"},
      {"identity.firmwareVersion", "ABC123-1.0a"}}},
    {"SixSuppliesByTheGenerationCode",
     "Vkt2FC",
     kStatus,
     {0xFC, 1, 10, 0, 0, 0, 'A', 0, 0, 0, 0, 0, 0, 4},
     {{"module.generation", "vkt2"},
      {"module.platformId", "252"},
      {"module.nodeCount", "12"},
      {"module.powerSupplyCount", "6"},
      {"identity.firmwareVersion", "A-1.0a"}}},
};

INSTANTIATE_TEST_SUITE_P(Answers, AnswerTest, testing::ValuesIn(kAnswers),
                         [](const auto& one) { return one.param.name; });

struct Length
{
    std::string name;
    std::string enclosure;
    IPMICOMMAND request;
    std::vector<std::size_t> good;  ///< Up to the longest that is tried; all others are failures.
    std::size_t longest;
    std::string value;
};

void PrintTo(const Length& length, std::ostream* stream)
{
    *stream << length.name;
}

class LengthTest : public testing::TestWithParam<Length>
{
};

TEST_P(LengthTest, DecidesWhetherAnAnswerIsRead)
{
    for (std::size_t length = 0; length <= GetParam().longest; ++length) {
        SCOPED_TRACE(length);
        const Values values =
            ReadWith(GetParam().enclosure, GetParam().request, Bytes(length, std::uint8_t{'1'}));
        const bool good = testing::Value(GetParam().good, testing::Contains(length));
        EXPECT_EQ(good, values.at(GetParam().value) != "not read: malformedAnswer");
    }
}

const std::vector<Length> kLengths{
    {"MachineType", "First", kMachineType, {4, 5}, 5, "identity.machineType"},
    {"MachineTypeVkt2", "Vkt2FE", kMachineType, {6, 7}, 7, "identity.machineType"},
    {"SerialNumber", "First", kSerialNumber, {1, 2}, 2, "identity.serialNumber"},
    {"SerialNumberVkt2", "Vkt2FE", kSerialNumber, {3, 4}, 4, "identity.serialNumber"},
    {"NameVkt2", "Vkt2FE", kName, {3, 4}, 4, "identity.name"},
    {"Consumption", "First", kPowerFE, {6, 7}, 7, "power.consumption.average"},
    {"ConsumptionVkt2", "Vkt2FE", kPowerFE, {7, 8}, 8, "power.consumption.average"},
    {"Caps", "First", kCapsFE, {10, 11}, 11, "power.caps.user"},
    {"CapsVkt2", "Vkt2FE", kCapsFE, {11, 12}, 12, "power.caps.user"},
    {"NodePower", "First", kNodePowerRequest, {6, 7}, 7, "Node 1 power.average"},
    {"NodePowerVkt2", "Vkt2FE", kNodePowerRequest, {6, 7, 8}, 8, "Node 1 power.average"},
    {"NodeState", "First", kNodeState, {4}, 6, "Node 1 powerState"},
    {"NodeStateVkt2", "Vkt2FE", kNodeState, {4, 5}, 6, "Node 1 powerState"},
    {"Fans", "First", kFans, {4, 5}, 5, "PSU1 fans.state"},
    {"FansVkt2", "Vkt2FE", kFans, {8, 9}, 9, "PSU1 fans.state"},
    {"Version", "Vkt2FE", kVersionVkt2, {2, 3}, 3, "PSU1 firmware.version"},
    {"Manufacturer", "Vkt2FE", kMakerVkt2, {5, 6}, 6, "PSU1 firmware.manufacturer"},
    {"Position", "Vkt2FE", kPositionVkt2, {2, 3}, 3, "PSU1 firmware.position"},
    {"StatusBits", "First", kBits, {6, 7}, 7, "PSU1 present"},
    {"StatusBitsVkt2", "Vkt2FE", kBits, {6, 7, 8, 9, 10, 11}, 11, "PSU1 present"},
};

INSTANTIATE_TEST_SUITE_P(Answers, LengthTest, testing::ValuesIn(kLengths),
                         [](const auto& length) { return length.param.name; });

}  // namespace
}  // namespace Tulvo::Enclosures
