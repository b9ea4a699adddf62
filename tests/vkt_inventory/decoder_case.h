// SPDX-License-Identifier: Apache-2.0
/// @file
/// One answer of the module and all that a decoder makes of it, as a row of a table.
#ifndef TESTS_VKT_INVENTORY_DECODER_CASE_H
#define TESTS_VKT_INVENTORY_DECODER_CASE_H

#include <gtest/gtest.h>

#include <ostream>
#include <utility>

#include "tests/decoders/decoders.h"
#include "tests/vkt_inventory/log_lines.h"

namespace Tulvo::Tests {

inline constexpr VKTIype kFirst = VKT_TYPE_FIRST_GENERATION;
inline constexpr VKTIype kVkt2 = VKT_TYPE_VKT2;
inline constexpr VKTIype kUnknown = VKT_TYPE_UNKNOWN;

struct DecoderCase
{
    const char* behaviour;  ///< Names the test.
    Answer answer;
    VKTInventoryErrorCode result;
    Fields fields;
    LogLines log;
};

inline void PrintTo(const DecoderCase& row, std::ostream* out)
{
    *out << row.behaviour;
}

class Decoder : public ::testing::TestWithParam<std::pair<const char*, DecoderCase>>
{
protected:
    Fakes::FakeLog log;
};

/// The table of one decoder; every row becomes a test.
inline auto Rows(const char* routine, const std::vector<DecoderCase>& cases)
{
    std::vector<Decoder::ParamType> rows;
    rows.reserve(cases.size());
    for (const DecoderCase& row : cases) {
        rows.emplace_back(routine, row);
    }
    return ::testing::ValuesIn(rows);
}

inline std::string BehaviourOf(const ::testing::TestParamInfo<Decoder::ParamType>& row)
{
    return row.param.second.behaviour;
}

}  // namespace Tulvo::Tests

#endif
