// SPDX-License-Identifier: Apache-2.0
/// @file
/// Every decoder with a typical answer of each generation of module.
#ifndef BENCH_DECODERS_H
#define BENCH_DECODERS_H

#include <cstdint>
#include <string>
#include <vector>

#include "module/vkt/vkt_inventory/impl/vkt_inventory_parse_response.h"

namespace Tulvo::Bench {

using Bytes = std::vector<std::uint8_t>;

/// Decodes an answer with completion code 0 into an output that is kept from call to call, as a
/// caller that asks again and again would keep it.
using Decode = VKTInventoryErrorCode (*)(const VKTInventoryParseResponse& decoder,
                                         const Bytes& response);

struct Decoder
{
    const char* name;
    Decode decode;
    Bytes answerOfFirstGeneration;
    Bytes answerOfVkt2;
    /// Returned texts of more than 15 characters: a shorter one fits into the string itself.
    std::uint64_t longTexts = 0;
};

const std::vector<Decoder>& Decoders();

}  // namespace Tulvo::Bench

#endif
