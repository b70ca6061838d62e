// Stepping a digital decoder's stream through the exported functions: what the bridge and the client
// add to a step whose hop to the channel's next frame is an index walk and whose picture is ready.
#include "core/client/DecoderTable.h"
#include "core/decoder/BaseDecoder.h"

#include <vorncast/VorncastDecoders.h>

#include <benchmark/benchmark.h>

#include <algorithm>
#include <cstring>
#include <string>

using namespace Vorn::Vorncast::Decoders;

namespace {

constexpr const char* BenchGuid = "0DDBA11C-0FFE-4EE5-8BAD-F00DCAFE0003";
constexpr int32_t Cameras = 4;
constexpr int32_t Frames = 4000;
constexpr int32_t Width = 352;
constexpr int32_t Height = 288;
constexpr int64_t FirstTime = 630000000000000000;
constexpr int64_t Period = 400000;

// Four cameras taking turns, the whole index in memory, every picture a flat grey.
class RoundRobinDecoder : public BaseDecoder {
public:
    bool GetImage(int32_t size, uint8_t* buffer) override {
        std::memset(buffer, 0x80, static_cast<size_t>(size));
        return true;
    }
    int32_t GetFrameAtOrBefore(int32_t frame, int32_t filter) override {
        return GetPreviousFrame(frame + 1, filter);
    }
    int32_t GetPreviousFrame(int32_t frame, int32_t filter) override {
        for (int32_t index = frame - 1; index >= 0; --index) {
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
};

int NeverAbort() {
    return 0;
}

// The decoder in row 0 of the table, loaded through a collection, with the stream of camera 1.
struct LoadedStream {
    RoundRobinDecoder decoder;
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

    // One step forward; at the end, back to the start.
    void Step(int32_t wantData) {
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
        Stream_ReleaseSample(stream, sample);
    }
};

void BM_StepTimesOnly(benchmark::State& state) {
    LoadedStream loaded;
    if (loaded.stream == 0) {
        state.SkipWithError("the bench decoder did not load");
        return;
    }
    for (auto _ : state) {
        loaded.Step(0);
    }
}
BENCHMARK(BM_StepTimesOnly);

void BM_StepWithPictures(benchmark::State& state) {
    LoadedStream loaded;
    if (loaded.stream == 0) {
        state.SkipWithError("the bench decoder did not load");
        return;
    }
    for (auto _ : state) {
        loaded.Step(1);
    }
    state.SetBytesProcessed(state.iterations() * Width * Height * 3);
}
BENCHMARK(BM_StepWithPictures);

} // namespace

BENCHMARK_MAIN();
