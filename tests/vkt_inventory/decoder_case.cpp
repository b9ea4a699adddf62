// SPDX-License-Identifier: Apache-2.0
#include "tests/vkt_inventory/decoder_case.h"

#include <gmock/gmock.h>

namespace Tulvo::Tests {

TEST_P(Decoder, Handles)
{
    const auto& [routine, row] = GetParam();
    const Outcome outcome = Decode(routine, row.answer);
    EXPECT_EQ(outcome.result, row.result);
    EXPECT_EQ(outcome.fields, row.fields);
    EXPECT_EQ(log.Lines(), row.log);
    for (const auto& record : log.Records()) {
        EXPECT_THAT(record.file, ::testing::HasSubstr("vkt_inventory_parse_response"));
        EXPECT_GT(record.lineNumber, 0);
    }
}

}  // namespace Tulvo::Tests
