// SPDX-License-Identifier: Apache-2.0
/// @file
/// Every routine of the decoder as a row of one table: what tests, benchmarks and fuzzing know of a
/// decoder stands here and nowhere else.
#ifndef TESTS_DECODERS_DECODERS_H
#define TESTS_DECODERS_DECODERS_H

#include <string_view>
#include <vector>

#include "tests/decoders/answer.h"
#include "tests/decoders/verdicts.h"
#include "tests/vkt_inventory/fields.h"

namespace Tulvo::Tests {

struct DecoderRow
{
    const char* routine;
    /// Decodes into an output that holds the values from before.
    Outcome (*decode)(const Answer& answer);
    /// Decodes into an output that is kept from call to call, as a caller that asks again and
    /// again would keep it.
    VKTInventoryErrorCode (*decodeAgain)(const Answer& answer);
    /// The output as the decoder has to leave it when it fills none.
    Fields (*untouched)(const Answer& answer);
    Verdict (*verdict)(const Answer& answer);
    /// Typical answers.
    Answer answerOfFirstGeneration;
    Answer answerOfVkt2;
};

const std::vector<DecoderRow>& DecoderTable();

/// @throws std::out_of_range when the table lacks the routine.
const DecoderRow& DecoderOf(std::string_view routine);

inline Outcome Decode(std::string_view routine, const Answer& answer)
{
    return DecoderOf(routine).decode(answer);
}

}  // namespace Tulvo::Tests

#endif
