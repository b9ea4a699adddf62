// SPDX-License-Identifier: Apache-2.0
/// @file
/// What the exporter says of itself.
#ifndef APPS_VKT_EXPORTER_METRICS_EXPORTER_METRICS_H
#define APPS_VKT_EXPORTER_METRICS_EXPORTER_METRICS_H

#include <map>
#include <optional>
#include <string>
#include <vector>

#include "apps/vkt_exporter/metrics/exposition.h"
#include "apps/vkt_exporter/metrics/registry.h"
#include "common/failure/failure.h"

namespace Tulvo::Exporter {

/// Numbers of the program while it runs, each 0 at first; any thread may change any of them.
class ExporterMetrics
{
    Registry registry_;  // stands first: the numbers below are its series

public:
    ExporterMetrics();

    Number& reloadSuccessful;      ///< 1 or 0: the last reading of the program's files.
    Number& reloadSuccessSeconds;  ///< When they were last read without a mistake, since the epoch.
    Number& targets;               ///< Hosts of the fleet file.
    Number& readsInFlight;         ///< Enclosures that are being read.
    Number& readsWaiting;          ///< Reads that wait for a place.

    /// Log-ins with that outcome: a cause, or nothing when the module accepted.
    Number& LogIns(std::optional<Cause> cause = {});

    /// The answer to /metrics: these and the process' own.
    std::string Text() const;

private:
    std::map<std::string, Number*, std::less<>> logIns_;
};

/// All that ExporterMetrics::Text() may give, in its order.
std::vector<MetricFamily> ExporterFamilies();

}  // namespace Tulvo::Exporter

#endif
