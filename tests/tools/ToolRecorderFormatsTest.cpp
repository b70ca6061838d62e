#include "MissingTool.h"
#include "fixtures/formats/BoschArchiveWriter.h"
#include "fixtures/formats/SyneticsWriter.h"
#include "fixtures/formats/UvmsWriter.h"
#include "fixtures/formats/VigilantMpeg2Writer.h"
#include "tools/ToolTestSupport.h"

#include <fstream>

namespace ToolTests {
namespace {

using json = nlohmann::json;
using namespace Vorn::Vorncast::Decoders::Testing;

// A recorder's archive of two cameras is found by its extension alone, and probe and frames show
// each camera with its name, frames and recorder times.
TEST_F(ToolTest, RecorderArchiveIsFoundAndShownByCamera) {
    std::vector<BoschFrame> clip = EncodeBoschClip(64, 48, 6, 3, true);
    ASSERT_FALSE(clip.empty());
    for (const auto& [path, bytes] :
         WriteBoschArchive(Work("recording").string(), "Export",
                           {{"B1", "Gate", "", {{"T", clip}}}, {"B2", "Yard", "", {{"T", clip}}}}, 64, 48)) {
        std::filesystem::create_directories(std::filesystem::path(path).parent_path());
        std::ofstream(path, std::ios::binary)
            .write(reinterpret_cast<const char*>(bytes.data()), static_cast<long>(bytes.size()));
    }
    const std::string archive = Work("recording/Export.info").string();
    const ToolRun probe = RunTool({"probe", archive, "--json"});
    ASSERT_EQ(probe.exitCode, 0) << probe.err;
    const json report = json::parse(probe.out);
    EXPECT_EQ(report["decoder"]["name"], "Bosch Archive");
    const json& streams = report["tracks"][0]["streams"];
    ASSERT_EQ(streams.size(), 2u);
    EXPECT_EQ(streams[0]["camera"], "Gate");
    EXPECT_EQ(streams[1]["camera"], "Yard");
    EXPECT_EQ(streams[1]["frames"], clip.size());
    const ToolRun frames = RunTool({"frames", archive, "--stream", "1", "--json"});
    ASSERT_EQ(frames.exitCode, 0) << frames.err;
    const json listed = json::parse(frames.out);
    ASSERT_EQ(listed.size(), clip.size());
    for (const json& frame : listed) {
        EXPECT_EQ(frame["camera"], "Yard");
    }
}

// A Synetics pair is found by its name: frames lists its pictures in display order with their
// recorder times, and export writes each as the encoder's own decoder gives it, B frames included.
TEST_F(ToolTest, SyneticsPairIsListedAndExportedInDisplayOrder) {
    CodecTest::EncodedVideo video;
    if (!EncodeSyneticsVideo(64, 48, 9, 6, &video)) {
        SKIP_OR_FAIL_FOR_MISSING("the mpeg2video encoder");
    }
    const std::vector<CodecTest::Picture> reference =
        CodecTest::ReferenceDecode(AV_CODEC_ID_MPEG2VIDEO, video, false);
    const SyneticsPair pair =
        WriteSyneticsPair("Gate", SyneticsPictures(video, {2024, 3, 0, 12, 9, 30, 0, 0}, 40));
    std::filesystem::create_directories(Work("syn"));
    for (const auto& [name, bytes] :
         {std::pair{"mpeg2_0001_1.dat", &pair.iFrames}, {"mpeg2_0001_2.dat", &pair.otherFrames}}) {
        std::ofstream(Work("syn") / name, std::ios::binary)
            .write(reinterpret_cast<const char*>(bytes->data()), static_cast<long>(bytes->size()));
    }
    const std::string path = Work("syn/mpeg2_0001_1.dat").string();
    const ToolRun frames = RunTool({"frames", path, "--json"});
    ASSERT_EQ(frames.exitCode, 0) << frames.err;
    const json listed = json::parse(frames.out);
    ASSERT_EQ(listed.size(), reference.size());
    const int64_t start = listed[0]["recorderTicks"];
    for (size_t index = 0; index < listed.size(); ++index) {
        EXPECT_EQ(listed[index]["camera"], "Gate");
        EXPECT_EQ(listed[index]["recorderTicks"].get<int64_t>() - start,
                  static_cast<int64_t>(index) * 400000);
    }
    const ToolRun exported = RunTool({"export", path, "--out", Work("out").string()});
    ASSERT_EQ(exported.exitCode, 0) << exported.err;
    const json log = json::parse(ReadText(Work("out") / "frames.json"));
    ASSERT_EQ(log.size(), reference.size());
    for (size_t index = 0; index < log.size(); ++index) {
        const VorncastTool::Picture picture = ReadPng(Work("out") / log[index]["output"].get<std::string>());
        ASSERT_EQ(picture.bytes.size(), reference[index].Bytes());
        EXPECT_GE(CodecTest::Psnr(reference[index], picture.bytes.data()), 40.0) << index;
    }
}

// A Vigilant MPEG-2 export is found by autodetection; every frame shows its camera and the time of
// its group, and the frames run in display order.
TEST_F(ToolTest, VigilantMpeg2ExportIsFoundWithItsGroupTimes) {
    VigilantMpeg2File written =
        EncodeVigilantMpeg2Clip(32, 7, {"Depot", "Gate", 0, {1700000000, 1700003600}});
    ASSERT_FALSE(written.bytes.empty());
    const std::filesystem::path path = Work("clip.mpg");
    std::ofstream(path, std::ios::binary)
        .write(reinterpret_cast<const char*>(written.bytes.data()), static_cast<long>(written.bytes.size()));
    const ToolRun probe = RunTool({"probe", path.string(), "--json"});
    ASSERT_EQ(probe.exitCode, 0) << probe.err;
    EXPECT_EQ(json::parse(probe.out)["decoder"]["name"], "Vigilant Export Viewer MPEG2");
    const ToolRun frames = RunTool({"frames", path.string(), "--json"});
    ASSERT_EQ(frames.exitCode, 0) << frames.err;
    const json listed = json::parse(frames.out);
    ASSERT_EQ(listed.size(), written.pictures.size());
    EXPECT_EQ(listed.front()["recorderTime"], "2023/11/14 22:13:20.000");
    EXPECT_EQ(listed[1]["recorderTime"], "2023/11/14 23:13:20.000");
    EXPECT_EQ(listed.back()["recorderTime"], "2023/11/14 23:13:21.000");
    for (const json& frame : listed) {
        EXPECT_EQ(frame["camera"], "Depot - Gate");
    }
}

// A UVMS tree is found by its configuration; each input is a camera with its configured name, and its
// frames keep their times, each image once where the input's files overlap.
TEST_F(ToolTest, UvmsTreeIsFoundByItsConfiguration) {
    for (const auto& [path, bytes] : WriteUvmsJpegTree(32, 16)) {
        const std::filesystem::path file = Work("tree") / path;
        std::filesystem::create_directories(file.parent_path());
        std::ofstream(file, std::ios::binary)
            .write(reinterpret_cast<const char*>(bytes.data()), static_cast<long>(bytes.size()));
    }
    const std::string config = (Work("tree") / "Configs/site.ocf").string();
    const ToolRun probe = RunTool({"probe", config, "--json"});
    ASSERT_EQ(probe.exitCode, 0) << probe.err;
    const json report = json::parse(probe.out);
    EXPECT_EQ(report["decoder"]["name"], "UVMS PI Vision Ltd");
    const json& streams = report["tracks"][0]["streams"];
    ASSERT_EQ(streams.size(), 2u);
    EXPECT_EQ(streams[0]["camera"], "Input Number: 1, Gate");
    EXPECT_EQ(streams[1]["camera"], "Input Number: 2, Yard");
    EXPECT_EQ(streams[0]["frames"], 3);
    EXPECT_EQ(streams[0]["last"]["recorderTime"], "2023/11/14 22:13:20.080");
}

} // namespace
} // namespace ToolTests
