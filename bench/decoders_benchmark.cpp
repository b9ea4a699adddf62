// SPDX-License-Identifier: Apache-2.0
// What a decode costs, in time and allocations: NAME/GENERATION/TRACE.
#include <benchmark/benchmark.h>

#include <string>

#include "bench/decoders.h"
#include "common/log/log.h"
#include "tests/support/allocations.h"

namespace Tulvo::Bench {
namespace {

constexpr int kWarnings = 2;
constexpr int kTraces = 4;

void Measure(benchmark::State& state, const Measurement& row, const Tests::Answer& answer,
             int logLevel)
{
    SetLogLevel(logLevel);
    if (row.decode(answer) != VKT_INVENTORY_SUCCESS) {
        state.SkipWithError("the answer does not decode");
    }
    const std::uint64_t before = AllocationCount();
    while (state.KeepRunning()) {
        benchmark::DoNotOptimize(row.decode(answer));
    }
    state.counters["allocs/op"] = benchmark::Counter(
        static_cast<double>(AllocationCount() - before), benchmark::Counter::kAvgIterations);
}

void RegisterAll()
{
    for (const Measurement& row : Measurements()) {
        for (const auto* answer : {&row.answerOfFirstGeneration, &row.answerOfVkt2}) {
            for (const int level : {kWarnings, kTraces}) {
                const std::string name = row.name +
                                         (answer->vktType == VKT_TYPE_VKT2 ? "/vkt2" : "/first") +
                                         (level == kTraces ? "/traced" : "/quiet");
                benchmark::RegisterBenchmark(name.c_str(), Measure, row, *answer, level);
            }
        }
    }
}

}  // namespace
}  // namespace Tulvo::Bench

int main(int argc, char** argv)
{
    benchmark::Initialize(&argc, argv);
    // Records are made and dropped: what a sink costs is no business of a decode.
    Tulvo::SetLogSink([](const Tulvo::LogRecord&) {});
    Tulvo::Bench::RegisterAll();
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}
