// SPDX-License-Identifier: Apache-2.0
// A decode is small work: without traces it allocates what the texts that it returns need.
#include <gtest/gtest.h>

#include "bench/allocations.h"
#include "bench/decoders.h"
#include "common/log/log.h"

namespace Tulvo::Bench {
namespace {

constexpr int kWarnings = 2;
constexpr int kTraces = 4;

class Allocations : public ::testing::TestWithParam<Decoder>
{
protected:
    /// What a decode allocates once its output has its size.
    static std::uint64_t Count(VKTIype type)
    {
        VKTInventoryParseResponse decoder;
        decoder.vktType = type;
        const Bytes& response =
            type == VKT_TYPE_VKT2 ? GetParam().answerOfVkt2 : GetParam().answerOfFirstGeneration;
        const auto decode = [&] {
            EXPECT_EQ(GetParam().decode(decoder, response), VKT_INVENTORY_SUCCESS);
        };
        decode();
        return AllocationsOf(decode);
    }

    void TearDown() override { SetLogSink({}); }
};

TEST_P(Allocations, AreThoseOfReturnedTextsOnTheFirstGeneration)
{
    SetLogLevel(kWarnings);
    EXPECT_LE(Count(VKT_TYPE_FIRST_GENERATION), GetParam().longTexts);
}

TEST_P(Allocations, AreThoseOfReturnedTextsOnVkt2)
{
    SetLogLevel(kWarnings);
    EXPECT_LE(Count(VKT_TYPE_VKT2), GetParam().longTexts);
}

/// The counter counts: a record that is written costs.
TEST_P(Allocations, AreMoreWithTraces)
{
    SetLogSink([](const LogRecord&) {});
    SetLogLevel(kTraces);
    EXPECT_GT(Count(VKT_TYPE_VKT2), GetParam().longTexts);
}

INSTANTIATE_TEST_SUITE_P(Decoders, Allocations, ::testing::ValuesIn(Decoders()),
                         [](const auto& row) { return std::string(row.param.name); });

}  // namespace

/// Shows a row in a test's message.
void PrintTo(const Decoder& row, std::ostream* out)
{
    *out << row.name;
}

}  // namespace Tulvo::Bench
