// SPDX-License-Identifier: Apache-2.0
#include "tests/decoders/verdicts.h"

#include <algorithm>
#include <string_view>

namespace Tulvo::Tests {

namespace {

constexpr Verdict kFilled{VKT_INVENTORY_SUCCESS, true};
constexpr Verdict kRefused{VKT_INVENTORY_FAILED, false};
constexpr Verdict kNothingThere{VKT_INVENTORY_NO_DATA, false};

bool IsVkt2(const Answer& answer)
{
    return answer.vktType == VKT_TYPE_VKT2;
}

bool IsLetterOrDigit(std::uint8_t byte)
{
    constexpr std::string_view kAll =
        "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789";
    return kAll.find(static_cast<char>(byte)) != std::string_view::npos;
}

}  // namespace

Verdict FilledFrom(const Answer& answer, std::size_t minimum)
{
    const bool good = answer.completionCode == 0 && answer.response.size() >= minimum;
    return good ? kFilled : kRefused;
}

Verdict OfMachineType(const Answer& answer)
{
    const Verdict verdict = ByLength<6, 4>(answer);
    if (!verdict.filled) {
        return verdict;
    }
    const auto first = answer.response.begin() + (IsVkt2(answer) ? 2 : 0);
    return std::all_of(first, first + 4, IsLetterOrDigit) ? kFilled : kNothingThere;
}

Verdict OfPSUManufacture(const Answer& answer)
{
    if (answer.completionCode != 0 || answer.response.size() < 5) {
        return {VKT_INVENTORY_SUCCESS, false};
    }
    const bool known = answer.vktType == VKT_TYPE_FIRST_GENERATION || IsVkt2(answer);
    return known ? kFilled : kNothingThere;
}

Verdict OfNodeStatus(const Answer& answer)
{
    const std::size_t length = answer.response.size();
    const bool fits = length == 4 || (length == 5 && IsVkt2(answer));
    return fits ? FilledFrom(answer, 0) : kRefused;
}

Verdict OfVKTStatus(const Answer& answer)
{
    const bool good = answer.completionCode == 0 && !answer.response.empty();
    return {good ? VKT_INVENTORY_SUCCESS : VKT_INVENTORY_NO_DATA, answer.response.size() >= 14};
}

Verdict OfNodeCount(const Answer&)
{
    return kFilled;
}

}  // namespace Tulvo::Tests
