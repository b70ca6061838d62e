#include "fixtures/formats/BoschArchiveWriter.h"
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
