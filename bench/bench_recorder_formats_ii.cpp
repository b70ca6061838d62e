// Recorder formats of the second family through the exported functions.
//
// LoadVix loads (Query + Load) a vix index of a million frames of four cameras from a file on disk,
// its records read in blocks of 128; the items per second are frames indexed per second (aim: at
// least 2 million with the index in the page cache, which the first iteration warms).
//
// StepNewWavestore steps through the 720 x 288 ADV601 fields of a Wavestore export held in memory;
// Adv601Alone decodes the same fields with the codec alone. The line printed at the end divides the
// two processor times (aim: at most 1.10).
//
// WorkerRoundTrip has the LJD Leviathan worker decode frame after frame of one chain with the
// stand-in library beside the program (submit, wait, pick up); DirectCall makes the same library
// calls and copies on the caller's thread. The line printed at the end gives the processor microseconds (both
// threads) the worker adds to a frame (aim: under 20).
#include "CpuTimeRatio.h"
#include "codecs/adv601/ADV601Decoder.h"
#include "fixtures/adv601/Adv601TestEncoder.h"
#include "fixtures/adv601/Adv601TestPictures.h"
#include "fixtures/formats/LjdLeviathanWriter.h"
#include "fixtures/formats/LorikanWriter.h"
#include "fixtures/formats/NewWavestoreWriter.h"
#include "formats/ljd/LjdLeviathanDll.h"
#include "model/files/MemoryFileSource.h"
#include "model/support/Guid.h"

#include <dlfcn.h>
#include <unistd.h>

#include <vorncast/VorncastDecoders.h>

#include <benchmark/benchmark.h>

#include <cstdio>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

using namespace Vorn::Vorncast::Decoders::Testing;

namespace {

constexpr int32_t Frames = 1000000;
constexpr const char* VixGuid = "{6D8CDEC5-3294-4c55-9DDF-19C96AAD41C2}";

int NeverAbort() {
    return 0;
}

using namespace Vorn::Vorncast::Decoders;

void WriteFile(const std::filesystem::path& path, const std::vector<uint8_t>& bytes) {
    std::ofstream(path, std::ios::binary)
        .write(reinterpret_cast<const char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
}

// Frames of four bytes each, 25 a second, in one data file beside the index.
std::filesystem::path WriteMillionFrameIndex() {
    const std::filesystem::path folder = std::filesystem::temp_directory_path() / "vorncast_bench_vix";
    std::filesystem::create_directories(folder);
    VixLayout layout;
    layout.width = 16;
    layout.height = 16;
    layout.cameras = {{0, "A"}, {1, "B"}, {2, "C"}, {3, "D"}};
    layout.dataFolder = folder.string() + "/";
    layout.dataFileCapacity = uint64_t{1} << 32;
    std::vector<VixPicture> pictures(Frames);
    for (int32_t index = 0; index < Frames; ++index) {
        pictures[index] = {638000000000000000 + int64_t{index} * 400000,
                           static_cast<uint16_t>(index % 4),
                           {0xFF, 0xD8, 0xFF, 0xD9}};
    }
    const VixRecording vix = WriteVix(layout, pictures);
    WriteFile(folder / "index.vix", vix.index);
    WriteFile(vix.dataNames.front(), vix.dataFiles.front());
    return folder / "index.vix";
}

void LoadVix(benchmark::State& state) {
    static const std::string path = WriteMillionFrameIndex().string();
    VcGuid guid{};
    Vorn::ParseGuid(VixGuid, &guid);
    for (auto _ : state) {
        int collection = 0, decoder = 0, resources = 0;
        DecoderCollection_Create(nullptr, &collection);
        const bool loaded = Decoder_Create(collection, guid, -1, -1, &decoder) == 0 &&
                            Decoder_Load(decoder, static_cast<int>(path.size()), path.c_str(), nullptr,
                                         nullptr, NeverAbort, &resources) == 0;
        Decoder_Close(decoder);
        Decoder_Release(decoder);
        DecoderCollection_Release(collection);
        if (!loaded) {
            state.SkipWithError("the index did not load");
            return;
        }
    }
    state.SetItemsProcessed(state.iterations() * Frames);
}

constexpr int32_t Fields = 8;

const std::vector<std::vector<uint8_t>>& WavestoreFields() {
    static const std::vector<std::vector<uint8_t>> fields = [] {
        std::vector<std::vector<uint8_t>> encoded;
        const Adv601TestPicture pictures[] = {Adv601Gradient(true), Adv601ColourBars(true)};
        for (int32_t index = 0; index < Fields; ++index) {
            encoded.push_back(EncodeAdv601(pictures[index % 2].bgr.data()));
        }
        return encoded;
    }();
    return fields;
}

void StepNewWavestore(benchmark::State& state) {
    Vorn::MemoryFileSource files;
    std::vector<WavestoreFrame> frames;
    for (int32_t index = 0; index < Fields; ++index) {
        frames.push_back({1, "Bench", 900 + index * 12, WavestoreFields()[static_cast<size_t>(index)]});
    }
    const std::vector<uint8_t> file = WriteWavestoreFile(frames).bytes;
    files.AddFile("/ws/export.dat", "x", 1);
    files.AddFile("/ws/a/1.v", file.data(), file.size());
    Vorn::FileSource::SetCurrent(&files);
    VcGuid guid{};
    Vorn::ParseGuid("{516B281A-ACBD-4a40-BB1F-25A2D6D89E4B}", &guid);
    int collection = 0, decoder = 0, resources = 0, track = 0, stream = 0;
    DecoderCollection_Create(nullptr, &collection);
    const std::string path = "/ws/export.dat";
    if (Decoder_Create(collection, guid, -1, -1, &decoder) != 0 ||
        Decoder_Load(decoder, static_cast<int>(path.size()), path.c_str(), nullptr, nullptr, NeverAbort,
                     &resources) != 0 ||
        Decoder_GetTrack(decoder, 0, &track) != 0 || Track_GetStream(track, 0, &stream) != 0) {
        state.SkipWithError("the export did not load");
    }
    for (auto _ : state) {
        VcSeekRequest seek{};
        seek.abort = NeverAbort;
        seek.wantData = 1;
        VcSample sample{};
        Stream_GoToTime(stream, seek, &sample);
        Stream_ReleaseSample(stream, sample);
        for (int32_t index = 1; index < Fields; ++index) {
            VcSampleRequest request{};
            request.abort = NeverAbort;
            request.wantData = 1;
            Stream_GetNextSample(stream, request, &sample);
            Stream_ReleaseSample(stream, sample);
        }
    }
    Decoder_Close(decoder);
    Decoder_Release(decoder);
    DecoderCollection_Release(collection);
    Vorn::FileSource::SetCurrent(nullptr);
}

void Adv601Alone(benchmark::State& state) {
    ADV601Decoder decoder;
    std::vector<uint8_t> picture(ADV601Decoder::OutputSize(true));
    for (auto _ : state) {
        for (const std::vector<uint8_t>& field : WavestoreFields()) {
            std::vector<uint8_t> copy = field;
            decoder.Decode(true, false, copy.data(), static_cast<int32_t>(copy.size()), picture.data());
        }
    }
}

// A store of one camera's chain of small pictures, on disk for the library to read.
constexpr int32_t ChainFrames = 64;

std::string WriteChain() {
    std::vector<LjdFrame> frames;
    for (int32_t index = 0; index < ChainFrames; ++index) {
        frames.push_back({0, index == 0, 45000.5 + index / 86400.0, 64, 48,
                          std::vector<uint8_t>(64 * 48 * 3, static_cast<uint8_t>(index))});
    }
    const std::string path = "/tmp/vorncast_bench_" + std::to_string(getpid()) + ".vmb";
    WriteFile(path, WriteLjdLeviathan(frames, {}).store);
    return path;
}

void WorkerRoundTrip(benchmark::State& state) {
    const std::string path = WriteChain();
    Vorn::Vorncast::Decoders::WaitEvent complete;
    LjdLeviathanDll dll(complete, nullptr, nullptr);
    int32_t width = 0, height = 0;
    dll.Open(path.c_str());
    complete.Wait();
    if (!dll.GetOpenResult(&width, &height)) {
        state.SkipWithError("no stand-in library beside the program");
        return;
    }
    std::vector<uint8_t> picture(static_cast<size_t>(width) * height * 3);
    for (auto _ : state) {
        for (int32_t frame = 0; frame < ChainFrames; ++frame) {
            dll.Read(0, 0, frame, picture.data(), static_cast<int32_t>(picture.size()));
            complete.Wait();
            dll.GetReadResult();
        }
    }
    state.SetItemsProcessed(state.iterations() * ChainFrames);
    std::remove(path.c_str());
}

void DirectCall(benchmark::State& state) {
    const std::string path = WriteChain();
    const std::string beside =
        std::filesystem::read_symlink("/proc/self/exe").parent_path().string() + "/libvdbfile.so";
    void* library = dlopen(beside.c_str(), RTLD_NOW);
    if (library == nullptr) {
        state.SkipWithError("no stand-in library beside the program");
        return;
    }
    auto open = reinterpret_cast<VdbOpenCall>(dlsym(library, "VDB_Open"));
    auto close = reinterpret_cast<VdbCloseCall>(dlsym(library, "VDB_Close"));
    auto first = reinterpret_cast<VdbGetFirstBitmapCall>(dlsym(library, "VDB_GetFirstBitmap"));
    auto next = reinterpret_cast<VdbGetNextBitmapCall>(dlsym(library, "VDB_GetNextBitmap"));
    VdbHandle handle = open(path.c_str());
    std::vector<uint8_t> picture(64 * 48 * 3);
    for (auto _ : state) {
        VdbBitmap bitmap{};
        int32_t record = 0;
        first(handle, 0, &bitmap);
        std::memcpy(picture.data(), bitmap.bits, picture.size());
        for (int32_t frame = 1; frame < ChainFrames; ++frame) {
            next(handle, &record, &bitmap);
            std::memcpy(picture.data(), bitmap.bits, picture.size());
        }
    }
    state.SetItemsProcessed(state.iterations() * ChainFrames);
    close(handle);
    dlclose(library);
    std::remove(path.c_str());
}

} // namespace

BENCHMARK(LoadVix)->Unit(benchmark::kMillisecond);
BENCHMARK(StepNewWavestore)->Unit(benchmark::kMillisecond);
BENCHMARK(Adv601Alone)->Unit(benchmark::kMillisecond);
BENCHMARK(WorkerRoundTrip)->Unit(benchmark::kMicrosecond)->MeasureProcessCPUTime();
BENCHMARK(DirectCall)->Unit(benchmark::kMicrosecond)->MeasureProcessCPUTime();

int main(int argc, char** argv) {
    VcInitRecord record{};
    InitVorncastDecoders(record);
    CpuTimeRatioReporter reporter;
    if (!RunBenchmarks(argc, argv, reporter)) {
        return 1;
    }
    reporter.PrintRatio("StepNewWavestore", "Adv601Alone",
                        "New Wavestore stepping against the ADV601 codec alone", 1.10);
    reporter.PrintMicrosecondsAdded("WorkerRoundTrip", "DirectCall", ChainFrames,
                                    "LJD Leviathan worker round trip, added to a frame", 20.0);
    return 0;
}
