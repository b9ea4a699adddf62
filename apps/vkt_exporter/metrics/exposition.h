// SPDX-License-Identifier: Apache-2.0
/// @file
/// Prometheus' text exposition format, version 0.0.4.
#ifndef APPS_VKT_EXPORTER_METRICS_EXPOSITION_H
#define APPS_VKT_EXPORTER_METRICS_EXPOSITION_H

#include <prometheus/metric_family.h>

#include <set>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace Tulvo::Exporter {

/// The format's media type.
inline constexpr std::string_view kExpositionType = "text/plain; version=0.0.4";

enum class MetricType
{
    kCounter,
    kGauge,
};

/// "counter".
std::string_view WordOf(MetricType type);

/// All series of one name.
struct MetricFamily
{
    std::string name;
    std::string help;  ///< One sentence.
    MetricType type = MetricType::kGauge;
    std::vector<std::string> labels = {};  ///< Names, in the order of each series' values.
};

/// Collects series and writes them so that Prometheus takes the scrape: whatever was added, in
/// whatever order, families are whole, no series stands twice and the text is UTF-8.
class Exposition
{
public:
    /// Adds a series. One that stands there already keeps its value; a number that is none (NaN) or
    /// is infinite is no series.
    /// @param labels values, as many as the family has labels; any bytes.
    void Add(const MetricFamily& family, const std::vector<std::string>& labels, double value);
    void Add(const MetricFamily& family, double value) { Add(family, {}, value); }

    /// Adds what a registry has collected: families that do not stand there yet.
    void Add(const std::vector<prometheus::MetricFamily>& collected);

    /// The text; of a family without a series nothing.
    std::string Text() const;

private:
    prometheus::MetricFamily& FamilyOf(const MetricFamily& family);

    std::vector<prometheus::MetricFamily> families_;
    std::set<std::pair<std::string, std::vector<std::string>>> series_;  ///< Name, label values.
};

}  // namespace Tulvo::Exporter

#endif
