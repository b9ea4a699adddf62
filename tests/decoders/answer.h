// SPDX-License-Identifier: Apache-2.0
/// @file
/// One answer of the module as a decoder gets it.
#ifndef TESTS_DECODERS_ANSWER_H
#define TESTS_DECODERS_ANSWER_H

#include <cstdint>

#include "module/vkt/vkt_info/vkt_info.h"
#include "tests/vkt_inventory/bytes.h"

namespace Tulvo::Tests {

struct Answer
{
    VKTIype vktType;
    std::uint8_t completionCode;
    Bytes response;
    /// What some routines take beside the answer: the slot of ParsePSUFanSpeed, the slot count of
    /// ParsePSUStatus, the platform id of ParseNodeCount.
    std::uint64_t number = 1;
};

}  // namespace Tulvo::Tests

#endif
