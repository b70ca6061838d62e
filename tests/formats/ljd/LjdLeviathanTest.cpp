#include "fixtures/formats/LjdLeviathanWriter.h"
#include "formats/RecorderChecks.h"

#include <unistd.h>

#include <filesystem>
#include <fstream>

namespace {

using namespace FormatTests;
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
    std::string Path(const char* name) const { return (folder / name).string(); }

    fs::path folder;
    fs::path beside;
};

// A frame before its camera's first key frame comes out black; without the index the store is walked.
TEST_F(LjdLeviathanTest, FramesDecodeThroughTheMakersLibraryOnItsThread) {
    // Camera 0 starts with its key frame; camera 1's first frame comes before its key frame.
    const bool keys[] = {true, false, false, true, false, false};
    std::vector<BgrPicture> pictures;
    std::vector<LjdFrame> frames;
    for (uint8_t index = 0; index < 6; ++index) {
        pictures.push_back(MakeQuadrantPicture(32, 16, index));
        frames.push_back({static_cast<uint8_t>(index % 2), keys[index], FirstDay + index / 86400.0, 32, 16,
                          pictures.back().bgr});
    }
    const LjdRecording recording = WriteLjdLeviathan(frames, {{0, "Gate"}, {1, "Yard"}, {16, "Roof"}});
    WriteFile(folder / "rec.vdd", recording.settings.data(), recording.settings.size());
    WriteFile(folder / "rec.vdb", recording.index.data(), recording.index.size());
    WriteFile(folder / "rec.vmb", recording.store.data(), recording.store.size());
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
        ExpectStreamNames({"Gate", "Yard"});
        ExpectWalks(TakingTurns(2, 6), [&](const Delivered& frame, size_t index) {
            EXPECT_EQ(frame.time.recordedTime,
                      599264352000000000 + static_cast<int64_t>(frames[index].days * 864000000000.0));
            EXPECT_TRUE(index == 1 ? IsBlack(frame) : frame.data == pictures[index].bgr);
            streamTimes[index] = frame.time.streamTime;
        });
    }
    const int stream = VideoStreams()[0];
    EXPECT_EQ(GoTo(stream, streamTimes[2]).data, pictures[2].bgr);
    EXPECT_EQ(GoTo(stream, streamTimes[2]).data, pictures[2].bgr);
    EXPECT_EQ(Next(stream).data, pictures[4].bgr);

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
        {Path("rec.vmx"), "LjdLeviathan File extension not recognised\n"},
        {Path("rec_vmb"), "LjdLeviathan No file extension found\n"},
    };
    for (const auto& [path, text] : cases) {
        EXPECT_TRUE(LoadFailsWith(LjdGuid, path, text));
    }
    EXPECT_TRUE(
        LoadFailsWith(LjdGuid, Path("none.vmb"), "LjdLeviathan Open failed\n", VC_CatastrophicFailure));
}

} // namespace
