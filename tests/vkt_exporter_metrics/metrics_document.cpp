// SPDX-License-Identifier: Apache-2.0
/// @file
/// Holds the document of the metrics to the program: `metrics_document FILE` fails where the tables
/// between its marks are not the program's, `metrics_document --write FILE` puts them there.
#include <exception>
#include <fstream>
#include <iostream>
#include <iterator>
#include <map>
#include <numeric>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "apps/vkt_exporter/metrics/enclosure_metrics.h"
#include "apps/vkt_exporter/metrics/exporter_metrics.h"
#include "tests/vkt_exporter_metrics/series.h"
#include "tests/vktinventory_command/fake_enclosure.h"

namespace Tulvo::Exporter {
namespace {

using namespace Enclosures;

/// A second-generation enclosure with 12 nodes and 9 supplies that gives every value that such a
/// one can: the module has no status bits for the ninth supply.
Enclosure LargeEnclosure()
{
    Enclosure record = Test::FakeEnclosure::Healthy().record;
    record.asked = kEverything;
    record.module = {Generation::kVkt2, std::uint8_t{0xFC}, std::uint8_t{12}, std::uint8_t{9}};
    const std::uint16_t cap = 4000;
    record.caps = PowerCaps{cap, cap, cap, cap, cap};
    PowerSupply supply = record.powerSupplies.front();
    SupplyFans fans = *supply.fans.Get();
    fans.b = fans.a;
    supply.fans = fans;
    record.powerSupplies.assign(9, supply);
    record.nodes.assign(12, record.nodes.front());
    std::uint8_t number = 0;
    for (PowerSupply& each : record.powerSupplies) {
        each.number = ++number;
    }
    number = 0;
    for (Node& each : record.nodes) {
        each.number = ++number;
    }
    PowerSupply& ninth = record.powerSupplies.back();
    ninth.powerGood = ninth.powerOffWarning = ninth.throttling = Reading<bool>::Absent();
    return record;
}

/// Of LargeEnclosure().
std::map<std::string, int> SeriesByFamily()
{
    const Expectations expected{std::uint8_t{9}, std::uint8_t{12}};
    std::map<std::string, int> counts;
    for (const auto& [series, value] :
         SeriesOf(EnclosureMetrics(LargeEnclosure(), expected, std::chrono::seconds(1)))) {
        ++counts[series.substr(0, series.find('{'))];
    }
    return counts;
}

std::string Row(const std::vector<std::string>& cells)
{
    std::string row = "|";
    for (const std::string& cell : cells) {
        row.append(" ").append(cell).append(" |");
    }
    return row + "\n";
}

std::string Code(const std::string& text)
{
    return text.empty() ? "" : std::string(1, '`').append(text).append("`");
}

std::string LabelsOf(const MetricFamily& family)
{
    std::string labels;
    for (const std::string& label : family.labels) {
        labels.append(labels.empty() ? "" : ", ").append(Code(label));
    }
    return labels;
}

std::string EnclosureTable()
{
    std::map<std::string, int> counts = SeriesByFamily();
    std::string table =
        "\n| metric | type | labels | meaning | unit | from | series |\n"
        "|---|---|---|---|---|---|---|\n";
    for (const EnclosureFamily& each : EnclosureFamilies()) {
        const MetricFamily& family = each.family;
        const bool perFinding = family.name == "vkt_finding";
        table += Row({Code(family.name), std::string(WordOf(family.type)), LabelsOf(family),
                      family.help, each.unit, each.source,
                      perFinding ? "one a finding" : std::to_string(counts[family.name])});
    }
    return table + "\n";
}

std::string UnitOf(const MetricFamily& family)
{
    for (const char* const unit : {"seconds", "bytes"}) {
        if (family.name.find(unit) != std::string::npos) {
            return unit;
        }
    }
    return "none";
}

std::string ExporterTable()
{
    std::string table = "\n| metric | type | labels | meaning | unit |\n|---|---|---|---|---|\n";
    for (const MetricFamily& family : ExporterFamilies()) {
        table += Row({Code(family.name), std::string(WordOf(family.type)), LabelsOf(family),
                      family.help, UnitOf(family)});
    }
    return table + "\n";
}

std::string Count()
{
    const std::map<std::string, int> counts = SeriesByFamily();
    return std::to_string(
        std::accumulate(counts.begin(), counts.end(), 0,
                        [](int sum, const auto& family) { return sum + family.second; }));
}

/// Puts `text` between the marks of that name.
void Put(std::string& document, const std::string& name, const std::string& text)
{
    const std::string begin = "<!-- begin " + name + " -->";
    const std::size_t first = document.find(begin);
    const std::size_t end = document.find("<!-- end " + name + " -->", first);
    if (end == std::string::npos) {
        throw std::runtime_error("the document has no place for " + name);
    }
    document.replace(first + begin.size(), end - first - begin.size(), text);
}

int Main(const std::vector<std::string>& arguments)
{
    const std::string& path = arguments.back();
    std::ifstream file(path);
    const std::string before{std::istreambuf_iterator<char>(file), {}};
    std::string document = before;
    Put(document, "enclosure", EnclosureTable());
    Put(document, "exporter", ExporterTable());
    Put(document, "count", Count());
    if (arguments.front() == "--write") {
        std::ofstream(path) << document;
        return 0;
    }
    if (document != before) {
        std::cerr << path << " is not what the program gives: build the target metrics_document\n";
        return 1;
    }
    return 0;
}

}  // namespace
}  // namespace Tulvo::Exporter

int main(int count, char** arguments)
{
    try {
        return Tulvo::Exporter::Main({arguments + 1, arguments + count});
    } catch (const std::exception& error) {
        std::cerr << error.what() << "\n";
        return 1;
    }
}
