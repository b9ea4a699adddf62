// SPDX-License-Identifier: Apache-2.0
#include "common/log/log.h"
#include "fuzz/input_reader.h"
#include "fuzz/played_answers.h"
#include "fuzz/require.h"
#include "fuzz/targets/targets.h"

namespace Tulvo::Fuzz {

namespace {

constexpr int kSilent = 0;
constexpr int kTraces = 4;

/// The known types and two that no module has.
constexpr VKTIype kTypes[] = {VKT_TYPE_FIRST_GENERATION, VKT_TYPE_VKT2, VKT_TYPE_UNKNOWN,
                              static_cast<VKTIype>(-1), static_cast<VKTIype>(77)};

Tests::Outcome DecodeAt(int logLevel, const Tests::DecoderRow& decoder, const Tests::Answer& answer)
{
    SetLogLevel(logLevel);
    return decoder.decode(answer);
}

bool Same(const Tests::Outcome& left, const Tests::Outcome& right)
{
    return left.result == right.result && left.fields == right.fields;
}

}  // namespace

void RunDecoder(const Tests::DecoderRow& decoder, Input input)
{
    InputReader reader(input);
    Tests::Answer answer{};
    answer.vktType = kTypes[reader.Byte() % std::size(kTypes)];
    answer.completionCode = reader.Byte();
    answer.number = reader.Byte();
    answer.response = reader.Rest();

    SetLogSink([](const LogRecord&) {});
    const Tests::Outcome silent = DecodeAt(kSilent, decoder, answer);
    const Tests::Outcome traced = DecodeAt(kTraces, decoder, answer);
    const Tests::Verdict verdict = decoder.verdict(answer);
    Require(Same(silent, traced), "an answer decodes to the same, traced or not");
    Require(silent.result == verdict.result, "type, code and length decide the result");
    Require(verdict.filled || silent.fields == decoder.untouched(answer),
            "an output that is not filled is left alone");
}

// The input is a byte for the type, one for the completion code, one for the number that some
// routines take, and the response. Every decoder gets the answers to all requests.
std::vector<Bytes> DecoderSeeds()
{
    constexpr std::uint8_t kNumber = 2;
    std::vector<Bytes> seeds;
    for (const PlayedAnswer& played : PlayedAnswers()) {
        const auto type = static_cast<std::uint8_t>(played.vktType);
        seeds.push_back(Bytes{type, played.answer.completionCode, kNumber} + played.answer.bytes);
    }
    return seeds;
}

}  // namespace Tulvo::Fuzz
