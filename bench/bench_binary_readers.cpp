// Throughput of the shared binary readers on an index of fixed-size entries, and of the zone
// offset lookup that decoders make once per frame.
#include "core/binary/ByteView.h"
#include "core/time/Ticks.h"
#include "core/time/TimeZoneRules.h"

#include <benchmark/benchmark.h>

#include <cstdint>
#include <vector>

using namespace Vorn::Vorncast::Decoders;

namespace {

constexpr size_t EntryBytes = 28;

std::vector<uint8_t> MakeIndex(size_t entries) {
    std::vector<uint8_t> bytes(entries * EntryBytes);
    for (size_t i = 0; i < entries; ++i) {
        uint8_t* entry = bytes.data() + i * EntryBytes;
        Store<uint32_t, ByteOrder::Little>(entry, 0x31584449); // "IDX1"
        Store<uint64_t, ByteOrder::Little>(entry + 4, 12345678900000 + i * 400);
        Store<uint64_t, ByteOrder::Little>(entry + 12, i * 4096);
        Store<uint32_t, ByteOrder::Little>(entry + 20, 4000);
        Store<uint32_t, ByteOrder::Big>(entry + 24, static_cast<uint32_t>(i % 16));
    }
    return bytes;
}

void IndexWithReader(benchmark::State& state) {
    std::vector<uint8_t> bytes = MakeIndex(static_cast<size_t>(state.range(0)));
    for (auto _ : state) {
        ByteReader reader(ByteView(bytes.data(), bytes.size()));
        uint64_t sum = 0;
        while (!reader.AtEnd()) {
            reader.Skip(4);
            sum += reader.U64LE() + reader.U64LE() + reader.U32LE() + reader.U32BE();
        }
        benchmark::DoNotOptimize(sum);
    }
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * bytes.size()));
}
BENCHMARK(IndexWithReader)->Arg(100000);

void IndexWithView(benchmark::State& state) {
    std::vector<uint8_t> bytes = MakeIndex(static_cast<size_t>(state.range(0)));
    ByteView view(bytes.data(), bytes.size());
    for (auto _ : state) {
        uint64_t sum = 0;
        for (size_t at = 0; at + EntryBytes <= view.Size(); at += EntryBytes) {
            sum += view.U64LE(at + 4) + view.U64LE(at + 12) + view.U32LE(at + 20) + view.U32BE(at + 24);
        }
        benchmark::DoNotOptimize(sum);
    }
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * bytes.size()));
}
BENCHMARK(IndexWithView)->Arg(100000);

void ZoneOffsetPerFrame(benchmark::State& state) {
    int64_t first = TicksFromSystemTime(2004, 1, 1, 0, 0, 0, 0);
    int64_t last = TicksFromSystemTime(2006, 12, 31, 0, 0, 0, 0);
    TimeZoneRules rules;
    rules.Build(first, last, FixedTimeZoneInformation());
    int64_t step = (last - first) / 100000;
    for (auto _ : state) {
        int32_t sum = 0;
        bool enabled = false;
        for (int64_t ticks = first; ticks < last; ticks += step) {
            sum += rules.GetOffset(ticks, &enabled);
        }
        benchmark::DoNotOptimize(sum);
    }
}
BENCHMARK(ZoneOffsetPerFrame);

} // namespace

BENCHMARK_MAIN();
