// SPDX-License-Identifier: Apache-2.0
/// @file
/// What one read of an enclosure is for Prometheus.
#ifndef APPS_VKT_EXPORTER_METRICS_ENCLOSURE_METRICS_H
#define APPS_VKT_EXPORTER_METRICS_ENCLOSURE_METRICS_H

#include <chrono>
#include <string>
#include <vector>

#include "apps/vkt_exporter/metrics/exposition.h"
#include "module/vkt/vkt_enclosure/enclosure.h"
#include "module/vkt/vkt_enclosure/health.h"

namespace Tulvo::Exporter {

/// The answer to a probe. What is absent, was not asked or could not be read is no series. Of an
/// enclosure with an error (it was not reached, or it was left alone) the error's cause is counted
/// among what was not read, even if nothing was asked.
/// @param took from the scrape's arrival to its answer.
std::string EnclosureMetrics(const Enclosures::Enclosure& enclosure,
                             const Enclosures::Expectations& expected,
                             std::chrono::duration<double> took);

/// A family that an enclosure may have, and where its values come from.
struct EnclosureFamily
{
    MetricFamily family;
    std::string unit;    ///< "seconds", "0 or 1".
    std::string source;  ///< Members of the command's JSON, such as "power.consumption.average".
};

/// All that EnclosureMetrics() may give, in its order.
std::vector<EnclosureFamily> EnclosureFamilies();

}  // namespace Tulvo::Exporter

#endif
