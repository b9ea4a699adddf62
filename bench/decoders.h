// SPDX-License-Identifier: Apache-2.0
/// @file
/// What is measured: every decoder with a typical answer of each generation of module, and those
/// that return texts with a long one, too.
#ifndef BENCH_DECODERS_H
#define BENCH_DECODERS_H

#include <cstdint>
#include <string>
#include <vector>

#include "tests/decoders/decoders.h"

namespace Tulvo::Bench {

struct Measurement
{
    std::string name;
    VKTInventoryErrorCode (*decode)(const Tests::Answer& answer);
    Tests::Answer answerOfFirstGeneration;
    Tests::Answer answerOfVkt2;
    /// Returned texts of more than 15 characters: a shorter one fits into the string itself.
    std::uint64_t longTexts = 0;
};

const std::vector<Measurement>& Measurements();

}  // namespace Tulvo::Bench

#endif
