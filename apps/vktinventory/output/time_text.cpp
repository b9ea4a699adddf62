// SPDX-License-Identifier: Apache-2.0
#include "apps/vktinventory/output/time_text.h"

#include <array>
#include <ctime>

namespace Tulvo::Cli {

std::string TimeText(std::chrono::system_clock::time_point time)
{
    const std::time_t seconds = std::chrono::system_clock::to_time_t(time);
    std::tm fields = {};
    gmtime_r(&seconds, &fields);
    std::array<char, sizeof "2026-11-21T19:07:03Z" + 16> text{};
    return {text.data(), std::strftime(text.data(), text.size(), "%Y-%m-%dT%H:%M:%SZ", &fields)};
}

}  // namespace Tulvo::Cli
