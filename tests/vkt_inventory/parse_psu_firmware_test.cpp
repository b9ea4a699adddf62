// SPDX-License-Identifier: Apache-2.0
#include "tests/vkt_inventory/decoder_case.h"

namespace Tulvo::Tests {
namespace {

using namespace std::string_literals;

const std::vector<DecoderCase> kVersionCases = {
    {"WritesLowerCaseHexadecimal",
     {kVkt2, 0, Hex("0A 12")},
     VKT_INVENTORY_SUCCESS,
     {"12.0a"},
     Entered("ParsePSUVersion")},
    {"PadsOnlyTheFirstByte",
     {kUnknown, 0, Hex("FF 00")},
     VKT_INVENTORY_SUCCESS,
     {"0.ff"},
     Entered("ParsePSUVersion")},
};
INSTANTIATE_TEST_SUITE_P(ParsePSUVersion, Decoder, Rows("ParsePSUVersion", kVersionCases),
                         BehaviourOf);

const std::vector<DecoderCase> kPositionCases = {
    {"KeepsALeadingZero",
     {kVkt2, 0, Hex("00 05")},
     VKT_INVENTORY_SUCCESS,
     {"005"},
     Entered("ParsePSUPosition")},
    {"WritesTwoDigitsOfEachByte",
     {kUnknown, 0, Hex("AB CD")},
     VKT_INVENTORY_SUCCESS,
     {"abcd"},
     Entered("ParsePSUPosition")},
};
INSTANTIATE_TEST_SUITE_P(ParsePSUPosition, Decoder, Rows("ParsePSUPosition", kPositionCases),
                         BehaviourOf);

const char* const kManufacture = "ParsePSUManufacture";

const std::vector<DecoderCase> kManufactureCases = {
    {"SkipsTheFirstByteOnTheFirstGeneration",
     {kFirst, 0, Hex("04") + Chars("ACME")},
     VKT_INVENTORY_SUCCESS,
     {"ACME"},
     Entered(kManufacture, {{4, "PSU slot  manufacture:ACME"}})},
    {"TakesTheFirstFourBytesOfVkt2",
     {kVkt2, 0, Chars("ACMEX")},
     VKT_INVENTORY_SUCCESS,
     {"ACME"},
     Entered(kManufacture, {{4, "PSU  manufacture:ACME"}})},
    {"KeepsNulAndBlanksInTheText",
     {kFirst, 0, Hex("04 41 00 20 80 99")},
     VKT_INVENTORY_SUCCESS,
     {"A\0 \x80"s},
     Entered(kManufacture, {{4, "PSU slot  manufacture:A\0 \x80"s}})},
    {"SucceedsSilentlyOnFourBytes",
     {kFirst, 0, Chars("ACME")},
     VKT_INVENTORY_SUCCESS,
     Untouched(1),
     Entered(kManufacture)},
    {"SucceedsSilentlyOnCompletionCode",
     {kVkt2, 0xC1, Chars("ACMEX")},
     VKT_INVENTORY_SUCCESS,
     Untouched(1),
     Entered(kManufacture)},
    {"SucceedsSilentlyOnAShortAnswerOfAnUnknownType",
     {kUnknown, 0, {}},
     VKT_INVENTORY_SUCCESS,
     Untouched(1),
     Entered(kManufacture)},
    {"HasNoDataForAnUnknownType",
     {kUnknown, 0, Chars("ACMEX")},
     VKT_INVENTORY_NO_DATA,
     Untouched(1),
     Entered(kManufacture, {{2, "[WARN]: PSU manufacture is empty"}})},
    {"HasNoDataForATypeOfNoGeneration",
     {static_cast<VKTIype>(-1), 0, Chars("ACMEX")},
     VKT_INVENTORY_NO_DATA,
     Untouched(1),
     Entered(kManufacture, {{2, "[WARN]: PSU manufacture is empty"}})},
};
INSTANTIATE_TEST_SUITE_P(ParsePSUManufacture, Decoder,
                         Rows("ParsePSUManufacture", kManufactureCases), BehaviourOf);

}  // namespace
}  // namespace Tulvo::Tests
