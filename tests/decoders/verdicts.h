// SPDX-License-Identifier: Apache-2.0
/// @file
/// How an answer has to end, whatever its bytes: that depends on the module's type, the completion
/// code and the length alone, but for the machine type, which must be letters and digits.
#ifndef TESTS_DECODERS_VERDICTS_H
#define TESTS_DECODERS_VERDICTS_H

#include <array>
#include <cstddef>

#include "module/vkt/vkt_inventory/vkt_inventory.h"
#include "tests/decoders/answer.h"

namespace Tulvo::Tests {

struct Verdict
{
    VKTInventoryErrorCode result;
    bool filled;  ///< Whether the output is written; else it is left as it was.
};

Verdict FilledFrom(const Answer& answer, std::size_t minimum);

/// For a decoder that needs `onVkt2` bytes of a VKT2 and `elsewhere` of any other module.
template <std::size_t onVkt2, std::size_t elsewhere>
Verdict ByLength(const Answer& answer)
{
    constexpr std::array<std::size_t, 2> kNeeded{elsewhere, onVkt2};
    return FilledFrom(answer, kNeeded[answer.vktType == VKT_TYPE_VKT2 ? 1 : 0]);
}

Verdict OfMachineType(const Answer& answer);
Verdict OfPSUManufacture(const Answer& answer);
Verdict OfNodeStatus(const Answer& answer);
Verdict OfVKTStatus(const Answer& answer);
Verdict OfNodeCount(const Answer& answer);

}  // namespace Tulvo::Tests

#endif
