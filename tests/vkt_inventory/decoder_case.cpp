// SPDX-License-Identifier: Apache-2.0
#include "tests/vkt_inventory/decoder_case.h"

#include "tests/vkt_inventory/statements.h"

namespace Tulvo::Tests {

TEST_P(Decoder, Handles)
{
    const auto& [routine, row] = GetParam();
    const Outcome outcome = Decode(routine, row.answer);
    EXPECT_EQ(outcome.result, row.result);
    EXPECT_EQ(outcome.fields, row.fields);
    EXPECT_EQ(log.Lines(), row.log);
    ExpectStatementsIn("vkt_inventory_parse_response", "vkt_inventory_parse_response", log);
}

}  // namespace Tulvo::Tests
