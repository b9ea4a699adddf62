// SPDX-License-Identifier: Apache-2.0
#include "tests/vkt_inventory/decoder_case.h"

namespace Tulvo::Tests {
namespace {

using namespace std::string_literals;

const char* const kChassis = "ParseChassisPowerConsumption";
const char* const kConsumptionFailed193 =
    "Get vkt chassis power consumption failed with error code:193";

const std::vector<DecoderCase> kChassisPowerConsumptionCases = {
    {"ReportsZeroAndTheHighestNumberAsTheyAre",
     {kFirst, 0, Hex("00 00 FF FF 10 00")},
     VKT_INVENTORY_SUCCESS,
     {"0", "65535", "16"},
     Framed(kChassis, {{4, "Min:0,Avg:65535,Max:16"}})},
};
INSTANTIATE_TEST_SUITE_P(ParseChassisPowerConsumption, Decoder,
                         Rows("ParseChassisPowerConsumption", kChassisPowerConsumptionCases),
                         BehaviourOf);

const char* const kCap = "ParseChassisPowerCap";

const std::vector<DecoderCase> kChassisPowerCapCases = {
    {"HidesZeroInTheRecordButNotInTheLog",
     {kFirst, 0, Hex("00 00 B0 04 00 00 E8 03 FF FF")},
     VKT_INVENTORY_SUCCESS,
     {"N/A", "1200", "N/A", "1000", "65535"},
     Framed(kCap, {{4, "Min:0,Max:1200,ProtectiveCap:0,UserCap:1000,ThermalCap:65535"}})},
    {"HidesZeroInEveryField",
     {kUnknown, 0, Hex("00 00 00 00 00 00 00 00 00 00")},
     VKT_INVENTORY_SUCCESS,
     {"N/A", "N/A", "N/A", "N/A", "N/A"},
     Framed(kCap, {{4, "Min:0,Max:0,ProtectiveCap:0,UserCap:0,ThermalCap:0"}})},
};
INSTANTIATE_TEST_SUITE_P(ParseChassisPowerCap, Decoder,
                         Rows("ParseChassisPowerCap", kChassisPowerCapCases), BehaviourOf);

const char* const kNode = "ParseNodePowerConsumption";

const std::vector<DecoderCase> kNodePowerConsumptionCases = {
    {"HidesZeroAndTheHighestNumberInTheRecordButNotInTheLog",
     {kFirst, 0, Hex("FF FF 00 00 64 00")},
     VKT_INVENTORY_SUCCESS,
     {"N/A", "N/A", "100"},
     Entered(kNode, {{4, "Min:65535,Avg:0,Max:100"}})},
    {"HidesThemInTheLastFieldToo",
     {kUnknown, 0, Hex("01 00 FF FF FF FF 00")},
     VKT_INVENTORY_SUCCESS,
     {"1", "N/A", "N/A"},
     Entered(kNode, {{4, "Min:1,Avg:65535,Max:65535"}})},
    {"ShowsNumbersOfWhichOnlyOneByteIsFF",
     {kFirst, 0, Hex("FF 00 00 FF FE FF")},
     VKT_INVENTORY_SUCCESS,
     {"255", "65280", "65534"},
     Entered(kNode, {{4, "Min:255,Avg:65280,Max:65534"}})},
    {"DropsNothingOfSixBytesOfVkt2",
     {kVkt2, 0, Hex("2C 01 90 01 F4 01")},
     VKT_INVENTORY_SUCCESS,
     {"300", "400", "500"},
     Entered(kNode, {{4, "Min:300,Avg:400,Max:500"}})},
    {"DropsOneLeadingByteOfSevenOnVkt2",
     {kVkt2, 0, Hex("77 2C 01 90 01 F4 01")},
     VKT_INVENTORY_SUCCESS,
     {"300", "400", "500"},
     Entered(kNode, Reframed(", \x01 \x90 \x01 \xF4 \x01 ", "0x2c 0x1 0x90 0x1 0xf4 0x1 ") +
                        LogLines{{4, "Min:300,Avg:400,Max:500"}})},
    {"DropsOnlyOneByteOfEightOnVkt2",
     {kVkt2, 0, Hex("77 31 00 32 00 33 00 34")},
     VKT_INVENTORY_SUCCESS,
     {"49", "50", "51"},
     Entered(kNode, Reframed("1 \0 2 \0 3 \0 4 "s, "0x31 0x0 0x32 0x0 0x33 0x0 0x34 ") +
                        LogLines{{4, "Min:49,Avg:50,Max:51"}})},
    {"DumpsNothingWhenTheCompletionCodeOfVkt2IsNotZero",
     {kVkt2, 0xC1, Hex("77 2C 01 90 01 F4 01")},
     VKT_INVENTORY_FAILED,
     Untouched(3),
     Entered(kNode, {{1, kConsumptionFailed193}})},
};
INSTANTIATE_TEST_SUITE_P(ParseNodePowerConsumption, Decoder,
                         Rows("ParseNodePowerConsumption", kNodePowerConsumptionCases),
                         BehaviourOf);

}  // namespace
}  // namespace Tulvo::Tests
