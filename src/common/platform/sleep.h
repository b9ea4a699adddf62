// SPDX-License-Identifier: Apache-2.0
/// @file
/// The one way in which these libraries wait on purpose, so that a test can count the waits.
#ifndef COMMON_PLATFORM_SLEEP_H
#define COMMON_PLATFORM_SLEEP_H

#include <cstdint>

#include "common/platform/export.h"

namespace Tulvo {

/// Blocks the calling thread for at least `milliseconds`, also when a signal interrupts it.
VKT_EXPORT void Sleep(std::uint32_t milliseconds);

}  // namespace Tulvo

#endif
