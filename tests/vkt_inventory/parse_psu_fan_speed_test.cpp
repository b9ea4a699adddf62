// SPDX-License-Identifier: Apache-2.0
#include "tests/vkt_inventory/decoder_case.h"

namespace Tulvo::Tests {
namespace {

const char* const kFans = "ParsePSUFanSpeed";

const std::vector<DecoderCase> kTwoFanCases = {
    {"HidesZeroInTheRecordButNotInTheLog",
     {kVkt2, 0, Hex("00 E8 03 02 00 00 00 02"), 2},
     VKT_INVENTORY_SUCCESS,
     {"PSU2", "1000", "2", "N/A", "N/A", "Normal"},
     Framed(kFans, {{4, "PSU:PSU2,Speed-A:1000,Pat-A:2,Speed-B:0,Pat-B:0,Status:Normal"}})},
    {"HidesZeroOfFanAToo",
     {kVkt2, 0, Hex("09 00 00 00 10 27 05 01"), 9},
     VKT_INVENTORY_SUCCESS,
     {"PSU9", "N/A", "N/A", "10000", "5", "Abnormal"},
     Framed(kFans, {{4, "PSU:PSU9,Speed-A:0,Pat-A:0,Speed-B:10000,Pat-B:5,Status:Abnormal"}})},
    {"NamesAnAbsentSupply",
     {kVkt2, 0, Hex("00 01 00 01 01 00 01 00"), 1},
     VKT_INVENTORY_SUCCESS,
     {"PSU1", "1", "1", "1", "1", "Not Present"},
     Framed(kFans, {{4, "PSU:PSU1,Speed-A:1,Pat-A:1,Speed-B:1,Pat-B:1,Status:Not Present"}})},
    {"NamesAnUnknownStatusAndIgnoresSurplusBytes",
     {kVkt2, 0, Hex("00 FF FF FF FF FF FF 03 02"), 1},
     VKT_INVENTORY_SUCCESS,
     {"PSU1", "65535", "255", "65535", "255", "Unknown"},
     Framed(kFans,
            {{4, "PSU:PSU1,Speed-A:65535,Pat-A:255,Speed-B:65535,Pat-B:255,Status:Unknown"}})},
};
INSTANTIATE_TEST_SUITE_P(ParsePSUFanSpeedOfTwoFans, Decoder, Rows("ParsePSUFanSpeed", kTwoFanCases),
                         BehaviourOf);

// Fan B stays as the caller gave it.
const std::vector<DecoderCase> kOneFanCases = {
    {"HidesZeroInTheRecordButNotInTheLog",
     {kUnknown, 0, Hex("00 00 00 00"), 2},
     VKT_INVENTORY_SUCCESS,
     {"PSU2", "N/A", "N/A", kBefore, kBefore, "Not Present"},
     Framed(kFans, {{4, "PSU:PSU2,Speed:0,Pat:0,Status:Not Present"}})},
    {"NamesANormalSupplyAndIgnoresSurplusBytes",
     {kFirst, 0, Hex("01 00 01 02 09 09 09 09"), 6},
     VKT_INVENTORY_SUCCESS,
     {"PSU6", "1", "1", kBefore, kBefore, "Normal"},
     Framed(kFans, {{4, "PSU:PSU6,Speed:1,Pat:1,Status:Normal"}})},
    {"NamesAnUnknownStatus",
     {kFirst, 0, Hex("01 00 01 FF"), 6},
     VKT_INVENTORY_SUCCESS,
     {"PSU6", "1", "1", kBefore, kBefore, "Unknown"},
     Framed(kFans, {{4, "PSU:PSU6,Speed:1,Pat:1,Status:Unknown"}})},
};
INSTANTIATE_TEST_SUITE_P(ParsePSUFanSpeedOfOneFan, Decoder, Rows("ParsePSUFanSpeed", kOneFanCases),
                         BehaviourOf);

}  // namespace
}  // namespace Tulvo::Tests
