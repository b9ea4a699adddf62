// SPDX-License-Identifier: Apache-2.0
#include "apps/vkt_exporter/metrics/registry.h"

#include <utility>

namespace Tulvo::Exporter {

Number& Registry::Register(const MetricFamily& family, std::vector<std::string> labels)
{
    Series& series = series_.emplace_back();
    series.family = family;
    series.labels = std::move(labels);
    return series.number;
}

void Registry::AddTo(Exposition& exposition) const
{
    for (const Series& series : series_) {
        exposition.Add(series.family, series.labels, series.number.Get());
    }
}

}  // namespace Tulvo::Exporter
