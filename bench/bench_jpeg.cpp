// Decoding speed of a full-size PAL frame (704 x 576) into blue-first lines, as every Motion JPEG
// format decoder does once per frame shown: frames per second is the items rate.
#include "codecs/jpeg/JpegCodec.h"

#include <benchmark/benchmark.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <jpeglib.h>
#include <vector>

namespace {

constexpr int32_t Width = 704;
constexpr int32_t Height = 576;

// Smooth shading with a little texture, so that the entropy-coded data has a camera's density.
std::vector<uint8_t> MakeScene() {
    std::vector<uint8_t> pixels(static_cast<size_t>(Width) * Height * 3);
    uint32_t noise = 12345;
    for (int32_t y = 0; y < Height; ++y) {
        for (int32_t x = 0; x < Width; ++x) {
            noise = noise * 1103515245u + 12345u;
            int32_t texture = static_cast<int32_t>((noise >> 16) & 15) - 8;
            uint8_t* pixel = &pixels[(static_cast<size_t>(y) * Width + x) * 3];
            pixel[0] = static_cast<uint8_t>((x * 200 / Width + 20 + texture) & 0xFF);
            pixel[1] = static_cast<uint8_t>((y * 180 / Height + 40 + texture) & 0xFF);
            pixel[2] = static_cast<uint8_t>(((x + y) * 120 / (Width + Height) + 60 + texture) & 0xFF);
        }
    }
    return pixels;
}

std::vector<uint8_t> Encode(const std::vector<uint8_t>& pixels, bool progressive) {
    jpeg_compress_struct info{};
    jpeg_error_mgr errors{};
    info.err = jpeg_std_error(&errors);
    jpeg_create_compress(&info);
    unsigned char* output = nullptr;
    unsigned long outputSize = 0;
    jpeg_mem_dest(&info, &output, &outputSize);
    info.image_width = Width;
    info.image_height = Height;
    info.input_components = 3;
    info.in_color_space = JCS_EXT_BGR;
    jpeg_set_defaults(&info);
    jpeg_set_quality(&info, 75, TRUE);
    if (progressive) {
        jpeg_simple_progression(&info);
    }
    jpeg_start_compress(&info, TRUE);
    while (info.next_scanline < info.image_height) {
        auto* row = const_cast<JSAMPROW>(&pixels[info.next_scanline * static_cast<size_t>(Width) * 3]);
        jpeg_write_scanlines(&info, &row, 1);
    }
    jpeg_finish_compress(&info);
    jpeg_destroy_compress(&info);
    std::vector<uint8_t> bytes(output, output + outputSize);
    std::free(output);
    return bytes;
}

void DecodeToBgr(benchmark::State& state, bool progressive) {
    std::vector<uint8_t> jpeg = Encode(MakeScene(), progressive);
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
    std::vector<uint8_t> jpeg = Encode(MakeScene(), false);
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
