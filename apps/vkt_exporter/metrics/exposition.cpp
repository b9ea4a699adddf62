// SPDX-License-Identifier: Apache-2.0
#include "apps/vkt_exporter/metrics/exposition.h"

#include <prometheus/text_serializer.h>

#include <algorithm>
#include <cmath>
#include <cstddef>

#include "common/text/utf8.h"

namespace Tulvo::Exporter {
namespace {

prometheus::ClientMetric SeriesOf(const MetricFamily& family,
                                  const std::vector<std::string>& labels, double value)
{
    prometheus::ClientMetric series;
    const std::size_t count = std::min(family.labels.size(), labels.size());
    series.label.reserve(count);
    for (std::size_t index = 0; index < count; ++index) {
        series.label.push_back({family.labels[index], Text::BytesAsUtf8(labels[index])});
    }
    (family.type == MetricType::kCounter ? series.counter.value : series.gauge.value) = value;
    return series;
}

}  // namespace

std::string_view WordOf(MetricType type)
{
    return type == MetricType::kCounter ? "counter" : "gauge";
}

prometheus::MetricFamily& Exposition::FamilyOf(const MetricFamily& family)
{
    const auto known = std::find_if(families_.begin(), families_.end(),
                                    [&](const auto& other) { return other.name == family.name; });
    if (known != families_.end()) {
        return *known;
    }
    const bool counts = family.type == MetricType::kCounter;
    return families_.emplace_back(prometheus::MetricFamily{
        family.name,
        family.help,
        counts ? prometheus::MetricType::Counter : prometheus::MetricType::Gauge,
        {}});
}

void Exposition::Add(const MetricFamily& family, const std::vector<std::string>& labels,
                     double value)
{
    if (std::isfinite(value) && series_.emplace(family.name, labels).second) {
        FamilyOf(family).metric.push_back(SeriesOf(family, labels, value));
    }
}

void Exposition::Add(const std::vector<prometheus::MetricFamily>& collected)
{
    families_.insert(families_.end(), collected.begin(), collected.end());
}

std::string Exposition::Text() const
{
    return prometheus::TextSerializer().Serialize(families_);
}

}  // namespace Tulvo::Exporter
