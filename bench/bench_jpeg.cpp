// Decoding speed of a full-size PAL frame (704 x 576) into blue-first lines, as every Motion JPEG
// format decoder does once per frame shown: frames per second is the items rate.
#include "codecs/jpeg/JpegCodec.h"
#include "fixtures/formats/TestJpegPictures.h"
#include "fixtures/jpeg/JpegTestSupport.h"

#include <benchmark/benchmark.h>

#include <cstdint>
#include <vector>

namespace {

constexpr int32_t Width = 704;
constexpr int32_t Height = 576;

using namespace Vorn::Vorncast::Decoders::Testing;

// A camera scene, stored as recorders store it: quality 75, chroma at a quarter of the resolution.
std::vector<uint8_t> EncodeScene(bool progressive) {
    BgrPicture scene = MakeScenePicture(Width, Height, 0);
    EncodeOptions options;
    options.quality = 75;
    options.sampling = Sampling::S420;
    options.progressive = progressive;
    return EncodeJpeg(TestPicture{Width, Height, 3, scene.bgr}, options);
}

void DecodeToBgr(benchmark::State& state, bool progressive) {
    std::vector<uint8_t> jpeg = EncodeScene(progressive);
    std::vector<uint8_t> picture(static_cast<size_t>(Width) * Height * 3);
    Vorn::Vorncast::Decoders::JpegDecoderScratch scratch;
    for (auto _ : state) {
        bool decoded = Vorn::Vorncast::Decoders::JpegDecodeToBuffer(
            scratch, jpeg.data(), static_cast<int32_t>(jpeg.size()), picture.data(),
            static_cast<int32_t>(picture.size()));
        if (!decoded) {
            state.SkipWithError("decode failed");
            break;
        }
        benchmark::DoNotOptimize(picture.data());
    }
    state.SetItemsProcessed(state.iterations());
    state.SetBytesProcessed(state.iterations() * static_cast<int64_t>(jpeg.size()));
}

void BaselineDecode704x576(benchmark::State& state) {
    DecodeToBgr(state, false);
}
void ProgressiveDecode704x576(benchmark::State& state) {
    DecodeToBgr(state, true);
}

void ReadHeader704x576(benchmark::State& state) {
    std::vector<uint8_t> jpeg = EncodeScene(false);
    int32_t width = 0;
    for (auto _ : state) {
        benchmark::DoNotOptimize(Vorn::Vorncast::Decoders::JpegReadHeader(
            jpeg.data(), static_cast<int32_t>(jpeg.size()), &width, nullptr, nullptr));
    }
    state.SetItemsProcessed(state.iterations());
}

} // namespace

BENCHMARK(BaselineDecode704x576)->Unit(benchmark::kMillisecond);
BENCHMARK(ProgressiveDecode704x576)->Unit(benchmark::kMillisecond);
BENCHMARK(ReadHeader704x576);
BENCHMARK_MAIN();
