// SPDX-License-Identifier: Apache-2.0
// How each decoder takes length, completion code and leading bytes, whatever the answer says: one
// generator over a table of frames. What the bytes mean stands in the tests of each decoder.
#include <array>
#include <cstdio>
#include <utility>

#include "tests/vkt_inventory/decoder_case.h"
#include "tests/vkt_inventory/statements.h"

namespace Tulvo::Tests {
namespace {

struct Frame
{
    const char* routine;
    const char* failure;  ///< Record of a failure, before the completion code; null writes none.
    bool tracesExit;
    Bytes answer;  ///< The shortest good one.
    Fields fields;
    LogLines trace = {};  ///< What decoding it writes.
    Bytes leading = {};   ///< What a VKT2 puts before it; dropped, and the rest is dumped, always.
    std::vector<VKTIype> types = {kFirst, kUnknown};
};

const char* const kPowerFailure = "Get vkt chassis power consumption failed with error code:";
const char* const kCapFailure = "Get vkt chassis power cap failed with error code:";
const LogLines kPowerTrace = {{4, "Min:300,Avg:400,Max:500"}};
const std::vector<VKTIype> kVkt2Only = {kVkt2};
const std::vector<VKTIype> kAllTypes = {kFirst, kVkt2, kUnknown};

/// Answers before which a VKT2 puts something.
const std::vector<Frame> kFramesWithLeadingBytes = {
    {"ParseMachineType",
     "Get vkt mt failed with error code:",
     true,
     Chars("7X2Z"),
     {"7X2Z"},
     {},
     Hex("01 1A")},
    {"ParseGetSerialNumber",
     "Get vkt sn failed with error code:",
     true,
     Chars("J"),
     {"J"},
     {},
     Hex("00 07")},
    {"ParseGetFirmwareVersion",
     "Get vkt version failed with error code:",
     true,
     Hex("01 0A 00 80 FF 41"),
     {"A-1.0a"},
     {},
     Hex("99")},
    {"ParseName", "Get vkt name failed with error code:", true, Chars("C"), {"C"}, {}, Chars("xy")},
    {"ParseChassisPowerConsumption",
     kPowerFailure,
     true,
     Hex("2C 01 90 01 F4 01"),
     {"300", "400", "500"},
     kPowerTrace,
     Hex("77")},
    {"ParseChassisPowerCap",
     kCapFailure,
     true,
     Hex("01 00 02 00 03 00 04 00 00 01"),
     {"1", "2", "3", "4", "256"},
     {{4, "Min:1,Max:2,ProtectiveCap:3,UserCap:4,ThermalCap:256"}},
     Hex("FF")},
};

/// Answers that have none, or not on every module.
const std::vector<Frame> kOtherFrames = {
    {"ParseNodePowerConsumption",
     kPowerFailure,
     false,
     Hex("2C 01 90 01 F4 01"),
     {"300", "400", "500"},
     kPowerTrace},
    {"ParsePSUFanSpeed",
     kCapFailure,
     true,
     Hex("10 27 05 01"),
     {"PSU1", "10000", "5", kBefore, kBefore, "Abnormal"},
     {{4, "PSU:PSU1,Speed:10000,Pat:5,Status:Abnormal"}}},
    {"ParsePSUFanSpeed",
     "Get vkt2 chassis power cap failed with error code:",
     true,
     Hex("00 E8 03 02 00 00 00 02"),
     {"PSU1", "1000", "2", "N/A", "N/A", "Normal"},
     {{4, "PSU:PSU1,Speed-A:1000,Pat-A:2,Speed-B:0,Pat-B:0,Status:Normal"}},
     {},
     kVkt2Only},
    {"ParsePSUVersion",
     "Get psu firmware version failed with error code:",
     false,
     Hex("03 01"),
     {"1.03"},
     {},
     {},
     kAllTypes},
    {"ParsePSUPosition",
     "Get psu position id failed with error code:",
     false,
     Hex("01 0A"),
     {"10a"},
     {},
     {},
     kAllTypes},
};

/// Answers of which surplus bytes are not ignored, or are taken for leading ones.
const std::vector<Frame> kExactFrames = {
    {"ParseNodePowerConsumption",
     kPowerFailure,
     false,
     Hex("2C 01 90 01 F4 01"),
     {"300", "400", "500"},
     kPowerTrace,
     {},
     kVkt2Only},
    {"ParseNodeStatus",
     nullptr,
     false,
     Hex("80 02 FF 01"),
     {"Power ON", "Full", "N/A", "1"},
     {},
     {},
     kAllTypes},
};

/// An answer with leading bytes, as a first-generation module and as a VKT2 send it.
std::vector<Frame> OpenFrames()
{
    std::vector<Frame> frames = kOtherFrames;
    for (Frame frame : kFramesWithLeadingBytes) {
        const Bytes leading = std::exchange(frame.leading, {});
        frames.push_back(frame);
        frame.leading = leading;
        frame.answer = leading + frame.answer;
        frame.types = kVkt2Only;
        frames.push_back(frame);
    }
    return frames;
}

std::vector<Frame> AllFrames()
{
    std::vector<Frame> frames = OpenFrames();
    frames.insert(frames.end(), kExactFrames.begin(), kExactFrames.end());
    return frames;
}

std::string NameOfFrame(const ::testing::TestParamInfo<Frame>& row)
{
    return std::string(row.param.routine) + (row.param.types == kVkt2Only ? "OfVkt2" : "");
}

/// The records of a VKT2's answer without its leading bytes.
LogLines DumpsOf(const Bytes& response, std::size_t leading)
{
    std::string characters;
    std::string hexadecimal;
    for (std::size_t at = leading; at < response.size(); ++at) {
        characters += {static_cast<char>(response[at]), ' '};
        std::array<char, 8> text{};
        (void)std::snprintf(text.data(), text.size(), "0x%x ", unsigned{response[at]});
        hexadecimal += text.data();
    }
    return Reframed(characters, hexadecimal);
}

class Framing : public ::testing::TestWithParam<Frame>
{
protected:
    const Frame& frame = GetParam();

    /// What the routine writes of an answer, around `inner`.
    LogLines Log(const Bytes& response, const LogLines& inner) const
    {
        const LogLines all =
            (frame.leading.empty() ? LogLines{} : DumpsOf(response, frame.leading.size())) + inner;
        return frame.tracesExit ? Framed(frame.routine, all) : Entered(frame.routine, all);
    }

    void ExpectGood(const Bytes& response)
    {
        for (const VKTIype type : frame.types) {
            Fakes::FakeLog log;
            const Outcome outcome = Decode(frame.routine, {type, 0, response});
            EXPECT_EQ(outcome.result, VKT_INVENTORY_SUCCESS) << type;
            EXPECT_EQ(outcome.fields, frame.fields) << type;
            EXPECT_EQ(log.Lines(), Log(response, frame.trace)) << type;
        }
    }

    void ExpectFailure(std::uint8_t completionCode, const Bytes& response)
    {
        for (const VKTIype type : frame.types) {
            Fakes::FakeLog log;
            const Answer answer{type, completionCode, response};
            const Outcome outcome = Decode(frame.routine, answer);
            EXPECT_EQ(outcome.result, VKT_INVENTORY_FAILED) << type;
            EXPECT_EQ(outcome.fields, DecoderOf(frame.routine).untouched(answer)) << type;
            LogLines failure;
            if (frame.failure != nullptr) {
                failure = {{1, frame.failure + std::to_string(completionCode)}};
            }
            EXPECT_EQ(log.Lines(), Log(response, failure)) << type;
            const char* const decoder = "vkt_inventory_parse_response";
            ExpectStatementsIn(decoder, decoder, log);
        }
    }
};

TEST_P(Framing, TakesTheShortestAnswer)
{
    ExpectGood(frame.answer);
}

TEST_P(Framing, FailsOnEveryShorterAnswerAndLeavesTheOutputAlone)
{
    for (std::size_t length = 0; length < frame.answer.size(); ++length) {
        SCOPED_TRACE(length);
        const auto end = frame.answer.begin() + static_cast<std::ptrdiff_t>(length);
        ExpectFailure(0, {frame.answer.begin(), end});
    }
}

TEST_P(Framing, FailsOnAnotherCompletionCodeEvenWithGoodBytes)
{
    for (const std::uint8_t completionCode : Hex("01 C1 D4 FF")) {
        ExpectFailure(completionCode, frame.answer);
        ExpectFailure(completionCode, {});
    }
}

INSTANTIATE_TEST_SUITE_P(Of, Framing, ::testing::ValuesIn(AllFrames()), NameOfFrame);

using OpenFraming = Framing;

TEST_P(OpenFraming, IgnoresSurplusBytes)
{
    ExpectGood(frame.answer + Hex("00"));
    ExpectGood(frame.answer + Hex("00 FF 5A 01"));
}

TEST_P(OpenFraming, IgnoresWhatTheLeadingBytesSay)
{
    Bytes answer = frame.answer;
    for (std::size_t at = 0; at < frame.leading.size(); ++at) {
        answer[at] = 0xFF;
    }
    ExpectGood(answer);
}

INSTANTIATE_TEST_SUITE_P(Of, OpenFraming, ::testing::ValuesIn(OpenFrames()), NameOfFrame);

}  // namespace
}  // namespace Tulvo::Tests
