// The native decoders without an index of their own. Native Darlex: seeks to random times in a
// 4 GB sparse disk image on disk (warm page cache), one camera, frames 1 MB or 16 MB apart; each
// seek counts the sectors it looked at and the frame headers it found (aim: about log2(size / 512)
// headers plus the second it lands in; under 5 ms a seek). Kodicom: stepping forward through a
// span of key pictures and block updates, against decoding each record's JPEG alone (aim: a ratio
// of processor time of at most 1.10).

#include "CpuTimeRatio.h"
#include "codecs/jpeg/JpegCodec.h"
#include "core/time/Ticks.h"
#include "fixtures/adv601/Adv601TestEncoder.h"
#include "fixtures/adv601/Adv601TestPictures.h"
#include "fixtures/formats/DarlexWriter.h"
#include "fixtures/formats/KodicomWriter.h"
#include "model/files/FileSource.h"
#include "model/files/MemoryFileSource.h"
#include "native/darlex/DarlexDecoder.h"
#include "native/darlex/DarlexStream.h"

#include <vorncast/VorncastDecoders.h>

#include <unistd.h>

#include <cmath>
#include <cstdlib>
#include <map>
#include <random>
#include <string>

namespace {

using namespace Vorn::Vorncast::Decoders::Testing;

constexpr uint64_t ImageBytes = uint64_t{4} << 30;
constexpr int64_t Second = 10000000;

// ---- native Darlex ----

struct SparseImage {
    std::string folder;
    int64_t firstTime = 0;
    int32_t seconds = 0;
};

// A 4 GB image of one camera, two frames a second, `gap` bytes between frames; written once.
const SparseImage& ImageWithGap(uint64_t gap) {
    static std::map<uint64_t, SparseImage> images;
    auto known = images.find(gap);
    if (known != images.end()) {
        return known->second;
    }
    SparseImage& made = images[gap];
    made.folder = "/tmp/bench-darlex-" + std::to_string(getpid()) + "-" + std::to_string(gap >> 20);
    std::system(("mkdir -p " + made.folder).c_str());
    const std::vector<uint8_t> field = EncodeAdv601(Adv601Gradient(true).bgr.data());
    DarlexImage image;
    image.tracks.resize(1);
    const auto count = static_cast<int32_t>(ImageBytes / gap);
    for (int32_t frame = 0; frame < count; ++frame) {
        const int32_t second = frame / 2;
        image.tracks[0].frames.push_back(
            {{2021, 1, 1 + second / 86400, second / 3600 % 24, second / 60 % 60, second % 60},
             1,
             field,
             gap});
    }
    made.seconds = count / 2;
    made.firstTime = Vorn::Vorncast::Decoders::TicksFromSystemTime(2021, 1, 1, 0, 0, 0, 0);
    WriteDarlexFiles(WriteDarlex(image, "BIG"), made.folder);
    return made;
}

void RemoveImages() {
    std::system(("rm -rf /tmp/bench-darlex-" + std::to_string(getpid()) + "-*").c_str());
}

void DarlexSeekInSparseImage(benchmark::State& state) {
    const SparseImage& image = ImageWithGap(static_cast<uint64_t>(state.range(0)) << 20);
    Vorn::FileSource::SetCurrent(nullptr);
    Vorn::Vorncast::DarlexDecoder decoder;
    Vorn::Vorncast::Track* track = nullptr;
    Vorn::Vorncast::Stream* stream = nullptr;
    int32_t resources = 0;
    if (decoder.Load(Vorn::Buffer((image.folder + "/BIG.VID").c_str()), nullptr, nullptr, nullptr,
                     &resources) != 0 ||
        decoder.GetTrack(0, &track) != 0 || track->GetStream(0, &stream) != 0) {
        state.SkipWithError("the image did not load");
        return;
    }
    auto* darlex = static_cast<Vorn::Vorncast::DarlexStream*>(stream);
    std::mt19937 random(7);
    std::uniform_int_distribution<int64_t> seconds(0, int64_t{image.seconds} * Second - 1);
    const int64_t blocksBefore = darlex->BlocksExamined();
    const int64_t headersBefore = darlex->HeadersFound();
    int64_t seeks = 0;
    for (auto _ : state) {
        VcSeekRequest request{};
        request.targetTime = image.firstTime + seconds(random);
        VcSample sample{};
        if (darlex->GoToTime(request, &sample) != 0) {
            state.SkipWithError("a seek failed");
            break;
        }
        ++seeks;
    }
    state.counters["headers/seek"] = static_cast<double>(darlex->HeadersFound() - headersBefore) /
                                     static_cast<double>(std::max<int64_t>(seeks, 1));
    state.counters["sectors/seek"] = static_cast<double>(darlex->BlocksExamined() - blocksBefore) /
                                     static_cast<double>(std::max<int64_t>(seeks, 1));
    state.counters["log2(size/512)"] = std::log2(static_cast<double>(ImageBytes) / 512);
}
BENCHMARK(DarlexSeekInSparseImage)
    ->Arg(1)
    ->Arg(16)
    ->ArgName("MBbetweenFrames")
    ->Unit(benchmark::kMillisecond);

// ---- Kodicom ----

constexpr int32_t Width = 320;
constexpr int32_t Height = 240;
constexpr int32_t Frames = 100;
constexpr int64_t SpanStart = 638000000000000000;

// A still scene with a textured square of 80 x 80 that moves a block a frame: about a fifth of the
// blocks change from one frame to the next; a key picture every 25 frames.
const std::vector<KodicomFrame>& Recording() {
    static std::vector<KodicomFrame> frames;
    if (!frames.empty()) {
        return frames;
    }
    for (int32_t step = 0; step < Frames; ++step) {
        KodicomFrame frame;
        frame.time = SpanStart + step * 400000;
        frame.picture = MakeColourBars(Width, Height);
        const int32_t left = step * 8 % (Width - 80);
        for (int32_t y = 80; y < 160; ++y) {
            for (int32_t x = left; x < left + 80; ++x) {
                uint8_t* pixel = frame.picture.Pixel(x, y);
                pixel[0] = static_cast<uint8_t>(x * 7 + y * 3);
                pixel[1] = static_cast<uint8_t>(x * y);
                pixel[2] = static_cast<uint8_t>(255 - y);
            }
        }
        frame.key = step % 25 == 0;
        frame.blockMap = step % 2 == 1;
        frames.push_back(std::move(frame));
    }
    return frames;
}

const KodicomSpan& Span() {
    static const KodicomSpan span = WriteKodicomSpan(Recording(), 85);
    return span;
}

uint32_t Word(const std::string& bytes, size_t at) {
    return static_cast<uint8_t>(bytes[at]) | static_cast<uint8_t>(bytes[at + 1]) << 8 |
           static_cast<uint8_t>(bytes[at + 2]) << 16 |
           static_cast<uint32_t>(static_cast<uint8_t>(bytes[at + 3])) << 24;
}

void KodicomStepForward(benchmark::State& state) {
    static Vorn::MemoryFileSource files;
    files.AddFile("/bench/KD0.bix", Span().bix);
    files.AddFile("/bench/KD0.box", Span().box);
    Vorn::FileSource::SetCurrent(&files);
    VcInitRecord init{};
    InitVorncastDecoders(init);
    int collection = 0, decoder = 0, track = 0, stream = 0, resources = 0;
    VcGuid guid{0x760D2C01, 0x30F2, 0x40c1, {0xBF, 0x16, 0x52, 0x9C, 0xA2, 0xFB, 0xC5, 0xE0}};
    const std::string url = "/bench/KD0.bix";
    if (DecoderCollection_Create(nullptr, &collection) != 0 ||
        Decoder_Create(collection, guid, 2, -1, &decoder) != 0 ||
        Decoder_Load(decoder, static_cast<int>(url.size()), url.c_str(), nullptr, nullptr, nullptr,
                     &resources) != 0 ||
        Decoder_GetTrack(decoder, 0, &track) != 0 || Track_GetStream(track, 0, &stream) != 0) {
        state.SkipWithError("the span did not load");
        return;
    }
    for (auto _ : state) {
        VcSeekRequest start{};
        start.targetTime = SpanStart - 1; // stands before the first frame without decoding
        VcSample sample{};
        Stream_GoToTime(stream, start, &sample);
        VcSampleRequest request{};
        request.wantData = 1;
        for (int32_t frame = 0; frame < Frames; ++frame) {
            if (Stream_GetNextSample(stream, request, &sample) != 0) {
                state.SkipWithError("a step failed");
                break;
            }
            Stream_ReleaseSample(stream, sample);
        }
    }
    Decoder_Release(decoder);
    DecoderCollection_Release(collection);
    Vorn::FileSource::SetCurrent(nullptr);
}
BENCHMARK(KodicomStepForward)->Unit(benchmark::kMillisecond);

// Each record's JPEG, found as the decoder finds it, decoded into a buffer of its own size.
void KodicomJpegAlone(benchmark::State& state) {
    std::vector<std::pair<size_t, size_t>> jpegs;
    for (int32_t frame = 0; frame < Frames; ++frame) {
        const size_t entry = 1116 + static_cast<size_t>(frame) * 60;
        const size_t offset = Word(Span().bix, entry + 40);
        const size_t map = Recording()[static_cast<size_t>(frame)].blockMap ? Width / 8 * (Height / 8) : 0;
        const size_t start = offset + map + 40 + 2 * Word(Span().box, offset + map + 16);
        jpegs.emplace_back(start, offset + Word(Span().bix, entry + 44) - start);
    }
    Vorn::Vorncast::Decoders::JpegDecoderScratch scratch;
    std::vector<uint8_t> buffer(Width * Height * 3);
    const auto* box = reinterpret_cast<const uint8_t*>(Span().box.data());
    for (auto _ : state) {
        for (const auto& [start, size] : jpegs) {
            if (!Vorn::Vorncast::Decoders::JpegDecodeToBuffer(scratch, box + start,
                                                              static_cast<int32_t>(size), buffer.data(),
                                                              static_cast<int32_t>(buffer.size()))) {
                state.SkipWithError("a JPEG did not decode");
            }
        }
    }
}
BENCHMARK(KodicomJpegAlone)->Unit(benchmark::kMillisecond);

} // namespace

int main(int argc, char** argv) {
    CpuTimeRatioReporter reporter;
    const bool ran = RunBenchmarks(argc, argv, reporter);
    RemoveImages();
    if (!ran) {
        return 1;
    }
    reporter.PrintRatio("KodicomStepForward", "KodicomJpegAlone",
                        "Kodicom stepping forward against decoding its partial JPEGs alone", 1.10);
    return 0;
}
