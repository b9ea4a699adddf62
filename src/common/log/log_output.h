// SPDX-License-Identifier: Apache-2.0
/// @file
/// Where every finished record is handed to the sink in force.
#ifndef COMMON_LOG_LOG_OUTPUT_H
#define COMMON_LOG_LOG_OUTPUT_H

#include "common/log/log.h"

namespace Tulvo::Logging {

/// Hands `record` to the host's sink, else writes it as text. May throw what these throw.
void DeliverLogRecord(const LogRecord& record);

}  // namespace Tulvo::Logging

#endif
