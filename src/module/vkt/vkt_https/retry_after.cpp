// SPDX-License-Identifier: Apache-2.0
#include "module/vkt/vkt_https/retry_after.h"

#include <curl/curl.h>

#include <algorithm>
#include <cstdint>

namespace Tulvo::Https {
namespace {

using namespace std::chrono_literals;
using std::chrono::milliseconds;

constexpr milliseconds kUntold = 500ms;
constexpr milliseconds kShortest = 100ms;  // A server that says 0 is not to be asked in a circle.
constexpr milliseconds kLongest = 24h;
constexpr std::size_t kMostDigits = 9;

}  // namespace

milliseconds PauseFor(const std::string& retryAfter, std::time_t now)
{
    if (retryAfter.empty()) {
        return kUntold;
    }
    if (retryAfter.find_first_not_of("0123456789") == std::string::npos) {
        const bool endless = retryAfter.size() > kMostDigits;
        const milliseconds told = endless ? kLongest : std::chrono::seconds(std::stol(retryAfter));
        return std::clamp(told, kShortest, kLongest);
    }
    const std::time_t date = curl_getdate(retryAfter.c_str(), nullptr);
    if (date < 0) {
        return kUntold;
    }
    const std::int64_t left = std::int64_t{date} - std::int64_t{now};
    return std::clamp<milliseconds>(std::chrono::seconds(std::clamp<std::int64_t>(left, 0, 86'400)),
                                    kShortest, kLongest);
}

}  // namespace Tulvo::Https
