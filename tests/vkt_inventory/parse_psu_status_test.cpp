// SPDX-License-Identifier: Apache-2.0
#include "tests/vkt_inventory/decoder_case.h"

namespace Tulvo::Tests {
namespace {

const char* const kStatus = "ParsePSUStatus";

const std::vector<DecoderCase> kCases = {
    {"ReadsABitOfFourBytesForEverySupply",
     {kFirst, 0, Hex("05 00 07 06 00 00"), 3},
     VKT_INVENTORY_SUCCESS,
     {"trigger", "not trigger", "present", "not power good",  // supply 1
      "not trigger", "not trigger", "present", "power good",  // supply 2
      "trigger", "not trigger", "present", "power good"},     // supply 3
     Entered(kStatus, {{4,
                        "The gotted PSU psu_status is :\n"
                        "PSU1:\n\tPSU EPOW 1\n\tPSU THROTTLE 0\n\tPSU PRESENT 1\n\tPSU PWR GOOD 0"
                        "PSU2:\n\tPSU EPOW 0\n\tPSU THROTTLE 0\n\tPSU PRESENT 1\n\tPSU PWR GOOD 1"
                        "PSU3:\n\tPSU EPOW 1\n\tPSU THROTTLE 0\n\tPSU PRESENT 1\n\tPSU PWR GOOD "
                        "1"}})},
    {"ReadsTheFirstFourBytesOfAnyOtherTypeThanVkt2",
     {kUnknown, 0, Hex("00 01 00 01 FF FF FF FF FF FF"), 1},
     VKT_INVENTORY_SUCCESS,
     {"not trigger", "trigger", "not present", "power good"},
     Entered(kStatus, {{4,
                        "The gotted PSU psu_status is :\n"
                        "PSU1:\n\tPSU EPOW 0\n\tPSU THROTTLE 1\n\tPSU PRESENT 0\n\tPSU PWR GOOD "
                        "1"}})},
    // Bytes 0, 4, 8 and 6: one of them set at a time.
    {"ReadsEpowFromByte0OfTenOfVkt2",
     {kVkt2, 0, Hex("01 00 00 00 00 00 00 00 00 00"), 1},
     VKT_INVENTORY_SUCCESS,
     {"trigger", "not trigger", "not present", "not power good"},
     Entered(kStatus, {{4,
                        "The gotted PSU psu_status is :\n"
                        "PSU1:\n\tPSU EPOW 1\n\tPSU THROTTLE 0\n\tPSU PRESENT 0\n\tPSU PWR GOOD "
                        "0"}})},
    {"ReadsThrottleFromByte4OfTenOfVkt2",
     {kVkt2, 0, Hex("00 00 00 00 01 00 00 00 00 00"), 1},
     VKT_INVENTORY_SUCCESS,
     {"not trigger", "trigger", "not present", "not power good"},
     Entered(kStatus, {{4,
                        "The gotted PSU psu_status is :\n"
                        "PSU1:\n\tPSU EPOW 0\n\tPSU THROTTLE 1\n\tPSU PRESENT 0\n\tPSU PWR GOOD "
                        "0"}})},
    {"ReadsPresentFromByte8OfTenOfVkt2",
     {kVkt2, 0, Hex("00 00 00 00 00 00 00 00 01 00"), 1},
     VKT_INVENTORY_SUCCESS,
     {"not trigger", "not trigger", "present", "not power good"},
     Entered(kStatus, {{4,
                        "The gotted PSU psu_status is :\n"
                        "PSU1:\n\tPSU EPOW 0\n\tPSU THROTTLE 0\n\tPSU PRESENT 1\n\tPSU PWR GOOD "
                        "0"}})},
    {"ReadsPowerGoodFromByte6OfTenOfVkt2",
     {kVkt2, 0, Hex("00 00 00 00 00 00 01 00 00 00"), 1},
     VKT_INVENTORY_SUCCESS,
     {"not trigger", "not trigger", "not present", "power good"},
     Entered(kStatus, {{4,
                        "The gotted PSU psu_status is :\n"
                        "PSU1:\n\tPSU EPOW 0\n\tPSU THROTTLE 0\n\tPSU PRESENT 0\n\tPSU PWR GOOD "
                        "1"}})},
    {"ReadsNothingFromTheOtherSixOfTenBytesOfVkt2",
     {kVkt2, 0, Hex("00 FF FF FF 00 FF 00 FF 00 FF"), 1},
     VKT_INVENTORY_SUCCESS,
     {"not trigger", "not trigger", "not present", "not power good"},
     Entered(kStatus, {{4,
                        "The gotted PSU psu_status is :\n"
                        "PSU1:\n\tPSU EPOW 0\n\tPSU THROTTLE 0\n\tPSU PRESENT 0\n\tPSU PWR GOOD "
                        "0"}})},
    {"ReadsBytes0246OfAnotherLengthOfVkt2",
     {kVkt2, 0, Hex("02 01 00 01 02 01 02 01 01"), 2},
     VKT_INVENTORY_SUCCESS,
     {"not trigger", "not trigger", "not present", "not power good",  // supply 1
      "trigger", "not trigger", "present", "power good"},             // supply 2
     Entered(kStatus, {{4,
                        "The gotted PSU psu_status is :\n"
                        "PSU1:\n\tPSU EPOW 0\n\tPSU THROTTLE 0\n\tPSU PRESENT 0\n\tPSU PWR GOOD 0"
                        "PSU2:\n\tPSU EPOW 1\n\tPSU THROTTLE 0\n\tPSU PRESENT 1\n\tPSU PWR GOOD "
                        "1"}})},
    {"TakesTheMissingSeventhByteOfVkt2As0",
     {kVkt2, 0, Hex("FF FF FF FF FF FF"), 1},
     VKT_INVENTORY_SUCCESS,
     {"trigger", "trigger", "present", "not power good"},
     Entered(kStatus, {{4,
                        "The gotted PSU psu_status is :\n"
                        "PSU1:\n\tPSU EPOW 1\n\tPSU THROTTLE 1\n\tPSU PRESENT 1\n\tPSU PWR GOOD "
                        "0"}})},
    {"EmptiesTheVectorForNoSlots",
     {kFirst, 0, Hex("FF FF FF FF FF FF"), 0},
     VKT_INVENTORY_SUCCESS,
     {},
     Entered(kStatus, {{4, "The gotted PSU psu_status is :\n"}})},
    {"FailsOnFiveBytesAndKeepsTheRecordsThatThereWere",
     {kFirst, 0, Hex("05 00 07 06 00"), 2},
     VKT_INVENTORY_FAILED,
     {kBefore, kBefore, kBefore, kBefore, "", "", "", ""},
     Entered(kStatus, {{4,
                        "The gotted PSU psu_status is :\n\nGet PSU statue failed with "
                        "completionCode is 0, response.size() is 5"}})},
    {"FailsOnCompletionCodeAndDropsSurplusRecords",
     {kFirst, 0xC1, Hex("05 00 07 06 00 00"), 0},
     VKT_INVENTORY_FAILED,
     {},
     Entered(kStatus, {{4,
                        "The gotted PSU psu_status is :\n\nGet PSU statue failed with "
                        "completionCode is 193, response.size() is 6"}})},
    {"KeepsAllTenBytesOfVkt2WhenTheCompletionCodeIsNotZero",
     {kVkt2, 0xFF, Hex("FF FF FF FF FF FF FF FF FF FF"), 1},
     VKT_INVENTORY_FAILED,
     Untouched(4),
     Entered(kStatus, {{4,
                        "The gotted PSU psu_status is :\n\nGet PSU statue failed with "
                        "completionCode is 255, response.size() is 10"}})},
};
INSTANTIATE_TEST_SUITE_P(ParsePSUStatus, Decoder, Rows("ParsePSUStatus", kCases), BehaviourOf);

TEST(ParsePSUStatus, HasNoBitForTheNinthSupplyAndBeyond)
{
    constexpr std::size_t kFieldsOfEight = 32;
    for (const VKTIype type : {kFirst, kVkt2}) {
        const Outcome outcome =
            Decode("ParsePSUStatus", {type, 0, Hex("FF FF FF FF FF FF FF FF FF FF"), 70});
        ASSERT_EQ(outcome.result, VKT_INVENTORY_SUCCESS);
        ASSERT_EQ(outcome.fields.size(), std::size_t{70} * 4);
        for (std::size_t field = 0; field < outcome.fields.size(); ++field) {
            EXPECT_EQ(outcome.fields[field].substr(0, 4) == "not ", field >= kFieldsOfEight)
                << field;
        }
    }
}

}  // namespace
}  // namespace Tulvo::Tests
