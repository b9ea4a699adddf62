// SPDX-License-Identifier: Apache-2.0
// What a decode costs, in time and allocations: NAME/GENERATION/TRACE.
#include <benchmark/benchmark.h>

#include <string>

#include "bench/allocations.h"
#include "bench/decoders.h"
#include "common/log/log.h"

namespace Tulvo::Bench {
namespace {

constexpr int kWarnings = 2;
constexpr int kTraces = 4;

void Measure(benchmark::State& state, const Decoder& row, VKTIype type, int logLevel)
{
    VKTInventoryParseResponse decoder;
    decoder.vktType = type;
    const Bytes& response = type == VKT_TYPE_VKT2 ? row.answerOfVkt2 : row.answerOfFirstGeneration;
    SetLogLevel(logLevel);
    if (row.decode(decoder, response) != VKT_INVENTORY_SUCCESS) {
        state.SkipWithError("the answer does not decode");
    }
    const std::uint64_t before = AllocationCount();
    for (auto iteration : state) {
        benchmark::DoNotOptimize(row.decode(decoder, response));
    }
    state.counters["allocs/op"] = benchmark::Counter(
        static_cast<double>(AllocationCount() - before), benchmark::Counter::kAvgIterations);
}

void RegisterAll()
{
    for (const Decoder& row : Decoders()) {
        for (const VKTIype type : {VKT_TYPE_FIRST_GENERATION, VKT_TYPE_VKT2}) {
            for (const int level : {kWarnings, kTraces}) {
                const std::string name = std::string(row.name) +
                                         (type == VKT_TYPE_VKT2 ? "/vkt2" : "/first") +
                                         (level == kTraces ? "/traced" : "/quiet");
                benchmark::RegisterBenchmark(name.c_str(), Measure, row, type, level);
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
