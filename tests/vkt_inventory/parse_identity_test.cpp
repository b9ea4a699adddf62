// SPDX-License-Identifier: Apache-2.0
#include "tests/vkt_inventory/decoder_case.h"

namespace Tulvo::Tests {
namespace {

using namespace std::string_literals;

const char* const kMachineType = "ParseMachineType";

const std::vector<DecoderCase> kMachineTypeCases = {
    {"DropsTwoLeadingBytesOnVkt2",
     {kVkt2, 0, Hex("01 1A") + Chars("7X2Z")},
     VKT_INVENTORY_SUCCESS,
     {"7X2Z"},
     Framed(kMachineType, Reframed("7 X 2 Z ", "0x37 0x58 0x32 0x5a "))},
    {"ReadsTheSameSixBytesFromTheStartOnAnyOtherType",
     {kUnknown, 0, Hex("01 1A") + Chars("7X2Z")},
     VKT_INVENTORY_NO_DATA,
     Untouched(1),
     Framed(kMachineType, {{2, "[WARN]: VKT machine type is empty"}})},
    {"ReadsTheSameSixBytesFromTheStartOnTheFirstGeneration",
     {kFirst, 0, Hex("01 1A") + Chars("7X2Z")},
     VKT_INVENTORY_NO_DATA,
     Untouched(1),
     Framed(kMachineType, {{2, "[WARN]: VKT machine type is empty"}})},
    {"DumpsBeforeItChecksTheCompletionCodeOnVkt2",
     {kVkt2, 0xFF, Hex("01 02 41 00 80 FF")},
     VKT_INVENTORY_FAILED,
     Untouched(1),
     Framed(kMachineType, Reframed("A \0 \x80 \xFF "s, "0x41 0x0 0x80 0xff ") +
                              LogLines{{1, "Get vkt mt failed with error code:255"}})},
    {"HasNoDataWhenTheFourthByteIsAHyphen",
     {kFirst, 0, Chars("7X2-")},
     VKT_INVENTORY_NO_DATA,
     Untouched(1),
     Framed(kMachineType, {{2, "[WARN]: VKT machine type is empty"}})},
};
INSTANTIATE_TEST_SUITE_P(ParseMachineType, Decoder, Rows("ParseMachineType", kMachineTypeCases),
                         BehaviourOf);

const char* const kSerial = "ParseGetSerialNumber";

const std::vector<DecoderCase> kSerialNumberCases = {
    {"TrimsBlanksAroundTheNumberAndStopsAtNul",
     {kFirst, 0, Chars("  J30ABC12  ") + Hex("00 00 00")},
     VKT_INVENTORY_SUCCESS,
     {"J30ABC12"},
     Framed(kSerial)},
    {"KeepsBlanksWithinTheNumber",
     {kFirst, 0, Chars(" J30 ABC ")},
     VKT_INVENTORY_SUCCESS,
     {"J30 ABC"},
     Framed(kSerial)},
    {"IsEmptyWhenTheFirstByteIsNul",
     {kFirst, 0, Hex("00 41 42")},
     VKT_INVENTORY_SUCCESS,
     {""},
     Framed(kSerial)},
    {"IsEmptyWhenThereAreOnlyBlanks",
     {kFirst, 0, Chars("    ")},
     VKT_INVENTORY_SUCCESS,
     {""},
     Framed(kSerial)},
    {"StopsAtATabWhichIsNotPrintable",
     {kFirst, 0, Chars("J30\tABC")},
     VKT_INVENTORY_SUCCESS,
     {"J30"},
     Framed(kSerial)},
    {"TakesTheFirstAndLastPrintableCharacter",
     {kFirst, 0,
      Chars("!~\x7F"
            "A")},
     VKT_INVENTORY_SUCCESS,
     {"!~"},
     Framed(kSerial)},
    {"StopsAtTheFirstByteAboveAscii",
     {kFirst, 0, Hex("41 80 42")},
     VKT_INVENTORY_SUCCESS,
     {"A"},
     Framed(kSerial)},
};
INSTANTIATE_TEST_SUITE_P(ParseGetSerialNumber, Decoder,
                         Rows("ParseGetSerialNumber", kSerialNumberCases), BehaviourOf);

const char* const kFirmware = "ParseGetFirmwareVersion";

const std::vector<DecoderCase> kFirmwareVersionCases = {
    {"JoinsBuildNameMajorAndMinor",
     {kFirst, 0, Hex("01 0A AA BB CC") + Chars("ABC123")},
     VKT_INVENTORY_SUCCESS,
     {"ABC123-1.0a"},
     Framed(kFirmware)},
    {"BeginsWithTheHyphenWhenTheBuildNameIsNotPrintable",
     {kFirst, 0, Hex("1B 23 00 00 00 00")},
     VKT_INVENTORY_SUCCESS,
     {"-1b.23"},
     Framed(kFirmware)},
    {"EndsTheBuildNameAtTheFirstUnprintableByte",
     {kFirst, 0, Hex("00 00 00 00 00 42 31 00 58")},
     VKT_INVENTORY_SUCCESS,
     {"B1-0.00"},
     Framed(kFirmware)},
    {"KeepsBlanksInTheBuildName",
     {kFirst, 0, Hex("FF FF 00 00 00") + Chars(" B ")},
     VKT_INVENTORY_SUCCESS,
     {" B -ff.ff"},
     Framed(kFirmware)},
};
INSTANTIATE_TEST_SUITE_P(ParseGetFirmwareVersion, Decoder,
                         Rows("ParseGetFirmwareVersion", kFirmwareVersionCases), BehaviourOf);

const char* const kName = "ParseName";

const std::vector<DecoderCase> kNameCases = {
    {"EndsAtTheFirstUnprintableByte",
     {kFirst, 0,
      Chars("Chassis A\x01"
            "B")},
     VKT_INVENTORY_SUCCESS,
     {"Chassis A"},
     Framed(kName)},
    {"KeepsBlanksAround",
     {kUnknown, 0, Chars("  rack 7 ")},
     VKT_INVENTORY_SUCCESS,
     {"  rack 7 "},
     Framed(kName)},
    {"IsEmptyWhenTheFirstByteIsUnprintable",
     {kFirst, 0, Hex("7F 41")},
     VKT_INVENTORY_SUCCESS,
     {""},
     Framed(kName)},
};
INSTANTIATE_TEST_SUITE_P(ParseName, Decoder, Rows("ParseName", kNameCases), BehaviourOf);

/// Every byte that is no ASCII letter or digit, in each of the four places.
TEST(ParseMachineType, HasNoDataForAnyByteThatIsNoAsciiLetterOrDigit)
{
    const std::string allowed = "0123456789ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz";
    for (int byte = 0; byte <= 0xFF; ++byte) {
        for (std::size_t place = 0; place < 4; ++place) {
            Bytes response = Chars("AAAA");
            response[place] = static_cast<std::uint8_t>(byte);
            const bool good = allowed.find(static_cast<char>(byte)) != std::string::npos;
            const Outcome outcome = Decode("ParseMachineType", {kFirst, 0, response});
            EXPECT_EQ(outcome.result, good ? VKT_INVENTORY_SUCCESS : VKT_INVENTORY_NO_DATA)
                << "byte " << byte << " in place " << place;
        }
    }
}

}  // namespace
}  // namespace Tulvo::Tests
