// SPDX-License-Identifier: Apache-2.0
#include "apps/vkt_exporter/metrics/exposition.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/resource.h>

#include <atomic>
#include <ctime>
#include <limits>
#include <map>
#include <set>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "apps/vkt_exporter/metrics/exporter_metrics.h"
#include "apps/vkt_exporter/metrics/process_metrics.h"
#include "common/platform/file_descriptor.h"
#include "tests/vkt_exporter_metrics/series.h"

namespace Tulvo::Exporter {
namespace {

using testing::ElementsAre;
using testing::Pair;

const MetricFamily kPlain{"plain", "No labels."};
const MetricFamily kTexts{"texts", "One label.", MetricType::kGauge, {"text"}};

TEST(Exposition, OfNothingIsNothing)
{
    EXPECT_EQ("", Exposition().Text());
}

TEST(Exposition, KeepsAFamilyTogetherWhereverItsSeriesCameFrom)
{
    Exposition exposition;
    exposition.Add(kTexts, {"a"}, 1);
    exposition.Add(kPlain, 2);
    exposition.Add(kTexts, {"b"}, 3);
    EXPECT_EQ(
        "# HELP texts One label.\n# TYPE texts gauge\ntexts{text=\"a\"} 1\ntexts{text=\"b\"} 3\n"
        "# HELP plain No labels.\n# TYPE plain gauge\nplain 2\n",
        exposition.Text());
}

TEST(Exposition, NamesTypeAndLabels)
{
    Exposition exposition;
    exposition.Add({"both_total", "Two labels.", MetricType::kCounter, {"one", "other"}}, {"1", ""},
                   0);
    EXPECT_EQ(
        "# HELP both_total Two labels.\n# TYPE both_total "
        "counter\nboth_total{one=\"1\",other=\"\"} 0\n",
        exposition.Text());
}

TEST(Exposition, GivesASeriesOnce)
{
    Exposition exposition;
    exposition.Add(kTexts, {"a"}, 1);
    exposition.Add(kTexts, {"a"}, 2);
    EXPECT_THAT(SeriesOf(exposition.Text()), ElementsAre(Pair("texts{text=\"a\"}", "1")));
}

TEST(Exposition, MakesAnyBytesALabel)
{
    const std::map<std::string, std::string> labels{
        {"", ""},
        {"plain", "plain"},
        {R"(a "quoted" word)", R"(a \"quoted\" word)"},
        {"two\nlines", R"(two\nlines)"},
        {R"(C:\n)", R"(C:\\n)"},
        {"\"} 1\nup 0\n", R"(\"} 1\nup 0\n)"},
        {"a\tb\r", "a\tb\r"},
        {std::string("\x00\x7F", 2), std::string("\x00\x7F", 2)},
        // Each byte is the character with the same number.
        {"\x80", "\xC2\x80"},
        {"\xFF\xFE", "\xC3\xBF\xC3\xBE"},
        {"\xC3\xA9", "\xC3\x83\xC2\xA9"},
    };
    for (const auto& [text, label] : labels) {
        Exposition exposition;
        exposition.Add(kTexts, {text}, 1);
        EXPECT_EQ("# HELP texts One label.\n# TYPE texts gauge\ntexts{text=\"" + label + "\"} 1\n",
                  exposition.Text());
    }
}

TEST(Exposition, WritesNumbersAsTheyAre)
{
    const std::vector<std::pair<double, std::string>> numbers{
        {0, "0"},
        {65535, "65535"},
        {-1, "-1"},
        {0.25, "0.25"},
        {1e-7, "1e-07"},
        {1795288023.5, "1795288023.5"},
        {9007199254740992, "9007199254740992"},  // 2^53
        {1e300, "1e+300"},
    };
    for (const auto& [number, text] : numbers) {
        Exposition exposition;
        exposition.Add(kPlain, number);
        EXPECT_EQ(text, SeriesOf(exposition.Text())["plain"]);
    }
}

TEST(Exposition, HasNoSeriesForWhatIsNoNumber)
{
    Exposition exposition;
    for (const double number :
         {std::numeric_limits<double>::quiet_NaN(), std::numeric_limits<double>::infinity(),
          -std::numeric_limits<double>::infinity()}) {
        exposition.Add(kPlain, number);
    }
    EXPECT_EQ("", exposition.Text());
}

std::map<std::string, std::string> OfThisProcess()
{
    Exposition exposition;
    AddProcessMetrics(exposition);
    return SeriesOf(exposition.Text());
}

double NumberIn(const std::map<std::string, std::string>& series, const std::string& name)
{
    const auto found = series.find(name);
    return found == series.end() ? -1 : std::stod(found->second);
}

TEST(ProcessMetrics, GiveAllTheirFamilies)
{
    const auto series = OfThisProcess();
    EXPECT_EQ(ProcessFamilies().size(), series.size());
    for (const MetricFamily& family : ProcessFamilies()) {
        EXPECT_LT(0, NumberIn(series, family.name)) << family.name;
    }
}

TEST(ProcessMetrics, AgreeWithWhatTheKernelSaysElsewhere)
{
    rusage usage{};
    ASSERT_EQ(0, getrusage(RUSAGE_SELF, &usage));
    const auto before = OfThisProcess();
    EXPECT_NEAR(static_cast<double>(usage.ru_utime.tv_sec + usage.ru_stime.tv_sec),
                NumberIn(before, "process_cpu_seconds_total"), 5);
    EXPECT_LT(NumberIn(before, "process_resident_memory_bytes"),
              NumberIn(before, "process_virtual_memory_bytes"));
    // ru_maxrss is the most so far, in KiB.
    EXPECT_LT(NumberIn(before, "process_resident_memory_bytes"),
              static_cast<double>(usage.ru_maxrss + 65536) * 1024);
    EXPECT_NEAR(static_cast<double>(std::time(nullptr)),
                NumberIn(before, "process_start_time_seconds"), 300);

    rlimit limit{};
    ASSERT_EQ(0, getrlimit(RLIMIT_NOFILE, &limit));
    EXPECT_EQ(static_cast<double>(limit.rlim_cur), NumberIn(before, "process_max_fds"));

    const FileDescriptor more(open("/dev/null", O_RDONLY | O_CLOEXEC));
    std::atomic_flag enough;
    std::jthread thread([&enough] { enough.wait(false); });
    const auto after = OfThisProcess();
    EXPECT_EQ(NumberIn(before, "process_open_fds") + 1, NumberIn(after, "process_open_fds"));
    EXPECT_EQ(NumberIn(before, "process_threads") + 1, NumberIn(after, "process_threads"));
    enough.test_and_set();
    enough.notify_all();
}

TEST(ExporterMetrics, AreThereFromTheStart)
{
    const ExporterMetrics metrics;
    const auto series = SeriesOf(metrics.Text());
    for (const char* const name :
         {"vkt_exporter_config_last_reload_successful",
          "vkt_exporter_config_last_reload_success_timestamp_seconds", "vkt_exporter_targets",
          "vkt_exporter_reads_in_flight", "vkt_exporter_reads_waiting",
          "vkt_exporter_log_ins_total{cause=\"none\"}",
          "vkt_exporter_log_ins_total{cause=\"refused\"}",
          "vkt_exporter_log_ins_total{cause=\"local\"}"}) {
        EXPECT_EQ(0, NumberIn(series, name)) << name;
    }
    EXPECT_EQ(1, NumberIn(series, "vkt_exporter_build_info{version=\"" VKT_VERSION "\"}"));
}

TEST(ExporterMetrics, CountLogInsByCause)
{
    ExporterMetrics metrics;
    metrics.LogIns().Increment(3);
    metrics.LogIns(Cause::kRefused).Increment();
    metrics.readsInFlight.Increment(2);
    metrics.readsInFlight.Decrement(1);
    const auto series = SeriesOf(metrics.Text());
    EXPECT_EQ(3, NumberIn(series, "vkt_exporter_log_ins_total{cause=\"none\"}"));
    EXPECT_EQ(1, NumberIn(series, "vkt_exporter_log_ins_total{cause=\"refused\"}"));
    EXPECT_EQ(0, NumberIn(series, "vkt_exporter_log_ins_total{cause=\"timedOut\"}"));
    EXPECT_EQ(1, NumberIn(series, "vkt_exporter_reads_in_flight"));
}

TEST(ExporterMetrics, NameAllTheirFamilies)
{
    std::set<std::string> named;
    for (const MetricFamily& family : ExporterFamilies()) {
        named.insert(family.name);
    }
    EXPECT_EQ(FamiliesOf(ExporterMetrics().Text()), named);
}

}  // namespace
}  // namespace Tulvo::Exporter
