// Stepping a Synetics pair through the exported functions against decoding its MPEG-2 stream alone.
//
// StepSynetics steps a 720 x 576 pair (100 pictures, two B frames between references, a key frame
// every 12) from start to end with pictures, the files served from memory. DecodeAlone decodes the
// same elementary stream with libavcodec (one thread) and libswscale to blue-first pixels, as
// `ffmpeg -threads 1 -i FILE -pix_fmt bgr24 -f null -` does. The line printed at the end divides
// the two processor times (aim: at most 1.15).
#include "CpuTimeRatio.h"
#include "FfmpegReference.h"
#include "fixtures/formats/SyneticsWriter.h"
#include "model/files/MemoryFileSource.h"
#include "model/support/Guid.h"

#include <vorncast/VorncastDecoders.h>

extern "C" {
#include <libavcodec/avcodec.h>
#include <libswscale/swscale.h>
}

#include <cstring>
#include <string>
#include <vector>

using namespace Vorn::Vorncast::Decoders::Testing;

namespace {

constexpr int32_t Width = 720;
constexpr int32_t Height = 576;
constexpr int32_t Frames = 100;

int NeverAbort() {
    return 0;
}

const CodecTest::EncodedVideo& Video() {
    static CodecTest::EncodedVideo video;
    static const bool encoded = EncodeSyneticsVideo(Width, Height, Frames, 12, &video);
    (void)encoded;
    return video;
}

void StepSynetics(benchmark::State& state) {
    const CodecTest::EncodedVideo& video = Video();
    if (video.frames.empty()) {
        state.SkipWithError("the mpeg2video encoder is missing");
        return;
    }
    const SyneticsPair pair =
        WriteSyneticsPair("Bench", SyneticsPictures(video, {2024, 3, 0, 12, 9, 30, 0, 0}, 40));
    Vorn::MemoryFileSource files;
    files.AddFile("/syn/mpeg2_0001_1.dat", pair.iFrames.data(), pair.iFrames.size());
    files.AddFile("/syn/mpeg2_0001_2.dat", pair.otherFrames.data(), pair.otherFrames.size());
    Vorn::FileSource::SetCurrent(&files);
    VcGuid guid{};
    Vorn::ParseGuid("{A5D90B4D-A2C7-481b-922D-A1E9A2133188}", &guid);
    int collection = 0, decoder = 0, resources = 0, track = 0, stream = 0;
    DecoderCollection_Create(nullptr, &collection);
    const std::string path = "/syn/mpeg2_0001_1.dat";
    if (Decoder_Create(collection, guid, -1, -1, &decoder) != 0 ||
        Decoder_Load(decoder, static_cast<int>(path.size()), path.c_str(), nullptr, nullptr, NeverAbort,
                     &resources) != 0 ||
        Decoder_GetTrack(decoder, 0, &track) != 0 || Track_GetStream(track, 0, &stream) != 0) {
        state.SkipWithError("the pair did not load");
    }
    int64_t pictures = 0;
    for (auto _ : state) {
        VcSeekRequest seek{};
        seek.abort = NeverAbort;
        seek.wantData = 1;
        seek.targetTime = VC_TIME_MIN;
        VcSample sample{};
        Stream_GoToTime(stream, seek, &sample);
        Stream_ReleaseSample(stream, sample);
        VcSampleRequest request{};
        request.abort = NeverAbort;
        request.wantData = 1;
        while (Stream_GetNextSample(stream, request, &sample) == VC_Success) {
            pictures += sample.uncompressedSize > 0 ? 1 : 0;
            Stream_ReleaseSample(stream, sample);
        }
    }
    state.counters["pictures"] = static_cast<double>(pictures) / static_cast<double>(state.iterations());
    Decoder_Close(decoder);
    Decoder_Release(decoder);
    DecoderCollection_Release(collection);
    Vorn::FileSource::SetCurrent(nullptr);
}

void DecodeAlone(benchmark::State& state) {
    const CodecTest::EncodedVideo& video = Video();
    if (video.frames.empty()) {
        state.SkipWithError("the mpeg2video encoder is missing");
        return;
    }
    for (auto _ : state) {
        const AVCodec* codec = avcodec_find_decoder(AV_CODEC_ID_MPEG2VIDEO);
        AVCodecContext* context = avcodec_alloc_context3(codec);
        context->thread_count = 1;
        avcodec_open2(context, codec, nullptr);
        AVPacket* packet = av_packet_alloc();
        AVFrame* frame = av_frame_alloc();
        BgrPictureSink sink(SWS_BILINEAR);
        for (const CodecTest::EncodedFrame& unit : video.frames) {
            av_new_packet(packet, static_cast<int>(unit.data.size()));
            std::memcpy(packet->data, unit.data.data(), unit.data.size());
            avcodec_send_packet(context, packet);
            av_packet_unref(packet);
            sink.Drain(context, frame);
        }
        avcodec_send_packet(context, nullptr);
        sink.Drain(context, frame);
        av_frame_free(&frame);
        av_packet_free(&packet);
        avcodec_free_context(&context);
    }
}

} // namespace

BENCHMARK(StepSynetics)->Unit(benchmark::kMillisecond)->Repetitions(5);
BENCHMARK(DecodeAlone)->Unit(benchmark::kMillisecond)->Repetitions(5);

int main(int argc, char** argv) {
    VcInitRecord record{};
    InitVorncastDecoders(record);
    CpuTimeRatioReporter reporter;
    if (!RunBenchmarks(argc, argv, reporter)) {
        return 1;
    }
    reporter.PrintRatio("StepSynetics", "DecodeAlone", "Synetics stepping against decoding its stream alone",
                        1.15);
    return 0;
}
