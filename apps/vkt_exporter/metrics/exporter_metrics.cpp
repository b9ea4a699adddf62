// SPDX-License-Identifier: Apache-2.0
#include "apps/vkt_exporter/metrics/exporter_metrics.h"

#include <cstddef>
#include <string_view>

#include "apps/vkt_exporter/metrics/causes.h"
#include "apps/vkt_exporter/metrics/process_metrics.h"

namespace Tulvo::Exporter {
namespace {

const MetricFamily kBuildInfo{"vkt_exporter_build_info",
                              "The exporter's version; always 1.",
                              MetricType::kGauge,
                              {"version"}};
const MetricFamily kReloadSuccessful{
    "vkt_exporter_config_last_reload_successful",
    "Whether the exporter's files were last read without a mistake."};
const MetricFamily kReloadSuccessSeconds{
    "vkt_exporter_config_last_reload_success_timestamp_seconds",
    "When the exporter's files were last read without a mistake, in seconds since the epoch."};
const MetricFamily kTargets{"vkt_exporter_targets", "Hosts of the fleet file."};
const MetricFamily kReadsInFlight{"vkt_exporter_reads_in_flight",
                                  "Enclosures that are being read."};
const MetricFamily kReadsWaiting{"vkt_exporter_reads_waiting", "Reads that wait for a place."};
const MetricFamily kLogIns{
    "vkt_exporter_log_ins_total",
    "Log-ins to modules, by what kept them from succeeding (\"none\": nothing did).",
    MetricType::kCounter,
    {"cause"}};

constexpr std::string_view kNoCause = "none";

prometheus::Labels LabelsOf(const MetricFamily& family, const std::vector<std::string>& values)
{
    prometheus::Labels labels;
    for (std::size_t index = 0; index < values.size(); ++index) {
        labels.emplace(family.labels[index], values[index]);
    }
    return labels;
}

prometheus::Gauge& Gauge(prometheus::Registry& registry, const MetricFamily& family,
                         const std::vector<std::string>& labels = {})
{
    return prometheus::BuildGauge()
        .Name(family.name)
        .Help(family.help)
        .Register(registry)
        .Add(LabelsOf(family, labels));
}

prometheus::Counter& Counter(prometheus::Registry& registry, const MetricFamily& family,
                             const std::vector<std::string>& labels)
{
    return prometheus::BuildCounter()
        .Name(family.name)
        .Help(family.help)
        .Register(registry)
        .Add(LabelsOf(family, labels));
}

}  // namespace

ExporterMetrics::ExporterMetrics()
    : reloadSuccessful(Gauge(registry_, kReloadSuccessful)),
      reloadSuccessSeconds(Gauge(registry_, kReloadSuccessSeconds)),
      targets(Gauge(registry_, kTargets)),
      readsInFlight(Gauge(registry_, kReadsInFlight)),
      readsWaiting(Gauge(registry_, kReadsWaiting))
{
    Gauge(registry_, kBuildInfo, {VKT_VERSION}).Set(1);
    std::vector<std::string> causes = CauseWords();
    causes.emplace_back(kNoCause);
    for (const std::string& cause : causes) {
        logIns_[cause] = &Counter(registry_, kLogIns, {cause});
    }
}

prometheus::Counter& ExporterMetrics::LogIns(std::optional<Cause> cause)
{
    return *logIns_.find(cause ? Enclosures::KeyOf(*cause) : kNoCause)->second;
}

std::string ExporterMetrics::Text() const
{
    Exposition exposition;
    exposition.Add(registry_.Collect());
    AddProcessMetrics(exposition);
    return exposition.Text();
}

std::vector<MetricFamily> ExporterFamilies()
{
    std::vector<MetricFamily> families{kLogIns,   kReloadSuccessful, kReloadSuccessSeconds,
                                       kTargets,  kReadsInFlight,    kReadsWaiting,
                                       kBuildInfo};
    const std::vector<MetricFamily> ofProcess = ProcessFamilies();
    families.insert(families.end(), ofProcess.begin(), ofProcess.end());
    return families;
}

}  // namespace Tulvo::Exporter
