// SPDX-License-Identifier: Apache-2.0
/// @file
/// Log levels by name, and where a statement stands.
#ifndef MODULE_VKT_VKT_INVENTORY_IMPL_LOG_STATEMENT_H
#define MODULE_VKT_VKT_INVENTORY_IMPL_LOG_STATEMENT_H

#include "common/log/log.h"

namespace Tulvo {

constexpr int kLogFailure = 1;
constexpr int kLogWarning = 2;
constexpr int kLogNotice = 3;
constexpr int kLogTrace = 4;

/// The statement on whose behalf shared code writes a record: a reader of the log looks for the
/// backend that was at work, not for the code that both backends share.
struct LogSite
{
    const char* file;
    int line;
};

}  // namespace Tulvo

#define VKT_LOG(level) ::Tulvo::Log((level), __FILE__, __LINE__).Stream()
#define VKT_LOG_AT(level, site) ::Tulvo::Log((level), (site).file, (site).line).Stream()
#define VKT_HERE (::Tulvo::LogSite{__FILE__, __LINE__})

#endif
