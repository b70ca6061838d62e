// Frames per second of the generic image decoders through the client's GetFrame, as a player
// steps through a recording: a file of concatenated JPEG pictures (720 x 576), set against
// decoding the same pictures with libjpeg-turbo alone into the same layout in the same run, and
// a stream of ADV601 fields (720 x 288). The ratio of the two JPEG rates is printed at the end;
// the aim is at most 1.10.
#include "CpuTimeRatio.h"
#include "core/client/DecoderTable.h"
#include "core/client/MasDigitalCAPI.h"
#include "fixtures/adv601/Adv601TestEncoder.h"
#include "fixtures/adv601/Adv601TestPictures.h"
#include "fixtures/formats/GenericRecordings.h"
#include "fixtures/formats/TestJpegPictures.h"
#include "model/files/MemoryFileSource.h"
#include "model/support/Guid.h"

#include <benchmark/benchmark.h>

#include <jpeglib.h>
#include <string>
#include <vector>

using namespace Vorn::Vorncast::Decoders;
using namespace Vorn::Vorncast::Decoders::Testing;
namespace Capi = Vorn::Vorncast::Decoders::MasDigitalCAPI;

namespace {

constexpr int32_t JpegWidth = 720;
constexpr int32_t JpegHeight = 576;
constexpr int32_t JpegFrames = 12;
constexpr int32_t Adv601Fields = 6;
constexpr const char* GetFrameName = "GetFrameConcatenatedJpeg720x576";
constexpr const char* LibjpegName = "LibjpegTurboAlone720x576";

const std::vector<std::vector<uint8_t>>& JpegPictures() {
    static const std::vector<std::vector<uint8_t>> jpegs = [] {
        std::vector<std::vector<uint8_t>> encoded;
        for (int32_t index = 0; index < JpegFrames; ++index) {
            encoded.push_back(EncodeTestJpeg(MakeScenePicture(JpegWidth, JpegHeight, index + 1), 75));
        }
        return encoded;
    }();
    return jpegs;
}

// A client loaded with one recording served from memory, for the life of a benchmark.
class LoadedRecording {
public:
    LoadedRecording(const char* guid, const std::string& path, const std::vector<uint8_t>& bytes) {
        files.AddFile(path, bytes.data(), bytes.size());
        Vorn::FileSource::SetCurrent(&files);
        Capi::SetLogCallback(nullptr);
        Capi::CreateClient(&client);
        Vorn::Guid parsed;
        Vorn::ParseGuid(std::string("{") + guid + "}", &parsed);
        uint32_t words[4];
        WordsFromGuid(parsed, words);
        loaded =
            Capi::OpenWithDecoder(client, words[0], words[1], words[2], words[3], -1, path.c_str(), &image,
                                  &audio, &span, &frames, &audioFrames, &duration, &hasAudio) == FCR_SUCCESS;
        picture.resize(static_cast<size_t>(image.width) * image.height * image.planes);
    }
    ~LoadedRecording() {
        Capi::Close(client);
        Capi::DestroyClient(client);
        Capi::SetLogCallback(Capi::LibraryLogForwarder);
        Vorn::FileSource::SetCurrent(nullptr);
    }

    bool Loaded() const { return loaded; }
    int32_t Frames() const { return frames; }
    bool GetFrame(int32_t index) {
        FrameTimes times{};
        int64_t frameDuration = 0;
        int32_t total = 0, camera = 0;
        uint64_t period = 0;
        return Capi::GetFrame(client, index, &times, static_cast<int32_t>(picture.size()), picture.data(),
                              &frameDuration, &total, &period, &camera, nullptr) == FCR_SUCCESS;
    }
    const uint8_t* Picture() const { return picture.data(); }

private:
    Vorn::MemoryFileSource files;
    Capi::ClientHandle client = nullptr;
    ImageInfo image{};
    AudioInfo audio{};
    TrackTimes span{};
    int32_t frames = 0, audioFrames = 0;
    int64_t duration = 0;
    bool hasAudio = false;
    bool loaded = false;
    std::vector<uint8_t> picture;
};

// GetFrame on each of the recording's `frames` frames in turn, once per iteration.
void GetFramesInTurn(benchmark::State& state, LoadedRecording& recording, int32_t frames) {
    if (!recording.Loaded() || recording.Frames() != frames) {
        state.SkipWithError("the recording did not load");
        return;
    }
    int32_t index = 0;
    for (auto _ : state) {
        if (!recording.GetFrame(index)) {
            state.SkipWithError("GetFrame failed");
            break;
        }
        benchmark::DoNotOptimize(recording.Picture());
        index = (index + 1) % frames;
    }
    state.SetItemsProcessed(state.iterations());
}

void GetFrameConcatenatedJpeg(benchmark::State& state) {
    LoadedRecording recording("8923E98A-F163-4ae9-815A-FFB2D3FFF934", "/bench/clip.mjp",
                              Concatenate(JpegPictures(), 0, 4096).bytes);
    GetFramesInTurn(state, recording, JpegFrames);
}

// libjpeg-turbo with one reused decompressor, blue-first lines of 720 x 3 bytes (already a
// multiple of four): the work GetFrame does, without the core around it.
void LibjpegTurboAlone(benchmark::State& state) {
    jpeg_decompress_struct info{};
    jpeg_error_mgr errors{};
    info.err = jpeg_std_error(&errors);
    jpeg_create_decompress(&info);
    std::vector<uint8_t> picture(static_cast<size_t>(JpegWidth) * JpegHeight * 3);
    std::vector<JSAMPROW> rows(JpegHeight);
    for (int32_t line = 0; line < JpegHeight; ++line) {
        rows[static_cast<size_t>(line)] = &picture[static_cast<size_t>(line) * JpegWidth * 3];
    }
    int32_t index = 0;
    for (auto _ : state) {
        const std::vector<uint8_t>& jpeg = JpegPictures()[static_cast<size_t>(index)];
        jpeg_mem_src(&info, jpeg.data(), jpeg.size());
        jpeg_read_header(&info, TRUE);
        info.out_color_space = JCS_EXT_BGR;
        jpeg_start_decompress(&info);
        while (info.output_scanline < info.output_height) {
            jpeg_read_scanlines(&info, &rows[info.output_scanline],
                                info.output_height - info.output_scanline);
        }
        jpeg_finish_decompress(&info);
        benchmark::DoNotOptimize(picture.data());
        index = (index + 1) % JpegFrames;
    }
    jpeg_destroy_decompress(&info);
    state.SetItemsProcessed(state.iterations());
}

void GetFrameAdv601Fields(benchmark::State& state) {
    const Adv601TestPicture pictures[] = {Adv601Gradient(true), Adv601ColourBars(true), Adv601Edges(true)};
    std::vector<std::vector<uint8_t>> fields;
    for (int32_t index = 0; index < Adv601Fields; ++index) {
        fields.push_back(EncodeAdv601(pictures[index % 3].bgr.data()));
    }
    LoadedRecording recording("E2FA1771-9E5B-4349-94E2-018A2939E6EA", "/bench/stream.601",
                              Concatenate(fields).bytes);
    GetFramesInTurn(state, recording, Adv601Fields);
}

} // namespace

BENCHMARK(GetFrameConcatenatedJpeg)->Name(GetFrameName)->Unit(benchmark::kMillisecond);
BENCHMARK(LibjpegTurboAlone)->Name(LibjpegName)->Unit(benchmark::kMillisecond);
BENCHMARK(GetFrameAdv601Fields)->Name("GetFrameAdv601Fields720x288")->Unit(benchmark::kMillisecond);

int main(int argc, char** argv) {
    CpuTimeRatioReporter reporter;
    if (!RunBenchmarks(argc, argv, reporter)) {
        return 1;
    }
    reporter.PrintRatio(GetFrameName, LibjpegName,
                        "GetFrame / libjpeg-turbo processor time per 720 x 576 frame", 1.10);
    benchmark::Shutdown();
    return 0;
}
