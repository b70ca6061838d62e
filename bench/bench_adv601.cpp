// Decoding speed of one ADV601 field of 720 x 288 pixels: a picture full of detail, and one whose
// blocks are nearly all empty, which leaves the wavelet synthesis and colour conversion alone.
#include "codecs/adv601/ADV601Decoder.h"

// The tests' field encoder and pictures, compiled into this program.
#include "fixtures/adv601/Adv601TestEncoder.h"
#include "fixtures/adv601/Adv601TestPictures.h"

#include <benchmark/benchmark.h>

using namespace Vorn::Vorncast::Decoders;
using namespace Vorn::Vorncast::Decoders::Testing;

namespace {

void DecodeField(benchmark::State& state, const Adv601TestPicture& picture) {
    std::vector<uint8_t> field = EncodeAdv601(picture.bgr.data());
    std::vector<uint8_t> output(ADV601Decoder::OutputSize(true));
    ADV601Decoder decoder;
    for (auto _ : state) {
        if (!decoder.Decode(true, false, field.data(), static_cast<int32_t>(field.size()), output.data())) {
            state.SkipWithError(decoder.LastError());
            break;
        }
        benchmark::DoNotOptimize(output.data());
    }
    state.counters["fields/s"] =
        benchmark::Counter(static_cast<double>(state.iterations()), benchmark::Counter::kIsRate);
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * field.size()));
}

void DetailedField(benchmark::State& state) {
    DecodeField(state, Adv601Edges(true));
}
void ColourBarsField(benchmark::State& state) {
    DecodeField(state, Adv601ColourBars(true));
}
void FlatField(benchmark::State& state) {
    DecodeField(state, Adv601Flat(true, 60, 120, 180));
}

} // namespace

BENCHMARK(DetailedField)->Unit(benchmark::kMillisecond);
BENCHMARK(ColourBarsField)->Unit(benchmark::kMillisecond);
BENCHMARK(FlatField)->Unit(benchmark::kMillisecond);

BENCHMARK_MAIN();
