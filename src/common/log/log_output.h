// SPDX-License-Identifier: Apache-2.0
/// @file
/// The one place that finished records go through on their way out.
#ifndef COMMON_LOG_LOG_OUTPUT_H
#define COMMON_LOG_LOG_OUTPUT_H

#include "common/log/log.h"

namespace Tulvo::Logging {

/// Hands `record` to the host's sink, else writes it as text. May throw what these throw.
void DeliverLogRecord(const LogRecord& record);

}  // namespace Tulvo::Logging

#endif
