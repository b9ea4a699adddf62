// SPDX-License-Identifier: Apache-2.0
/// @file
/// What the exporter says of itself.
#ifndef APPS_VKT_EXPORTER_METRICS_EXPORTER_METRICS_H
#define APPS_VKT_EXPORTER_METRICS_EXPORTER_METRICS_H

#include <prometheus/counter.h>
#include <prometheus/gauge.h>
#include <prometheus/registry.h>

#include <functional>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "apps/vkt_exporter/metrics/exposition.h"
#include "common/failure/failure.h"

namespace Tulvo::Exporter {

/// Numbers of the program while it runs, each 0 at first; any thread may change any of them.
class ExporterMetrics
{
    prometheus::Registry registry_;  // stands first: the numbers below are its series

public:
    ExporterMetrics();

    prometheus::Gauge& reloadSuccessful;  ///< 1 or 0: the last reading of the program's files.
    prometheus::Gauge&
        reloadSuccessSeconds;    ///< When they were last read without a mistake, since the epoch.
    prometheus::Gauge& targets;  ///< Hosts of the fleet file.
    prometheus::Gauge& readsInFlight;  ///< Enclosures that are being read.
    prometheus::Gauge& readsWaiting;   ///< Reads that wait for a place.

    /// Log-ins with that outcome: a cause, or nothing when the module accepted.
    prometheus::Counter& LogIns(std::optional<Cause> cause = {});

    /// The answer to /metrics: these and the process' own.
    std::string Text() const;

private:
    std::map<std::string, prometheus::Counter*, std::less<>> logIns_;
};

/// All that ExporterMetrics::Text() may give, in its order.
std::vector<MetricFamily> ExporterFamilies();

}  // namespace Tulvo::Exporter

#endif
