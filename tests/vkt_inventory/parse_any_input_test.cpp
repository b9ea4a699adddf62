// SPDX-License-Identifier: Apache-2.0
// Whatever a module answers, every decoder gives a result that it can be held to.
#include <gtest/gtest.h>

#include <array>
#include <string>
#include <vector>

#include "tests/decoders/decoders.h"
#include "tests/fakes/fake_log.h"

namespace Tulvo::Tests {
namespace {

constexpr std::size_t kLongest = 255;  // of an IPMI message

/// The first `length` bytes of an endless answer; `typical` is a good one of the same module.
struct Content
{
    const char* name;
    std::uint8_t (*byte)(std::size_t at, const Bytes& typical);
};

const std::vector<Content> kContents = {
    {"Zeros", [](std::size_t, const Bytes&) { return std::uint8_t{0}; }},
    {"AllBitsSet", [](std::size_t, const Bytes&) { return std::uint8_t{0xFF}; }},
    {"Letters", [](std::size_t, const Bytes&) { return std::uint8_t{'A'}; }},
    {"CountingBytes", [](std::size_t at, const Bytes&) { return static_cast<std::uint8_t>(at); }},
    {"MixedBytes",
     [](std::size_t at, const Bytes&) { return static_cast<std::uint8_t>(at * 37 + 11); }},
    {"ATypicalAnswerCutOrFollowedByZeros",
     [](std::size_t at, const Bytes& typical) {
         return at < typical.size() ? typical[at] : std::uint8_t{0};
     }},
    {"ATypicalAnswerCutOrRepeated",
     [](std::size_t at, const Bytes& typical) {
         return typical.empty() ? std::uint8_t{0} : typical[at % typical.size()];
     }},
};

/// A buffer of exactly that many bytes, so that a sanitizer sees a read of one more.
Bytes Fill(const Content& content, std::size_t length, const Bytes& typical)
{
    Bytes bytes(length);
    for (std::size_t at = 0; at < length; ++at) {
        bytes[at] = content.byte(at, typical);
    }
    EXPECT_EQ(bytes.capacity(), length);
    return bytes;
}

constexpr std::array kTypes = {VKT_TYPE_FIRST_GENERATION, VKT_TYPE_VKT2, VKT_TYPE_UNKNOWN,
                               static_cast<VKTIype>(77)};
constexpr std::array<std::uint8_t, 2> kCompletionCodes = {0, 0xC1};

/// Calls `check` for every length, completion code and module type, known or not.
template <class Check>
void ForEveryAnswer(const DecoderRow& decoder, const Content& content, const Check& check)
{
    for (const VKTIype type : kTypes) {
        const Answer& typical =
            type == VKT_TYPE_VKT2 ? decoder.answerOfVkt2 : decoder.answerOfFirstGeneration;
        for (const std::uint8_t completionCode : kCompletionCodes) {
            for (std::size_t length = 0; length <= kLongest; ++length) {
                check({type, completionCode, Fill(content, length, typical.response),
                       typical.number});
            }
        }
    }
}

std::string NameOfAnswer(const Answer& answer)
{
    return "type " + std::to_string(answer.vktType) + ", completion code " +
           std::to_string(answer.completionCode) + ", " + std::to_string(answer.response.size()) +
           " bytes";
}

class AnyInput : public ::testing::TestWithParam<DecoderRow>
{
protected:
    /// A dump must not read past the end either.
    Outcome DecodeWithTraces(const Answer& answer)
    {
        log.threshold = 4;
        log.Clear();
        return GetParam().decode(answer);
    }

    Outcome DecodeInSilence(const Answer& answer)
    {
        log.threshold = 0;
        return GetParam().decode(answer);
    }

    Fakes::FakeLog log;
};

TEST_P(AnyInput, EndsAsItsTypeCodeAndLengthSayTracedOrNot)
{
    for (const Content& content : kContents) {
        SCOPED_TRACE(content.name);
        ForEveryAnswer(GetParam(), content, [this](const Answer& answer) {
            const Outcome traced = DecodeWithTraces(answer);
            const Outcome silent = DecodeInSilence(answer);
            const Verdict verdict = GetParam().verdict(answer);
            EXPECT_EQ(traced.result, verdict.result) << NameOfAnswer(answer);
            EXPECT_EQ(silent.result, verdict.result) << NameOfAnswer(answer);
            EXPECT_EQ(traced.fields, silent.fields) << NameOfAnswer(answer);
            EXPECT_EQ(traced.fields != GetParam().untouched(answer), verdict.filled)
                << NameOfAnswer(answer);
        });
    }
}

INSTANTIATE_TEST_SUITE_P(Decoders, AnyInput, ::testing::ValuesIn(DecoderTable()),
                         [](const auto& row) { return std::string(row.param.routine); });

}  // namespace

/// Shows a row in a test's message.
void PrintTo(const DecoderRow& row, std::ostream* out)
{
    *out << row.routine;
}

}  // namespace Tulvo::Tests
