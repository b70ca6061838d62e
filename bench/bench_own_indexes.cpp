// The system's own vix index through the exported functions.
//
// LoadVix loads (Query + Load) a vix index of a million frames of four cameras from a file on disk,
// its records read in blocks of 128; the items per second are frames indexed per second (aim: at
// least 2 million with the index in the page cache, which the first iteration warms).
#include "fixtures/formats/LorikanWriter.h"
#include "model/support/Guid.h"

#include <vorncast/VorncastDecoders.h>

#include <benchmark/benchmark.h>

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

} // namespace

BENCHMARK(LoadVix)->Unit(benchmark::kMillisecond);

int main(int argc, char** argv) {
    VcInitRecord record{};
    InitVorncastDecoders(record);
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}
