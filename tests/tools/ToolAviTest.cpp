// AVI recordings through the tool: a recorder's dialect exported and converted, and a cut-short AVI
// whose load the tool ends and explains.
#include "MissingTool.h"
#include "fixtures/formats/AviWriter.h"
#include "fixtures/iso/FfmpegTool.h"
#include "tools/ToolTestSupport.h"

namespace ToolTests {
namespace {

namespace fs = std::filesystem;
using json = nlohmann::json;
using namespace Vorn::Vorncast::Decoders::Testing;

// A bare file name, as typed in the recording's own folder, names a file of the current directory.
// Export writes every frame as the picture ffmpeg decodes from the same file (colours converted as
// the codec driver converts them), and convert writes one movie with every frame in its log.
TEST_F(ToolTest, GeoVisionAviIsReadByBareNameExportedAndConverted) {
    const std::vector<AviRecordingFile> written = WriteAviMemberRecording("DecodeGeoVision");
    if (written.empty() || !IsoTest::HaveFfmpegTools()) {
        SKIP_OR_FAIL_FOR_MISSING("the MPEG-4 encoder or the ffmpeg program");
    }
    const fs::path path = Work("recording") / written[0].name;
    ASSERT_TRUE(IsoTest::WriteWholeFile(path.string(), written[0].bytes));
    const fs::path before = fs::current_path();
    fs::current_path(Work("recording"));
    const json frames = RunToolJson({"frames", written[0].name, "--json"});
    fs::current_path(before);
    EXPECT_EQ(frames.size(), 6u);

    const std::vector<IsoTest::Bytes> reference =
        IsoTest::FfmpegVideoFrames(path.string(), 48, 32, "bilinear+accurate_rnd+full_chroma_int");
    ASSERT_EQ(reference.size(), 6u);
    const ToolRun exported = RunTool({"export", path.string(), "--out", Work("export").string()});
    ASSERT_EQ(exported.exitCode, 0) << exported.err;
    const json log = ReadJson(Work("export") / "frames.json");
    ASSERT_EQ(log.size(), reference.size());
    for (size_t index = 0; index < log.size(); ++index) {
        EXPECT_LT(MeanDifference(reference[index],
                                 ReadPng(Work("export") / log[index]["output"].get<std::string>())),
                  1.0)
            << index;
    }
    const ToolRun converted = RunTool({"convert", path.string(), Work("convert").string()});
    ASSERT_EQ(converted.exitCode, 0) << converted.err;
    EXPECT_EQ(ReadJson(Work("convert") / "frames.json").size(), reference.size());
}

// ffmpeg's AVI cut before its idx1 would load for ever: the tool ends the load once its progress
// stands still and says why, with the status of a failed load.
TEST_F(ToolTest, AnAviCutBeforeItsIndexIsExplained) {
    if (!IsoTest::HaveFfmpegTools()) {
        SKIP_OR_FAIL_FOR_MISSING("the ffmpeg program");
    }
    const fs::path made = Work("made.avi");
    ASSERT_TRUE(IsoTest::RunFfmpeg(
        "-f lavfi -i testsrc=size=64x48:rate=25:duration=0.4 -c:v mpeg4 -vtag XVID '" + made.string() + "'"));
    std::vector<uint8_t> bytes = IsoTest::ReadWholeFile(made.string());
    const size_t index = std::string(bytes.begin(), bytes.end()).rfind("idx1");
    ASSERT_NE(index, std::string::npos);
    bytes.resize(index);
    const fs::path cut = Work("recording/cut.avi");
    ASSERT_TRUE(IsoTest::WriteWholeFile(cut.string(), bytes));
    const ToolRun run = RunTool({"probe", cut.string()});
    EXPECT_EQ(run.exitCode, 1);
    EXPECT_NE(run.err.find("the AVI file has no usable index"), std::string::npos) << run.err;
}

} // namespace
} // namespace ToolTests
