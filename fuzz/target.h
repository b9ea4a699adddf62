// SPDX-License-Identifier: Apache-2.0
/// @file
/// What is given hostile bytes, as one table: libFuzzer, the replay test and scripts/fuzz take
/// their targets from here.
#ifndef FUZZ_TARGET_H
#define FUZZ_TARGET_H

#include <cstddef>
#include <cstdint>
#include <functional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace Tulvo::Fuzz {

using Bytes = std::vector<std::uint8_t>;
using Input = std::span<const std::uint8_t>;

struct Target
{
    std::string name;
    std::size_t longestInput;
    /// Takes any input. A broken promise ends the program, as a sanitizer's finding does.
    std::function<void(Input input)> run;
    /// Inputs to begin with: what a good peer or user would send.
    std::function<std::vector<Bytes>()> seeds;
};

const std::vector<Target>& Targets();

/// Null when there is none of that name.
const Target* FindTarget(std::string_view name);

}  // namespace Tulvo::Fuzz

#endif
