#include "MissingTool.h"
#include "fixtures/dvd/DvdAuthor.h"
#include "fixtures/iso/FfmpegTool.h"
#include "tools/ToolTestSupport.h"

namespace ToolTests {
namespace {

namespace fs = std::filesystem;
using json = nlohmann::json;

// A disc of two title sets, the second of two cells, is found from the disc's folder: probe shows
// a track a title set with its pictures and sound, frames lists the pictures, export writes them as
// ffmpeg decodes them, and convert makes a file of each title set's pictures.
TEST_F(ToolTest, DvdFolderIsProbedListedExportedAndConverted) {
    if (!Vorn::Testing::HaveDvdTools()) {
        SKIP_OR_FAIL_FOR_MISSING("ffmpeg or dvdauthor");
    }
    const Vorn::Testing::DvdFolder& dvd = Vorn::Testing::AuthorDvd({false, {{0.6}, {0.4, 0.4}}, 1});
    ASSERT_EQ(dvd.error, "");
    const std::string disc = fs::path(dvd.directory).parent_path().string();
    const std::vector<IsoTest::Bytes> reference =
        IsoTest::FfmpegVideoFrames(Vorn::Testing::JoinedTitle(dvd, 1), dvd.width, dvd.height);
    ASSERT_GT(reference.size(), 10u);

    const json report = RunToolJson({"probe", disc, "--json"});
    EXPECT_EQ(report["decoder"]["name"], "DVD Video");
    ASSERT_EQ(report["tracks"].size(), 2u);
    const json& streams = report["tracks"][1]["streams"];
    ASSERT_EQ(streams.size(), 2u);
    EXPECT_EQ(streams[0]["type"], "video");
    EXPECT_EQ(streams[0]["frames"], reference.size());
    EXPECT_EQ(streams[1]["type"], "audio");
    const int64_t videoStream = streams[0]["index"];

    const ToolRun frames = RunTool(
        {"frames", dvd.directory + "/VIDEO_TS.IFO", "--stream", std::to_string(videoStream), "--json"});
    ASSERT_EQ(frames.exitCode, 0) << frames.err;
    EXPECT_EQ(json::parse(frames.out).size(), reference.size());

    const fs::path out = Work("export");
    const ToolRun exported =
        RunTool({"export", disc, "--stream", std::to_string(videoStream), "--out", out.string()});
    ASSERT_EQ(exported.exitCode, 0) << exported.err;
    const json log = ReadJson(out / "frames.json");
    ASSERT_EQ(log.size(), reference.size());
    for (size_t index = 0; index < log.size(); index += 4) {
        const VorncastTool::Picture picture = ReadPng(out / log[index]["output"].get<std::string>());
        EXPECT_LT(MeanDifference(reference[index], picture), 1.0) << index;
    }

    const ToolRun converted = RunTool({"convert", dvd.directory, Work("convert").string()});
    ASSERT_EQ(converted.exitCode, 0) << converted.err;
    EXPECT_EQ(ReadJson(Work("convert") / "frames.json").size(),
              reference.size() + report["tracks"][0]["streams"][0]["frames"].get<size_t>());
}

} // namespace
} // namespace ToolTests
