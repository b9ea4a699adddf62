// SPDX-License-Identifier: Apache-2.0
/// @file
/// When a busy server wants to be asked again.
#ifndef MODULE_VKT_VKT_HTTPS_RETRY_AFTER_H
#define MODULE_VKT_VKT_HTTPS_RETRY_AFTER_H

#include <chrono>
#include <ctime>
#include <string>

namespace Tulvo::Https {

/// The pause that a `Retry-After` value, seconds or a date, asks for at the time `now`: 0.1 s to a
/// day; 0.5 s for a text that is neither.
std::chrono::milliseconds PauseFor(const std::string& retryAfter, std::time_t now);

}  // namespace Tulvo::Https

#endif
