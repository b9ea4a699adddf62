// SPDX-License-Identifier: Apache-2.0
/// @file
/// What every exporter says of its own process, under the names that Prometheus' clients use.
#ifndef APPS_VKT_EXPORTER_METRICS_PROCESS_METRICS_H
#define APPS_VKT_EXPORTER_METRICS_PROCESS_METRICS_H

#include <vector>

#include "apps/vkt_exporter/metrics/exposition.h"

namespace Tulvo::Exporter {

/// What the kernel does not tell (no descriptor is left to ask it) is no series.
void AddProcessMetrics(Exposition& exposition);

/// All that AddProcessMetrics() may give, in its order.
std::vector<MetricFamily> ProcessFamilies();

}  // namespace Tulvo::Exporter

#endif
