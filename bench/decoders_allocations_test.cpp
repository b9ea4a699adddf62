// SPDX-License-Identifier: Apache-2.0
// A decode is small work: without traces it allocates what the texts that it returns need.
#include <gtest/gtest.h>

#include "bench/decoders.h"
#include "common/log/log.h"
#include "tests/support/allocations.h"

namespace Tulvo::Bench {
namespace {

constexpr int kWarnings = 2;
constexpr int kTraces = 4;

class Allocations : public ::testing::TestWithParam<Measurement>
{
protected:
    /// What a decode allocates once its output has its size.
    static std::uint64_t Count(const Tests::Answer& answer)
    {
        const auto decode = [&] { EXPECT_EQ(GetParam().decode(answer), VKT_INVENTORY_SUCCESS); };
        decode();
        return AllocationsOf(decode);
    }

    void TearDown() override { SetLogSink({}); }
};

TEST_P(Allocations, AreThoseOfReturnedTextsOnTheFirstGeneration)
{
    SetLogLevel(kWarnings);
    EXPECT_LE(Count(GetParam().answerOfFirstGeneration), GetParam().longTexts);
}

TEST_P(Allocations, AreThoseOfReturnedTextsOnVkt2)
{
    SetLogLevel(kWarnings);
    EXPECT_LE(Count(GetParam().answerOfVkt2), GetParam().longTexts);
}

/// The counter counts: a record that is written costs.
TEST_P(Allocations, AreMoreWithTraces)
{
    SetLogSink([](const LogRecord&) {});
    SetLogLevel(kTraces);
    EXPECT_GT(Count(GetParam().answerOfVkt2), GetParam().longTexts);
}

INSTANTIATE_TEST_SUITE_P(Decoders, Allocations, ::testing::ValuesIn(Measurements()),
                         [](const auto& row) { return row.param.name; });

}  // namespace

/// Shows a row in a test's message.
void PrintTo(const Measurement& row, std::ostream* out)
{
    *out << row.name;
}

}  // namespace Tulvo::Bench
