// AVI recordings through the tool: a recorder's dialect found by autodetection with its cameras
// and times, and a cut-short AVI whose load the tool ends and explains.
#include "fixtures/formats/AviWriter.h"
#include "fixtures/iso/FfmpegTool.h"
#include "tools/ToolTestSupport.h"

#include <fstream>

namespace ToolTests {
namespace {

using json = nlohmann::json;
using namespace Vorn::Vorncast::Decoders::Testing;

void WriteFile(const std::filesystem::path& path, const std::vector<uint8_t>& bytes) {
    std::filesystem::create_directories(path.parent_path());
    std::ofstream(path, std::ios::binary)
        .write(reinterpret_cast<const char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
}

// Autodetection passes over the AVI decoders whose FourCC does not fit and finds GeoVision; each
// frame carries the time of its text.
TEST_F(ToolTest, GeoVisionAviIsFoundWithItsTimes) {
    const std::vector<AviRecordingFile> written = WriteAviMemberRecording("DecodeGeoVision");
    if (written.empty()) {
        GTEST_SKIP() << "no MPEG-4 encoder";
    }
    const std::filesystem::path path = Work("recording") / written[0].name;
    WriteFile(path, written[0].bytes);
    const ToolRun probe = RunTool({"probe", path.string(), "--json"});
    ASSERT_EQ(probe.exitCode, 0) << probe.err;
    const json report = json::parse(probe.out);
    EXPECT_EQ(report["decoder"]["name"], "GeoVision");
    const ToolRun frames = RunTool({"frames", path.string(), "--json"});
    ASSERT_EQ(frames.exitCode, 0) << frames.err;
    const json listed = json::parse(frames.out);
    ASSERT_EQ(listed.size(), 6u);
    for (size_t frame = 0; frame < listed.size(); ++frame) {
        EXPECT_EQ(listed[frame]["recorderTime"], "2021/03/04 05:06:0" + std::to_string(frame) + ".000");
        EXPECT_EQ(listed[frame]["camera"], "Gate.avi");
    }
}

// A bare file name, as typed in the recording's own folder, names a file of the current directory:
// the decoder lists and opens that folder.
TEST_F(ToolTest, ABareFileNameReadsFromTheCurrentDirectory) {
    const std::vector<AviRecordingFile> written = WriteAviMemberRecording("DecodeGeoVision");
    if (written.empty()) {
        GTEST_SKIP() << "no MPEG-4 encoder";
    }
    WriteFile(Work("recording") / written[0].name, written[0].bytes);
    const std::filesystem::path before = std::filesystem::current_path();
    std::filesystem::current_path(Work("recording"));
    const ToolRun frames = RunTool({"frames", written[0].name, "--json"});
    std::filesystem::current_path(before);
    ASSERT_EQ(frames.exitCode, 0) << frames.err;
    EXPECT_EQ(json::parse(frames.out).size(), 6u);
}

// Export writes every frame of the AVI recording as the picture ffmpeg decodes from the same file
// (colours converted as the codec driver converts them), and convert writes one movie with every
// frame in its log.
TEST_F(ToolTest, GeoVisionAviIsExportedAndConverted) {
    const std::vector<AviRecordingFile> written = WriteAviMemberRecording("DecodeGeoVision");
    if (written.empty() || !IsoTest::HaveFfmpegTools()) {
        GTEST_SKIP() << "no MPEG-4 encoder or no ffmpeg program";
    }
    const std::filesystem::path path = Work("recording") / written[0].name;
    WriteFile(path, written[0].bytes);
    const std::vector<IsoTest::Bytes> reference =
        IsoTest::FfmpegVideoFrames(path.string(), 48, 32, "bilinear+accurate_rnd+full_chroma_int");
    ASSERT_EQ(reference.size(), 6u);
    const ToolRun exported = RunTool({"export", path.string(), "--out", Work("export").string()});
    ASSERT_EQ(exported.exitCode, 0) << exported.err;
    const json log = json::parse(ReadText(Work("export") / "frames.json"));
    ASSERT_EQ(log.size(), reference.size());
    for (size_t index = 0; index < log.size(); ++index) {
        const BgrPicture expected{48, 32, reference[index]};
        EXPECT_LT(MeanDifference(expected, ReadPng(Work("export") / log[index]["output"].get<std::string>())),
                  1.0)
            << index;
    }
    const ToolRun converted = RunTool({"convert", path.string(), Work("convert").string()});
    ASSERT_EQ(converted.exitCode, 0) << converted.err;
    EXPECT_EQ(json::parse(ReadText(Work("convert") / "frames.json")).size(), reference.size());
}

// ffmpeg's AVI cut before its idx1 would load for ever: the tool ends the load once its progress
// stands still and says why, with the status of a failed load.
TEST_F(ToolTest, AnAviCutBeforeItsIndexIsExplained) {
    if (!IsoTest::HaveFfmpegTools()) {
        GTEST_SKIP() << "the ffmpeg program is not installed";
    }
    const std::filesystem::path made = Work("made.avi");
    ASSERT_TRUE(IsoTest::RunFfmpeg(
        "-f lavfi -i testsrc=size=64x48:rate=25:duration=0.4 -c:v mpeg4 -vtag XVID '" + made.string() + "'"));
    std::vector<uint8_t> bytes = IsoTest::ReadWholeFile(made.string());
    const std::string text(bytes.begin(), bytes.end());
    const size_t index = text.rfind("idx1");
    ASSERT_NE(index, std::string::npos);
    bytes.resize(index);
    const std::filesystem::path cut = Work("recording/cut.avi");
    WriteFile(cut, bytes);
    const ToolRun run = RunTool({"probe", cut.string()});
    EXPECT_EQ(run.exitCode, 1);
    EXPECT_NE(run.err.find("the AVI file has no usable index"), std::string::npos) << run.err;
}

} // namespace
} // namespace ToolTests
