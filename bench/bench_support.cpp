// Sequential GetNode over lists of a thousand and a million items: the cursor must keep the cost per
// item the same whatever the length.
#include "model/support/List.h"

#include <benchmark/benchmark.h>

namespace {

void SequentialGetNode(benchmark::State& state) {
    const auto count = static_cast<int32_t>(state.range(0));
    Vorn::List<int64_t> list;
    for (int32_t i = 0; i < count; ++i) {
        list.Add(i);
    }
    int64_t sum = 0;
    for (auto _ : state) {
        for (int32_t i = 0; i < count; ++i) {
            sum += *list.GetNode(i)->item;
        }
    }
    benchmark::DoNotOptimize(sum);
    state.SetItemsProcessed(state.iterations() * count);
    state.counters["ns_per_item"] =
        benchmark::Counter(static_cast<double>(state.iterations() * count),
                           benchmark::Counter::kIsRate | benchmark::Counter::kInvert);
}

} // namespace

BENCHMARK(SequentialGetNode)->Arg(1000)->Arg(1000000)->Unit(benchmark::kMillisecond);
BENCHMARK_MAIN();
