// SPDX-License-Identifier: Apache-2.0
#include "module/vkt/vkt_https/failure.h"

#include <algorithm>
#include <array>
#include <cstddef>

#include "common/text/printable.h"

namespace Tulvo::Https {
namespace {

constexpr std::size_t kLongestDetail = 200;

constexpr std::array kNames = {
    "VKT_HTTPS_SUCCESS",        "VKT_HTTPS_TLS_ERROR",      "VKT_HTTPS_AUTHENTICATION_FAILED",
    "VKT_HTTPS_TIMEOUT",        "VKT_HTTPS_HTTP_ERROR",     "VKT_HTTPS_MALFORMED_REPLY",
    "VKT_HTTPS_CONNECT_FAILED", "VKT_HTTPS_INTERNAL_ERROR", "VKT_HTTPS_NO_DATA",
};

bool HoldsAny(std::string_view text, const std::vector<std::string_view>& secrets)
{
    return std::any_of(secrets.begin(), secrets.end(), [text](std::string_view secret) {
        return !secret.empty() && text.find(secret) != std::string_view::npos;
    });
}

}  // namespace

std::string Describe(const Failure& failure, const std::vector<std::string_view>& secrets)
{
    std::string line = failure.what;
    if (!failure.detail.empty() && !HoldsAny(failure.detail, secrets)) {
        line += " (" + Text::PrintableAscii(failure.detail, kLongestDetail) + ")";
    }
    if (!failure.advice.empty()) {
        line += "; " + failure.advice;
    }
    return line;
}

Failure Interrupted()
{
    return {VKT_HTTPS_INTERNAL_ERROR, "interrupted; the program is ending"};
}

const char* NameOf(VKTHttpsErrorCode code)
{
    const auto index = static_cast<std::size_t>(code);
    return index < kNames.size() ? kNames[index] : "unknown result";
}

}  // namespace Tulvo::Https
