// SPDX-License-Identifier: Apache-2.0
/// @file
/// Two queries meet a module that is still busy with itself: they ask it up to six times.
#ifndef MODULE_VKT_VKT_INVENTORY_IMPL_RETRIED_QUERY_H
#define MODULE_VKT_VKT_INVENTORY_IMPL_RETRIED_QUERY_H

#include <cstdint>

#include "common/platform/sleep.h"
#include "module/vkt/vkt_inventory/impl/answer.h"
#include "module/vkt/vkt_inventory/impl/log_statement.h"

namespace Tulvo {

struct RetriedQuery
{
    const char* announcement;  ///< Record before each try; the number of the try follows.
    const char* success;       ///< Record of the answer that ends the tries.
    bool (*isAnswered)(const Answer& answer);
};

constexpr RetriedQuery kVktStatusQuery{
    "Try to get VKT status, retry ", "Succeeded get VKT Status",
    [](const Answer& answer) { return answer.completionCode == 0 && answer.response.size() > 13; }};

// The announcement speaks of the status; it stays, since readers of logs search for it.
constexpr RetriedQuery kSelectPsuQuery{
    "Try to get PSU status, start retry ", "Succeeded select PSU ",
    [](const Answer& answer) { return answer.completionCode == 0 && answer.response.size() == 1; }};

/// What follows a try that did not reach the module.
enum class AfterTransportFailure
{
    PAUSE,
    RETRY_AT_ONCE,
};

/// Asks until the query is answered, six times at most, with a pause after every try that was not
/// answered, the last included. One answer serves all tries: what a try does not fill stays as the
/// try before left it.
/// @param exchange fills the answer; its result is not SUCCESS when it did not reach the module.
template <class Exchange>
Answer AskRepeatedly(const RetriedQuery& query, AfterTransportFailure afterFailure,
                     const LogSite& site, Exchange exchange)
{
    constexpr int kTries = 6;
    constexpr std::uint32_t kPauseMilliseconds = 3000;
    Answer answer;
    for (int count = 1; count <= kTries; ++count) {
        VKT_LOG_AT(kLogNotice, site)
            << query.announcement << count << (count == 1 ? " time" : " times");
        const bool exchanged = exchange(answer) == VKT_INVENTORY_SUCCESS;
        if (!exchanged && afterFailure == AfterTransportFailure::RETRY_AT_ONCE) {
            continue;
        }
        if (query.isAnswered(answer)) {
            VKT_LOG_AT(kLogNotice, site) << query.success;
            break;
        }
        Sleep(kPauseMilliseconds);
    }
    return answer;
}

/// What the last answer says about a selection. Any data will do here: a module that answers more
/// than the tries waited for has selected the supply all the same.
inline VKTInventoryErrorCode SelectionResult(const Answer& answer, const LogSite& site)
{
    if (!answer.response.empty() && answer.completionCode == 0) {
        return VKT_INVENTORY_SUCCESS;
    }
    VKT_LOG_AT(kLogWarning, site) << "response is empty or completionCode: "
                                  << static_cast<char>(answer.completionCode);
    return VKT_INVENTORY_NO_DATA;
}

}  // namespace Tulvo

#endif
