// SPDX-License-Identifier: Apache-2.0
#include "apps/vkt_exporter/metrics/process_metrics.h"

#include <sys/resource.h>
#include <unistd.h>

#include <array>
#include <chrono>
#include <cstddef>
#include <ctime>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <limits>
#include <optional>
#include <sstream>
#include <string>
#include <system_error>

namespace Tulvo::Exporter {
namespace {

constexpr double kNotTold = std::numeric_limits<double>::quiet_NaN();

double Seconds(clockid_t clock)
{
    timespec time{};
    clock_gettime(clock, &time);
    return std::chrono::duration<double>(std::chrono::seconds(time.tv_sec) +
                                         std::chrono::nanoseconds(time.tv_nsec))
        .count();
}

/// A column of /proc/self/stat, by the number that proc(5) gives it; from the third on.
double StatColumn(int number)
{
    std::ifstream file("/proc/self/stat");
    const std::string line{std::istreambuf_iterator<char>(file), {}};
    // The second column is the program's name, which may hold anything.
    const std::size_t name = line.rfind(')');
    std::istringstream columns(name == line.npos ? std::string() : line.substr(name + 1));
    std::string column;
    for (int index = 3; index < number; ++index) {
        columns >> column;
    }
    double value = kNotTold;
    columns >> value;
    return columns ? value : kNotTold;
}

double ResidentBytes()
{
    return StatColumn(24) * static_cast<double>(sysconf(_SC_PAGESIZE));
}

double VirtualBytes()
{
    return StatColumn(23);
}

double Threads()
{
    return StatColumn(20);
}

/// The kernel counts from its own start; against the time of day, which may be set, one answer is
/// made once.
double StartSeconds()
{
    static const double start = Seconds(CLOCK_REALTIME) - Seconds(CLOCK_BOOTTIME) +
                                StatColumn(22) / static_cast<double>(sysconf(_SC_CLK_TCK));
    return start;
}

double CpuSeconds()
{
    return Seconds(CLOCK_PROCESS_CPUTIME_ID);
}

double OpenDescriptors()
{
    std::error_code error;
    double count = 0;
    for (std::filesystem::directory_iterator each("/proc/self/fd", error), end;
         !error && each != end; each.increment(error)) {
        ++count;
    }
    return error ? kNotTold : count - 1;  // less the one that they were counted with
}

double MostDescriptors()
{
    rlimit limit{};
    return getrlimit(RLIMIT_NOFILE, &limit) == 0 ? static_cast<double>(limit.rlim_cur) : kNotTold;
}

struct Row
{
    const char* name;
    const char* help;
    MetricType type;
    double (*get)();
};

constexpr std::array kRows{
    Row{"process_cpu_seconds_total", "Processor time that the process has used, in seconds.",
        MetricType::kCounter, CpuSeconds},
    Row{"process_max_fds", "Descriptors that the process may have open.", MetricType::kGauge,
        MostDescriptors},
    Row{"process_open_fds", "Descriptors that the process has open.", MetricType::kGauge,
        OpenDescriptors},
    Row{"process_resident_memory_bytes", "Memory of the process that is in use, in bytes.",
        MetricType::kGauge, ResidentBytes},
    Row{"process_start_time_seconds", "When the process started, in seconds since the epoch.",
        MetricType::kGauge, StartSeconds},
    Row{"process_threads", "Threads of the process.", MetricType::kGauge, Threads},
    Row{"process_virtual_memory_bytes", "Address space of the process, in bytes.",
        MetricType::kGauge, VirtualBytes},
};

MetricFamily FamilyOf(const Row& row)
{
    return {row.name, row.help, row.type};
}

}  // namespace

void AddProcessMetrics(Exposition& exposition)
{
    for (const Row& row : kRows) {
        exposition.Add(FamilyOf(row), row.get());
    }
}

std::vector<MetricFamily> ProcessFamilies()
{
    std::vector<MetricFamily> families;
    families.reserve(kRows.size());
    for (const Row& row : kRows) {
        families.push_back(FamilyOf(row));
    }
    return families;
}

}  // namespace Tulvo::Exporter
