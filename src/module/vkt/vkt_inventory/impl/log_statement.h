// SPDX-License-Identifier: Apache-2.0
/// @file
/// Log levels by name, and the statement that writes a record.
#ifndef MODULE_VKT_VKT_INVENTORY_IMPL_LOG_STATEMENT_H
#define MODULE_VKT_VKT_INVENTORY_IMPL_LOG_STATEMENT_H

#include "common/log/log.h"

namespace Tulvo {

constexpr int kLogFailure = 1;
constexpr int kLogWarning = 2;
constexpr int kLogNotice = 3;
constexpr int kLogTrace = 4;

}  // namespace Tulvo

/// A record names the file and the line where this stands: a reader of the log looks for the
/// backend or the decoder that was at work, so code that both backends share leaves the statement
/// to them.
#define VKT_LOG(level) ::Tulvo::Log((level), __FILE__, __LINE__).Stream()

#endif
