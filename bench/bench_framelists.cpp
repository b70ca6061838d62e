#include "core/framelists/FrameInfoList.h"
#include "core/framelists/QuickFrameItemList.h"

#include <benchmark/benchmark.h>

#include <malloc.h>

#include <cstdint>
#include <memory>
#include <random>
#include <vector>

using namespace Vorn::Vorncast::Decoders;

namespace {

constexpr int64_t BaseTime = 637134336000000000;
constexpr int64_t Second = 10000000;
constexpr int32_t Million = 1000000;

// A recorder's stamps: 25 frames in each whole second, a gap of an hour every 20000 frames and a
// clock that steps back a second every 7000 frames.
int64_t RecorderStamp(int32_t frame) {
    int64_t second = frame / 25 + (frame / 20000) * 3600 - (frame / 7000);
    return BaseTime + second * Second;
}

template <class List> void FillRecorderStamps(List& list, int32_t count) {
    for (int32_t i = 0; i < count; ++i) {
        auto record = list.GetAt(-1);
        record.recordedTime = RecorderStamp(i);
        record.offset = static_cast<uint32_t>(i) * 4096;
        record.size = 4000;
        list.Append(record);
    }
}

size_t HeapInUse() {
    return mallinfo2().uordblks;
}

void PagedAppend(benchmark::State& state) {
    const int32_t count = static_cast<int32_t>(state.range(0));
    size_t allocated = 0;
    size_t heap = 0;
    for (auto _ : state) {
        size_t heapBefore = HeapInUse();
        auto list = std::make_unique<QuickFrameItemList<QuickFrameItem>>();
        for (int32_t i = 0; i < count; ++i) {
            list->Append(QuickFrameItem{RecorderStamp(i), 0, static_cast<uint32_t>(i) * 4096, 4000});
        }
        benchmark::DoNotOptimize(list->Count());
        state.PauseTiming();
        allocated = list->AllocatedBytes();
        heap = HeapInUse() - heapBefore;
        list.reset();
        state.ResumeTiming();
    }
    state.SetItemsProcessed(state.iterations() * count);
    double millions = count / double(Million);
    state.counters["ns_per_item"] = benchmark::Counter(
        double(count) * state.iterations(), benchmark::Counter::kIsRate | benchmark::Counter::kInvert);
    state.counters["pages_MB_per_million"] = allocated / 1e6 / millions;
    state.counters["heap_MB_per_million"] = heap / 1e6 / millions;
}
BENCHMARK(PagedAppend)->Arg(10 * Million)->Unit(benchmark::kMillisecond);

void PagedWalk(benchmark::State& state) {
    const int32_t count = static_cast<int32_t>(state.range(0));
    QuickFrameItemList<QuickFrameItem> list;
    FillRecorderStamps(list, count);
    for (auto _ : state) {
        uint64_t sum = 0;
        for (const QuickFrameItem& item : list) {
            sum += item.size;
        }
        benchmark::DoNotOptimize(sum);
    }
    state.SetItemsProcessed(state.iterations() * count);
    state.counters["ns_per_item"] = benchmark::Counter(
        double(count) * state.iterations(), benchmark::Counter::kIsRate | benchmark::Counter::kInvert);
}
BENCHMARK(PagedWalk)->Arg(10 * Million)->Unit(benchmark::kMillisecond);

void PagedWalkByIndex(benchmark::State& state) {
    const int32_t count = static_cast<int32_t>(state.range(0));
    QuickFrameItemList<QuickFrameItem> list;
    FillRecorderStamps(list, count);
    for (auto _ : state) {
        uint64_t sum = 0;
        for (int32_t i = 0; i < count; ++i) {
            sum += list.GetAt(i).size;
        }
        benchmark::DoNotOptimize(sum);
    }
    state.SetItemsProcessed(state.iterations() * count);
    state.counters["ns_per_item"] = benchmark::Counter(
        double(count) * state.iterations(), benchmark::Counter::kIsRate | benchmark::Counter::kInvert);
}
BENCHMARK(PagedWalkByIndex)->Arg(10 * Million)->Unit(benchmark::kMillisecond);

// Seeks to random times across the whole recording. On the linked list every search walks about
// once through the nodes, so its cost is that of a walk: it depends on how the heap laid the
// nodes out (in allocation order on a fresh heap; scattered once freed nodes are reused, as they
// are here after the earlier benchmarks). GLIBC_TUNABLES=glibc.malloc.mxfast=0 shows the former.
template <class List> void Seek(benchmark::State& state) {
    const int32_t count = static_cast<int32_t>(state.range(0));
    List list;
    FillRecorderStamps(list, count);
    list.AssignMonotonicStreamTimes();
    int64_t first = list.GetAt(0).streamTime;
    int64_t last = list.GetAt(count - 1).streamTime;
    std::mt19937_64 random(7);
    std::uniform_int_distribution<int64_t> times(first, last);
    std::vector<int64_t> targets(4096);
    for (int64_t& target : targets) {
        target = times(random);
    }
    size_t next = 0;
    for (auto _ : state) {
        benchmark::DoNotOptimize(list.IndexAtStreamTime(targets[next]));
        next = (next + 1) % targets.size();
    }
}
BENCHMARK_TEMPLATE(Seek, QuickFrameItemList<QuickFrameItem>)->Arg(Million)->Unit(benchmark::kMicrosecond);
BENCHMARK_TEMPLATE(Seek, FrameInfoList)->Arg(Million)->Unit(benchmark::kMicrosecond);

template <class List> void EstimatePeriod(benchmark::State& state) {
    const int32_t count = static_cast<int32_t>(state.range(0));
    List list;
    FillRecorderStamps(list, count);
    for (auto _ : state) {
        benchmark::DoNotOptimize(list.EstimateFramePeriod());
    }
    state.SetItemsProcessed(state.iterations() * count);
}
BENCHMARK_TEMPLATE(EstimatePeriod, QuickFrameItemList<QuickFrameItem>)
    ->Arg(Million)
    ->Unit(benchmark::kMillisecond);
BENCHMARK_TEMPLATE(EstimatePeriod, FrameInfoList)->Arg(Million)->Unit(benchmark::kMillisecond);

enum Form { Spreading, Monotonic, Uniform };

template <class List> void AssignStreamTimes(benchmark::State& state) {
    const int32_t count = static_cast<int32_t>(state.range(0));
    const Form form = static_cast<Form>(state.range(1));
    List list;
    FillRecorderStamps(list, count);
    for (auto _ : state) {
        if (form == Spreading) {
            list.AssignStreamTimes();
        } else if (form == Monotonic) {
            list.AssignMonotonicStreamTimes();
        } else {
            list.AssignUniformStreamTimes();
        }
        benchmark::ClobberMemory();
    }
    state.SetItemsProcessed(state.iterations() * count);
}
BENCHMARK_TEMPLATE(AssignStreamTimes, QuickFrameItemList<QuickFrameItem>)
    ->ArgsProduct({{Million}, {Spreading, Monotonic, Uniform}})
    ->Unit(benchmark::kMillisecond);
BENCHMARK_TEMPLATE(AssignStreamTimes, BaseFrameInfoList<FrameInfo>)
    ->ArgsProduct({{Million}, {Spreading, Monotonic, Uniform}})
    ->Unit(benchmark::kMillisecond);

} // namespace

BENCHMARK_MAIN();
