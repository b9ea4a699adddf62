// SPDX-License-Identifier: Apache-2.0
/// @file
/// Two queries meet a module that is still busy with itself: they ask it up to six times.
#ifndef MODULE_VKT_VKT_INVENTORY_IMPL_RETRIED_QUERY_H
#define MODULE_VKT_VKT_INVENTORY_IMPL_RETRIED_QUERY_H

#include <cstdint>
#include <ostream>

#include "common/platform/sleep.h"
#include "module/vkt/vkt_inventory/impl/answer.h"

namespace Tulvo {

/// How a try ended.
enum class Try
{
    kAnswered,    ///< No other follows.
    kUnanswered,  ///< A pause follows, also after the last.
    kNotCarried,  ///< The next follows at once.
};

/// @param tryOnce number of the try, from 1 -> Try.
template <class TryOnce>
void TrySixTimes(TryOnce tryOnce)
{
    constexpr int kTries = 6;
    constexpr std::uint32_t kPauseMilliseconds = 3000;
    for (int number = 1; number <= kTries; ++number) {
        const Try end = tryOnce(number);
        if (end == Try::kAnswered) {
            return;
        }
        if (end == Try::kUnanswered) {
            Sleep(kPauseMilliseconds);
        }
    }
}

/// Inserts the number of a try: "1 time", "2 times".
struct Times
{
    int number;
};

inline std::ostream& operator<<(std::ostream& stream, Times times)
{
    return stream << times.number << (times.number == 1 ? " time" : " times");
}

/// Whether the module told its status.
inline bool IsStatus(const Answer& answer)
{
    return answer.completionCode == 0 && answer.response.size() > 13;
}

/// Whether the module confirmed the selection of a supply.
inline bool IsConfirmation(const Answer& answer)
{
    return answer.completionCode == 0 && answer.response.size() == 1;
}

/// Whether a supply is selected after the last try. Any data will do here: a module that answers
/// more than the tries waited for has selected the supply all the same.
inline bool IsSelected(const Answer& answer)
{
    return answer.completionCode == 0 && !answer.response.empty();
}

}  // namespace Tulvo

#endif
