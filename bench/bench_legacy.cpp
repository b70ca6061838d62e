// Stepping a digital decoder's stream through the exported functions: what the bridge and the client
// add to a step on a loaded recording of 100 000 frames from four interleaved cameras, whose hop to
// the channel's next frame is an index walk.
//
// StepTimesOnly is the cost of one Stream_GetNextSample without a picture (aim: under 2 us).
// StepWithPictures is the same step with a 720 x 576 JPEG picture decoded by the library's codec,
// and JpegCodecAlone decodes the same bytes with the same codec into a buffer of the same layout.
// The line printed at the end divides the two processor times (the CPU column; aim: at most 1.10).
#include "CpuTimeRatio.h"
#include "codecs/jpeg/JpegCodec.h"
#include "core/client/DecoderTable.h"
#include "core/decoder/BaseDecoder.h"
#include "fixtures/formats/TestJpegPictures.h"
#include "fixtures/jpeg/JpegTestSupport.h"

#include <vorncast/VorncastDecoders.h>

#include <benchmark/benchmark.h>

#include <algorithm>
#include <cstring>
#include <string>
#include <vector>

using namespace Vorn::Vorncast::Decoders;
using namespace Vorn::Vorncast::Decoders::Testing;

namespace {

constexpr const char* BenchGuid = "0DDBA11C-0FFE-4EE5-8BAD-F00DCAFE0003";
constexpr int32_t Cameras = 4;
constexpr int32_t Frames = 100000;
constexpr int32_t Width = 720;
constexpr int32_t Height = 576;
constexpr int32_t PictureBytes = Width * Height * 3;
constexpr int64_t FirstTime = 630000000000000000;
constexpr int64_t Period = 400000;

constexpr const char* WithPicturesName = "StepWithPictures720x576";
constexpr const char* CodecAloneName = "JpegCodecAlone720x576";

// A camera scene as recorders store it: quality 75, chroma at a quarter of the resolution.
std::vector<uint8_t> EncodeScene() {
    BgrPicture scene = MakeScenePicture(Width, Height, 0);
    EncodeOptions options;
    options.quality = 75;
    options.sampling = Sampling::S420;
    return EncodeJpeg(TestPicture{Width, Height, 3, scene.bgr}, options);
}

// Four cameras taking turns, the whole index in memory, every picture the same JPEG.
class RoundRobinDecoder : public BaseDecoder {
public:
    explicit RoundRobinDecoder(const std::vector<uint8_t>& jpeg) : jpeg(jpeg) {}

    int32_t failedPictures = 0;

    bool GetImage(int32_t size, uint8_t* buffer) override {
        bool decoded =
            JpegDecodeToBuffer(scratch, jpeg.data(), static_cast<int32_t>(jpeg.size()), buffer, size);
        failedPictures += decoded ? 0 : 1;
        return decoded;
    }
    int32_t GetFrameAtOrBefore(int32_t frame, int32_t filter) override {
        return GetPreviousFrame(frame + 1, filter);
    }
    int32_t GetPreviousFrame(int32_t frame, int32_t filter) override {
        for (int32_t index = std::min(frame, totalFrames) - 1; index >= 0; --index) {
            if (index % Cameras == filter) {
                return index;
            }
        }
        return -1;
    }
    int32_t GetNextFrame(int32_t frame, int32_t filter) override {
        for (int32_t index = frame + 1; index < totalFrames; ++index) {
            if (index % Cameras == filter) {
                return index;
            }
        }
        return -1;
    }
    int32_t IndexOfFrameAtStreamTime(int64_t time) override {
        return time < FirstTime
                   ? -1
                   : static_cast<int32_t>(std::min<int64_t>((time - FirstTime) / Period, Frames - 1));
    }
    void GetCameras(uint8_t* mask) override {
        std::memset(mask, 0, CameraMaskBytes);
        mask[0] = (1u << Cameras) - 1;
    }
    void Reset() override {}
    const char* GetDecoderName() override { return "RoundRobinDecoder"; }
    void GetDecoderGuid(const char** guid) override { *guid = BenchGuid; }
    const char* GetExtensions(int32_t* count) override {
        *count = 1;
        return "rrd";
    }
    bool IsExtension(const char*) override { return true; }

protected:
    FrameTimes GetFrameTimes() override {
        FrameTimes times = {};
        times.recordedTime = times.streamTime = FirstTime + int64_t{currentFrame} * Period;
        return times;
    }
    void GetFrameCamera(CameraTag* camera) override {
        std::memset(camera, 0, sizeof(*camera));
        camera->number = static_cast<uint16_t>(currentFrame % Cameras);
    }
    DecoderAction LoadingCore() override { return DDA_LIST_FILES; }
    void LoadingGetListPath(char* directory, char* pattern, int32_t* depth) override {
        std::memset(directory, 0, MaxPathLength);
        std::memset(pattern, 0, MaxPathLength);
        *depth = 0;
    }
    DecoderAction LoadingFileListComplete(bool, FileList&) override {
        SetImageFormat(Width, Height, 4, 3, true, Frames);
        return DDA_COMPLETE;
    }
    DecoderAction PositioningCore() override { return DDA_COMPLETE; }
    DecoderAction DecompressingCore() override { return DDA_COMPLETE; }
    DecoderAction UnloadingCore() override { return DDA_COMPLETE; }

private:
    const std::vector<uint8_t>& jpeg;
    JpegDecoderScratch scratch;
};

int NeverAbort() {
    return 0;
}

// The decoder in row 0 of the table, loaded through a collection, with the stream of camera 1.
// Made once before the benchmarks run, so that no run pays for the load.
struct LoadedStream {
    std::vector<uint8_t> jpeg = EncodeScene();
    RoundRobinDecoder decoder{jpeg};
    BaseDecoder* previous = DecoderTable::Swap(0, &decoder);
    int collection = 0;
    int host = 0;
    int stream = 0;

    LoadedStream() {
        InitVorncastDecoders(VcInitRecord{});
        DecoderCollection_Create(nullptr, &collection);
        VcGuid guid;
        Vorn::ParseGuid(std::string("{") + BenchGuid + "}", &guid);
        int resources = 0;
        int track = 0;
        if (Decoder_Create(collection, guid, -1, -1, &host) == 0 &&
            Decoder_Load(host, 9, "bench.rrd", nullptr, nullptr, NeverAbort, &resources) == 0 &&
            Decoder_GetTrack(host, 0, &track) == 0) {
            Track_GetStream(track, 1, &stream);
        }
    }
    ~LoadedStream() {
        Decoder_Close(host);
        Decoder_Release(host);
        DecoderCollection_Release(collection);
        DecoderTable::Swap(0, previous);
    }
    LoadedStream(const LoadedStream&) = delete;
    LoadedStream& operator=(const LoadedStream&) = delete;

    // One step forward; at the end, back to the start. False when a picture asked for did not come:
    // the bridge hands out a black picture for a frame that fails to decode.
    bool Step(int32_t wantData) {
        VcSampleRequest request{};
        request.abort = NeverAbort;
        request.wantData = wantData;
        VcSample sample{};
        if (Stream_GetNextSample(stream, request, &sample) != 0) {
            VcSeekRequest seek{};
            seek.abort = NeverAbort;
            seek.wantData = wantData;
            seek.targetTime = FirstTime;
            Stream_GoToTime(stream, seek, &sample);
        }
        benchmark::DoNotOptimize(sample.time);
        bool pictureDelivered =
            wantData == 0 || (sample.uncompressedSize == PictureBytes && decoder.failedPictures == 0);
        Stream_ReleaseSample(stream, sample);
        return pictureDelivered;
    }
};

LoadedStream* loaded = nullptr;

void Step(benchmark::State& state, int32_t wantData) {
    if (loaded == nullptr || loaded->stream == 0) {
        state.SkipWithError("the bench decoder did not load");
        return;
    }
    for (auto _ : state) {
        if (!loaded->Step(wantData)) {
            state.SkipWithError("the step gave no picture");
            break;
        }
    }
    state.SetItemsProcessed(state.iterations());
}

void StepTimesOnly(benchmark::State& state) {
    Step(state, 0);
}

void StepWithPictures(benchmark::State& state) {
    Step(state, 1);
}

void JpegCodecAlone(benchmark::State& state) {
    const std::vector<uint8_t>& jpeg = loaded->jpeg;
    std::vector<uint8_t> picture(PictureBytes);
    JpegDecoderScratch scratch;
    for (auto _ : state) {
        if (!JpegDecodeToBuffer(scratch, jpeg.data(), static_cast<int32_t>(jpeg.size()), picture.data(),
                                PictureBytes)) {
            state.SkipWithError("decode failed");
            break;
        }
        benchmark::DoNotOptimize(picture.data());
    }
    state.SetItemsProcessed(state.iterations());
}

} // namespace

BENCHMARK(StepTimesOnly)->Name("StepTimesOnly100000Frames")->Unit(benchmark::kMicrosecond);
BENCHMARK(StepWithPictures)->Name(WithPicturesName)->Unit(benchmark::kMillisecond);
BENCHMARK(JpegCodecAlone)->Name(CodecAloneName)->Unit(benchmark::kMillisecond);

int main(int argc, char** argv) {
    LoadedStream stream;
    loaded = &stream;
    CpuTimeRatioReporter reporter;
    if (!RunBenchmarks(argc, argv, reporter)) {
        return 1;
    }
    reporter.PrintRatio(WithPicturesName, CodecAloneName,
                        "Step with picture / JPEG codec alone, processor time per 720 x 576 frame", 1.10);
    benchmark::Shutdown();
    return 0;
}
