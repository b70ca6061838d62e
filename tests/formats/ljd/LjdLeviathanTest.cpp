#include "core/decoder/MasWorkerThread.h"
#include "core/time/Ticks.h"
#include "fixtures/formats/LjdLeviathanWriter.h"
#include "formats/RecorderChecks.h"

#include <dlfcn.h>
#include <unistd.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <future>

namespace {

using namespace FormatTests;
using namespace Vorn::Vorncast::Decoders;
using namespace Vorn::Vorncast::Decoders::Testing;
namespace fs = std::filesystem;

constexpr const char* LjdGuid = "5BC4F120-2E84-46a7-AA25-9C3C451D22F8";
constexpr double FirstDay = 45000.5; // 2023-03-15 12:00

void WriteFile(const fs::path& path, const void* bytes, size_t size) {
    std::ofstream(path, std::ios::binary)
        .write(static_cast<const char*>(bytes), static_cast<std::streamsize>(size));
}

// The recording lies on disk, where the maker's library reads it too; the library is looked for
// beside the program.
class LjdLeviathanTest : public RecorderTest {
protected:
    void SetUp() override {
        RecorderTest::SetUp();
        Vorn::FileSource::SetCurrent(nullptr);
        folder = fs::temp_directory_path() / ("vorncast_ljd_" + std::to_string(getpid()));
        fs::create_directories(folder);
        beside = fs::read_symlink("/proc/self/exe").parent_path() / "libvdbfile.so";
        fs::remove(beside);
    }
    void TearDown() override {
        RecorderTest::TearDown();
        fs::remove(beside);
        fs::remove_all(folder);
    }
    // Camera 0 starts with its key frame; camera 1's first frame comes before its key frame.
    void WriteRecording() {
        const bool keys[] = {true, false, false, true, false, false};
        for (uint8_t index = 0; index < 6; ++index) {
            pictures.push_back(MakeQuadrantPicture(32, 16, index));
            frames.push_back({static_cast<uint8_t>(index % 2), keys[index], FirstDay + index / 86400.0, 32,
                              16, pictures.back().bgr});
        }
        const LjdRecording recording = WriteLjdLeviathan(frames, {{0, "Gate"}, {1, "Yard"}, {16, "Roof"}});
        WriteFile(folder / "rec.vdd", recording.settings.data(), recording.settings.size());
        WriteFile(folder / "rec.vdb", recording.index.data(), recording.index.size());
        WriteFile(folder / "rec.vmb", recording.store.data(), recording.store.size());
    }
    std::string Path(const char* name) const { return (folder / name).string(); }

    fs::path folder;
    fs::path beside;
    std::vector<BgrPicture> pictures;
    std::vector<LjdFrame> frames;
};

// Without the library the load ends with its texts; with it, every frame of each camera comes out
// with its time and name, and a frame before its camera's first key frame comes out black. The same
// holds when the index is missing and the store is walked.
TEST_F(LjdLeviathanTest, FramesDecodeThroughTheMakersLibraryOnItsThread) {
    WriteRecording();
    EXPECT_NE(Load(LjdGuid, Path("rec.VMB")), 0);
    EXPECT_TRUE(WasLogged("LjdLeviathanDll::LjdLeviathanDll failed to load vdbfile.dll\n"));
    EXPECT_TRUE(WasLogged("LjdLeviathan ljdLeviathanDll.GetOpenResult failed\n"));

    fs::copy_file(VDBFILE_STANDIN, beside);
    std::vector<int64_t> streamTimes(frames.size());
    for (const char* name : {"rec.vdd", "rec.vmb"}) {
        if (std::string(name) == "rec.vmb") {
            fs::remove(folder / "rec.vdb");
        }
        ASSERT_EQ(Load(LjdGuid, Path(name)), 0) << name << LastError();
        SCOPED_TRACE(name);
        ExpectWalks(TakingTurns(2, 6),
                    [&](const Delivered& frame, size_t index) {
                        EXPECT_EQ(frame.time.recordedTime,
                                  599264352000000000 +
                                      static_cast<int64_t>(frames[index].days * 864000000000.0));
                        EXPECT_TRUE(index == 1 ? IsBlack(frame) : frame.data == pictures[index].bgr);
                        streamTimes[index] = frame.time.streamTime;
                    },
                    {"Gate", "Yard"});
    }
    // A frame wanted again is copied without a call to the library; the next one of its chain, from
    // a frame past the key frame, costs one call.
    void* library = dlopen(beside.c_str(), RTLD_NOW);
    auto calls = reinterpret_cast<int32_t (*)()>(dlsym(library, "VDB_StandInBitmapCalls"));
    ASSERT_NE(calls, nullptr);
    const int stream = VideoStreams()[0];
    EXPECT_EQ(GoTo(stream, streamTimes[2]).data, pictures[2].bgr);
    const int32_t callsBefore = calls();
    EXPECT_EQ(GoTo(stream, streamTimes[2]).data, pictures[2].bgr);
    EXPECT_EQ(calls(), callsBefore);
    EXPECT_EQ(Next(stream).data, pictures[4].bgr);
    EXPECT_EQ(calls(), callsBefore + 1);
    dlclose(library);

    // Each damage ends the load with its text, before the library is asked.
    const LjdRecording good = WriteLjdLeviathan(frames, {});
    auto write = [&](const std::string& base, std::vector<uint8_t> index, std::vector<uint8_t> store) {
        if (!index.empty()) {
            WriteFile(folder / (base + ".vdb"), index.data(), index.size());
        }
        WriteFile(folder / (base + ".vmb"), store.data(), store.size());
        return Path((base + ".vmb").c_str());
    };
    const std::vector<uint8_t> noIndex;
    const std::pair<std::string, const char*> cases[] = {
        {write("a", WithByte(good.index, 53, 17), good.store), "LjdLeviathan Bad camera number 1\n"},
        {write("b", good.index, std::vector<uint8_t>(good.store.begin(), good.store.end() - 1)),
         "LjdLeviathan Frame extends off end of file\n"},
        {write("c", noIndex, WithByte(good.store, good.imageStarts[1] + 16, 17)),
         "LjdLeviathan Bad camera number 2\n"},
        {write("d", noIndex, WithByte(good.store, good.imageStarts[1] + 18, 0x10)),
         "LjdLeviathan Bad image size\n"},
        {write("f", noIndex, WithByte(good.store, good.imageStarts[1] + 20, 0x10)),
         "LjdLeviathan Bad image size\n"},
        {write("e", noIndex, WithByte(good.store, good.imageStarts[1] + 15, 0)), "LjdLeviathan Bad time\n"},
        {Path("none.vmb"), "LjdLeviathan Open failed\n"},
        {Path("rec.vmx"), "LjdLeviathan File extension not recognised\n"},
        {Path("rec_vmb"), "LjdLeviathan No file extension found\n"},
    };
    for (const auto& [path, text] : cases) {
        EXPECT_TRUE(LoadFailsWith(LjdGuid, path, text));
    }
}

// A worker whose requests wait for the test to let them end.
class GatedWorker : public MasWorkerThread<int, int> {
public:
    explicit GatedWorker(WaitEvent& complete) : MasWorkerThread(complete, nullptr, nullptr) { Start(); }
    ~GatedWorker() override { Stop(); }
    std::promise<void> gate;

protected:
    void SetInput(const int& value) override { input = value; }
    void GetOutput(int* value) override { *value = output; }
    void Process() override {
        gate.get_future().wait();
        output = input * 2;
    }

private:
    int input = 0;
    int output = 0;
};

// While a request is in hand a second one is refused and nothing waits to be picked up; once the
// complete event comes, the result is there, once.
TEST(MasWorkerThread, OneRequestAtATime) {
    WaitEvent complete;
    GatedWorker worker(complete);
    int result = 0;
    ASSERT_TRUE(worker.Submit(21));
    EXPECT_FALSE(worker.Submit(5));
    EXPECT_FALSE(worker.PickUp(&result));
    worker.gate.set_value();
    complete.Wait();
    EXPECT_TRUE(worker.PickUp(&result));
    EXPECT_EQ(result, 42);
    EXPECT_FALSE(worker.PickUp(&result));
    EXPECT_EQ(worker.State(), WS_IDLE);
}

} // namespace
