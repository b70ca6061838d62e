// The FFmpeg import plug-in through the exported functions, on Matroska files (a container no built-in
// decoder takes) that the ffmpeg program writes first into the system's temporary folder, kept for later
// runs.
//
// StepPlugin steps a 1280 x 720 H.264 file with B-frames (100 frames) from start to end with pictures;
// DecodeAlone decodes the same file with libavformat, libavcodec (one thread) and libswscale to
// blue-first pixels, as `ffmpeg -threads 1 -i FILE -pix_fmt bgr24 -f null -` does. The line printed at
// the end divides the two processor times (aim: at most 1.10).
//
// GoToTimeHour seeks to random times in a one-hour 320 x 180 H.264 file with a key frame every 2 s;
// its time per iteration is the time of one seek with its picture (aim: under 100 ms).
#include "CpuTimeRatio.h"
#include "FfmpegReference.h"
#include "fixtures/iso/FfmpegTool.h"

#include <vorncast/VorncastDecoders.h>

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavformat/avformat.h>
#include <libswscale/swscale.h>
}

#include <filesystem>
#include <random>
#include <string>
#include <vector>

namespace {

constexpr int64_t TicksPerSecond = 10000000;

int NeverAbort() {
    return 0;
}

int AnyCandidate(VcPublicDecoderInfo, int, int) {
    return 0;
}

// The file `name` in the temporary folder, written by ffmpeg with `arguments` unless it is there.
std::string Recording(const std::string& name, const std::string& arguments) {
    const std::string path = (std::filesystem::temp_directory_path() / name).string();
    if (!std::filesystem::exists(path) && !IsoTest::RunFfmpeg(arguments + " '" + path + "'")) {
        return "";
    }
    return path;
}

std::string SteppedFile() {
    static const std::string path =
        Recording("vorncast-bench-720p.mkv",
                  "-f lavfi -i testsrc=size=1280x720:rate=25:duration=4 -c:v libx264 -bf 2 -g 50");
    return path;
}

std::string HourFile() {
    static const std::string path = Recording(
        "vorncast-bench-hour.mkv", "-f lavfi -i testsrc=size=320x180:rate=25:duration=3600 -c:v libx264 "
                                   "-preset ultrafast -bf 2 -g 50");
    return path;
}

// A loaded decoder of `path` and its first stream, released with the object.
class LoadedRecording {
public:
    explicit LoadedRecording(const std::string& path) {
        DecoderCollection_Create(FFMPEG_PLUGIN_ROOT, &collection);
        int candidates = 0, resources = 0, track = 0;
        VcDecoderInfoValue info{};
        VcQueryResult query{};
        DecoderCollection_GetAutodetectCollection(collection, path.c_str(), &candidates);
        DecoderCollection_Autodetect(candidates, static_cast<int>(path.size()), path.c_str(), AnyCandidate,
                                     nullptr, nullptr, NeverAbort, &decoder, &info, &query, &resources);
        DecoderCollection_Release(candidates);
        if (decoder != 0 && Decoder_GetTrack(decoder, 0, &track) == VC_Success) {
            Track_GetStream(track, 0, &stream);
        }
    }
    ~LoadedRecording() {
        if (decoder != 0) {
            Decoder_Release(decoder);
        }
        DecoderCollection_Release(collection);
    }
    LoadedRecording(const LoadedRecording&) = delete;
    LoadedRecording& operator=(const LoadedRecording&) = delete;

    int collection = 0;
    int decoder = 0;
    int stream = 0;
};

void StepPlugin(benchmark::State& state) {
    LoadedRecording recording(SteppedFile());
    if (recording.stream == 0) {
        state.SkipWithError("the plug-in did not load the file");
        return;
    }
    VcSampleRequest request{};
    request.abort = NeverAbort;
    request.wantData = 1;
    for (auto _ : state) {
        VcSeekRequest seek{};
        seek.abort = NeverAbort;
        seek.targetTime = VC_TIME_MIN;
        VcSample sample{};
        Stream_GoToTime(recording.stream, seek, &sample);
        while (Stream_GetNextSample(recording.stream, request, &sample) == VC_Success) {
            Stream_ReleaseSample(recording.stream, sample);
        }
    }
}
BENCHMARK(StepPlugin)->Unit(benchmark::kMillisecond)->Iterations(3);

void DecodeAlone(benchmark::State& state) {
    const std::string path = SteppedFile();
    for (auto _ : state) {
        FfmpegDecodeFileToBgr(path, SWS_BILINEAR);
    }
}
BENCHMARK(DecodeAlone)->Unit(benchmark::kMillisecond)->Iterations(3);

void GoToTimeHour(benchmark::State& state) {
    LoadedRecording recording(HourFile());
    if (recording.stream == 0) {
        state.SkipWithError("the plug-in did not load the file");
        return;
    }
    std::mt19937_64 random(7);
    std::uniform_int_distribution<int64_t> times(0, 3599 * TicksPerSecond);
    for (auto _ : state) {
        VcSeekRequest seek{};
        seek.abort = NeverAbort;
        seek.wantData = 1;
        seek.targetTime = times(random);
        VcSample sample{};
        if (Stream_GoToTime(recording.stream, seek, &sample) == VC_Success) {
            Stream_ReleaseSample(recording.stream, sample);
        }
    }
}
BENCHMARK(GoToTimeHour)->Unit(benchmark::kMillisecond)->Iterations(50);

} // namespace

int main(int argc, char** argv) {
    VcInitRecord record{};
    record.importPluginsEnabled = 1;
    InitVorncastDecoders(record);
    CpuTimeRatioReporter reporter;
    if (!RunBenchmarks(argc, argv, reporter)) {
        return 1;
    }
    reporter.PrintRatio("StepPlugin", "DecodeAlone", "stepping with pictures against decoding alone", 1.10);
    return 0;
}
