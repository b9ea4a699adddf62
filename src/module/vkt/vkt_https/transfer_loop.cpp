// SPDX-License-Identifier: Apache-2.0
#include "module/vkt/vkt_https/transfer_loop.h"

#include <algorithm>
#include <chrono>
#include <stop_token>

namespace Tulvo::Https {
namespace {

// For a process without the descriptors by which libcurl is woken.
constexpr std::chrono::milliseconds kLongestSleep{200};

int SleepUntil(CallLimit::Clock::time_point until)
{
    const auto left = std::chrono::ceil<std::chrono::milliseconds>(until - CallLimit::Clock::now());
    return static_cast<int>(std::clamp(left, std::chrono::milliseconds(0), kLongestSleep).count());
}

/// The result of the transfer that has just ended.
CURLcode ResultIn(CURLM* multi)
{
    int more = 0;
    CURLcode result = CURLE_FAILED_INIT;
    while (const CURLMsg* const message = curl_multi_info_read(multi, &more)) {
        if (message->msg == CURLMSG_DONE) {
            result = message->data.result;
        }
    }
    return result;
}

}  // namespace

CURLcode TransferLoop::Start(CURL* handle)
{
    if (!multi_) {
        multi_.reset(curl_multi_init());
    }
    Drop(handle);
    return multi_ && curl_multi_add_handle(multi_.get(), handle) == CURLM_OK ? CURLE_OK
                                                                             : CURLE_FAILED_INIT;
}

std::optional<CURLcode> TransferLoop::Continue(const CallLimit& limit)
{
    CURLM* const multi = multi_.get();
    const std::stop_callback wake(limit.stop, [multi] { curl_multi_wakeup(multi); });
    int running = 1;
    while (!limit.Over()) {
        if (curl_multi_perform(multi, &running) != CURLM_OK) {
            return CURLE_FAILED_INIT;
        }
        if (running == 0) {
            return ResultIn(multi);
        }
        curl_multi_poll(multi, nullptr, 0, SleepUntil(limit.until), nullptr);
    }
    return std::nullopt;
}

void TransferLoop::Drop(CURL* handle)
{
    if (multi_) {
        curl_multi_remove_handle(multi_.get(), handle);
    }
}

}  // namespace Tulvo::Https
