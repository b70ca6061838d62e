// The AVI family: stepping through a 720 x 576 MPEG-4 AVI of 1000 frames written by the ffmpeg
// program (FourCC XVID, a key frame every 50), read as an AverMedia USBPlayback file, with a picture
// for every frame through Stream_GetNextSample; against libavformat, libavcodec and libswscale doing
// what `ffmpeg -threads 1 -i FILE -pix_fmt bgr24 -f null -` does with the same file, in this process.
// The line printed at the end divides the two processor times (aim: at most 1.10). The recorder's
// copy differs from ffmpeg's file only in its first four bytes, which that recorder writes as "AVF0"
// where other AVI files say "RIFF".

#include "CpuTimeRatio.h"
#include "FfmpegReference.h"
#include "fixtures/iso/FfmpegTool.h"
#include "model/support/Guid.h"

#include <vorncast/VorncastDecoders.h>

#include <algorithm>
#include <string>
#include <vector>

namespace {

constexpr int32_t Frames = 1000;
constexpr const char* AVerMediaGuid = "{11BB9C9E-0073-4cd3-92FE-57EE56F49387}";

// ffmpeg's file and the recorder's copy, made once in a folder of their own.
struct Recording {
    Recording();

    IsoTest::TempFolder folder;
    std::string avi = folder.Path("clip.avi");
    std::string recorder = folder.Path("clip.avf");
    bool ok = false;
};

Recording::Recording() {
    if (!folder.Ok() || !IsoTest::HaveFfmpegTools() ||
        !IsoTest::RunFfmpeg("-f lavfi -i testsrc=size=720x576:rate=25 -frames:v " + std::to_string(Frames) +
                            " -c:v mpeg4 -vtag XVID -q:v 4 -g 50 -bf 0 '" + avi + "'")) {
        return;
    }
    IsoTest::Bytes bytes = IsoTest::ReadWholeFile(avi);
    if (bytes.size() > 12) {
        const char magic[] = "AVF0";
        std::copy(magic, magic + 4, bytes.begin());
        ok = IsoTest::WriteWholeFile(recorder, bytes);
    }
}

const Recording& Clip() {
    static const Recording clip;
    return clip;
}

int NeverAbort() {
    return 0;
}

VcGuid GuidOf(const char* text) {
    VcGuid guid{};
    Vorn::ParseGuid(text, &guid);
    return guid;
}

void StepMpeg4Avi(benchmark::State& state) {
    if (!Clip().ok) {
        state.SkipWithError("the ffmpeg program or its MPEG-4 encoder is missing");
        return;
    }
    int collection = 0, decoder = 0, track = 0, stream = 0, resources = 0;
    DecoderCollection_Create(nullptr, &collection);
    const std::string& url = Clip().recorder;
    if (Decoder_Create(collection, GuidOf(AVerMediaGuid), -1, -1, &decoder) != 0 ||
        Decoder_Load(decoder, static_cast<int>(url.size()), url.c_str(), nullptr, nullptr, NeverAbort,
                     &resources) != 0 ||
        Decoder_GetTrack(decoder, 0, &track) != 0 || Track_GetStream(track, 0, &stream) != 0) {
        state.SkipWithError("the recording did not load");
    } else {
        for (auto _ : state) {
            VcSeekRequest start{};
            start.abort = NeverAbort;
            start.wantData = 1;
            VcSample sample{};
            int32_t stepped = Stream_GoToTime(stream, start, &sample) == 0 ? 1 : 0;
            Stream_ReleaseSample(stream, sample);
            const VcSampleRequest request{NeverAbort, {0, 0}, 1, 0};
            while (Stream_GetNextSample(stream, request, &sample) == 0) {
                Stream_ReleaseSample(stream, sample);
                ++stepped;
            }
            if (stepped != Frames) {
                state.SkipWithError("the walk did not reach every frame");
                break;
            }
        }
    }
    Decoder_Close(decoder);
    Decoder_Release(decoder);
    DecoderCollection_Release(collection);
}
BENCHMARK(StepMpeg4Avi)->Unit(benchmark::kMillisecond);

void FfmpegDecodeToBgr(benchmark::State& state) {
    if (!Clip().ok) {
        state.SkipWithError("the ffmpeg program or its MPEG-4 encoder is missing");
        return;
    }
    for (auto _ : state) {
        FfmpegDecodeFileToBgr(Clip().avi);
    }
}
BENCHMARK(FfmpegDecodeToBgr)->Unit(benchmark::kMillisecond);

} // namespace

int main(int argc, char** argv) {
    VcInitRecord record{};
    InitVorncastDecoders(record);
    CpuTimeRatioReporter reporter;
    if (!RunBenchmarks(argc, argv, reporter)) {
        return 1;
    }
    reporter.PrintRatio("StepMpeg4Avi", "FfmpegDecodeToBgr",
                        "MPEG-4 AVI stepping with pictures against libavcodec alone", 1.10);
    return 0;
}
