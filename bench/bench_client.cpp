#include "core/client/DecoderTable.h"
#include "core/client/FileClient.h"
#include "core/decoder/BaseDecoder.h"

#include <benchmark/benchmark.h>

#include <cstring>
#include <string>

using namespace Vorn::Vorncast::Decoders;

namespace {

constexpr const char* BenchGuid = "0DDBA11C-0FFE-4EE5-8BAD-F00DCAFE0002";

// A decoder whose index is all in memory: its load takes one list step, positioning completes at
// once. What a GetFrameInfo costs through it is the client's own overhead.
class IndexedDecoder : public BaseDecoder {
public:
    bool GetImage(int32_t, uint8_t*) override { return false; }
    int32_t GetFrameAtOrBefore(int32_t frame, int32_t) override { return frame; }
    int32_t GetPreviousFrame(int32_t frame, int32_t) override { return frame - 1; }
    int32_t GetNextFrame(int32_t frame, int32_t) override { return frame + 1 < totalFrames ? frame + 1 : -1; }
    void Reset() override {}
    const char* GetDecoderName() override { return "IndexedDecoder"; }
    void GetDecoderGuid(const char** guid) override { *guid = BenchGuid; }
    const char* GetExtensions(int32_t* count) override {
        *count = 1;
        return "idx";
    }
    bool IsExtension(const char*) override { return true; }

protected:
    FrameTimes GetFrameTimes() override {
        FrameTimes times = {};
        times.recordedTime = 630000000000000000 + int64_t{currentFrame} * 400000;
        times.streamTime = times.recordedTime;
        return times;
    }
    void GetFrameCamera(CameraTag* camera) override {
        std::memset(camera, 0, sizeof(*camera));
        camera->number = static_cast<uint16_t>(currentFrame % 4);
    }
    DecoderAction LoadingCore() override { return DDA_LIST_FILES; }
    void LoadingGetListPath(char* directory, char* pattern, int32_t* depth) override {
        std::memset(directory, 0, MaxPathLength);
        std::memset(pattern, 0, MaxPathLength);
        *depth = 0;
    }
    DecoderAction LoadingFileListComplete(bool, FileList&) override {
        SetImageFormat(352, 288, 4, 3, true, 1000);
        return DDA_COMPLETE;
    }
    DecoderAction PositioningCore() override { return DDA_COMPLETE; }
    DecoderAction DecompressingCore() override { return DDA_COMPLETE; }
    DecoderAction UnloadingCore() override { return DDA_COMPLETE; }
};

// Loads the indexed decoder in a client for the life of the object.
struct LoadedClient {
    IndexedDecoder decoder;
    BaseDecoder* previous = DecoderTable::Swap(0, &decoder);
    FileClient client;
    bool loaded = false;

    LoadedClient() {
        Vorn::Guid guid;
        Vorn::ParseGuid(std::string("{") + BenchGuid + "}", &guid);
        loaded = client.OpenForLoad(guid, -1, "bench.idx", nullptr, nullptr, nullptr, nullptr, nullptr,
                                    nullptr, nullptr) == FCR_SUCCESS;
    }
    ~LoadedClient() {
        client.Close();
        DecoderTable::Swap(0, previous);
    }
};

void BM_GetFrameInfoOnANewFrame(benchmark::State& state) {
    LoadedClient loaded;
    if (!loaded.loaded) {
        state.SkipWithError("the test decoder did not load");
        return;
    }
    FrameTimes times = {};
    int64_t last = 0;
    int32_t frames = 0, camera = 0;
    int32_t frame = 0;
    for (auto _ : state) {
        FileClientResult result =
            loaded.client.GetFrameInfo(frame, &times, &last, &frames, nullptr, &camera, nullptr);
        benchmark::DoNotOptimize(result);
        benchmark::DoNotOptimize(times);
        frame = (frame + 1) % 1000;
    }
}
BENCHMARK(BM_GetFrameInfoOnANewFrame);

void BM_GetFrameInfoOnTheCurrentFrame(benchmark::State& state) {
    LoadedClient loaded;
    if (!loaded.loaded) {
        state.SkipWithError("the test decoder did not load");
        return;
    }
    FrameTimes times = {};
    int64_t last = 0;
    int32_t frames = 0, camera = 0;
    char name[CameraNameLength];
    for (auto _ : state) {
        FileClientResult result =
            loaded.client.GetFrameInfo(7, &times, &last, &frames, nullptr, &camera, name);
        benchmark::DoNotOptimize(result);
        benchmark::DoNotOptimize(times);
    }
}
BENCHMARK(BM_GetFrameInfoOnTheCurrentFrame);

} // namespace

BENCHMARK_MAIN();
