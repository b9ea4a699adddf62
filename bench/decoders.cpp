// SPDX-License-Identifier: Apache-2.0
#include "bench/decoders.h"

#include <array>

namespace Tulvo::Bench {

namespace {

struct LongText
{
    const char* routine;
    const char* ofFirstGeneration;
    const char* ofVkt2;
};

constexpr std::array kLongTexts = {
    LongText{"ParseGetSerialNumber", "J30ABC12-J30ABC12-J30ABC12  ",
             "..J30ABC12-J30ABC12-J30ABC12  "},
    LongText{"ParseGetFirmwareVersion", "12...ABC123-ABC123-ABC123", ".12...ABC123-ABC123-ABC123"},
    LongText{"ParseName", "Chassis A in the second row", "..Chassis A in the second row"},
};

Measurement WithLongText(const LongText& text)
{
    return {std::string(text.routine) + "Long",
            Tests::DecoderOf(text.routine).decodeAgain,
            {VKT_TYPE_FIRST_GENERATION, 0, Tests::Chars(text.ofFirstGeneration)},
            {VKT_TYPE_VKT2, 0, Tests::Chars(text.ofVkt2)},
            1};
}

std::vector<Measurement> MakeMeasurements()
{
    std::vector<Measurement> measurements;
    for (const Tests::DecoderRow& row : Tests::DecoderTable()) {
        measurements.push_back(
            {row.routine, row.decodeAgain, row.answerOfFirstGeneration, row.answerOfVkt2});
    }
    for (const LongText& text : kLongTexts) {
        measurements.push_back(WithLongText(text));
    }
    return measurements;
}

}  // namespace

const std::vector<Measurement>& Measurements()
{
    static const std::vector<Measurement> measurements = MakeMeasurements();
    return measurements;
}

}  // namespace Tulvo::Bench
