// The tool's reading commands: probe, frames and the decoder table, which the C interface agrees with.

#include "tools/ToolTestSupport.h"

#include <vorncast/VorncastDecoders.h>

#include <cstring>

namespace ToolTests {
namespace {

using nlohmann::json;

TEST_F(ToolTest, DecoderIsNamedByNameGuidOrIndexAlike) {
    const std::string file = WriteJpegRecording(3);
    for (const std::string name : {"Generic JPEG", "generic jpeg", "{8923E98A-F163-4ae9-815A-FFB2D3FFF934}",
                                   "8923e98a-f163-4ae9-815a-ffb2d3fff934", "70"}) {
        EXPECT_EQ(RunToolJson({"probe", file, "--decoder", name, "--json"})["decoder"]["name"],
                  "Generic JPEG")
            << name;
    }
    const ToolRun ambiguous = RunTool({"probe", file, "--decoder", "Generic"});
    EXPECT_EQ(ambiguous.exitCode, 1);
    EXPECT_NE(ambiguous.err.find("fits several decoders"), std::string::npos) << ambiguous.err;
}

TEST_F(ToolTest, DecoderTableMatchesTheInterface) {
    const json table = RunToolJson({"decoders", "--json"});
    VcInitRecord record;
    std::memset(&record, 0, sizeof(record));
    record.importPluginsEnabled = 1;
    ASSERT_EQ(InitVorncastDecoders(record), 0);
    int collection = 0, count = 0;
    // The plug-ins the tool's library finds beside it, too.
    ASSERT_EQ(DecoderCollection_Create(VORNCAST_LIBRARY_DIR, &collection), 0);
    DecoderCollection_DecoderCount(collection, &count);
    ASSERT_EQ(table.size(), static_cast<size_t>(count));
    for (int index = 0; index < count; ++index) {
        char name[512] = {};
        VcPublicDecoderInfo info;
        std::memset(&info, 0, sizeof(info));
        info.name = name;
        DecoderCollection_GetDecoderInfoByIndex(collection, index, sizeof(name), 0, 0, &info);
        EXPECT_EQ(table[index]["index"], index);
        EXPECT_EQ(table[index]["name"], name);
        EXPECT_EQ(table[index]["manualOnly"], info.manualOnly != 0);
        EXPECT_EQ(table[index]["container"], info.container != 0);
        EXPECT_EQ(table[index]["variant"], info.variant);
    }
    DecoderCollection_Release(collection);
    EXPECT_EQ(table[70]["guid"], "{8923E98A-F163-4AE9-815A-FFB2D3FFF934}");

    const std::vector<std::string> lines = Lines(RunTool({"decoders"}).out);
    ASSERT_EQ(lines.size(), static_cast<size_t>(count) + 1);
    EXPECT_NE(lines[71].find("Generic JPEG"), std::string::npos);
    EXPECT_NE(lines[71].find("manual-only"), std::string::npos);
}

// Probe finds the pictures written; frames lists every frame once, in order, in JSON and in text; the
// recorder time range and the stream choice pick among them. This format holds no clock: every frame stands
// at the first instant of the calendar.
TEST_F(ToolTest, FramesListsEveryFrameOnceInOrderWithinTheRange) {
    const std::string file = WriteJpegRecording(9);
    const json stream =
        RunToolJson({"probe", file, "--decoder", GenericJpeg, "--json"})["tracks"][0]["streams"][0];
    EXPECT_EQ(stream["frames"], 9);
    EXPECT_EQ(stream["video"]["width"], 96);
    EXPECT_EQ(stream["video"]["height"], 64);
    EXPECT_EQ(stream["video"]["bytesPerPixel"], 3);
    const json frames = RunToolJson({"frames", file, "--decoder", GenericJpeg, "--json"});
    ASSERT_EQ(frames.size(), 9u);
    for (size_t index = 0; index < frames.size(); ++index) {
        EXPECT_EQ(frames[index]["index"], index);
        EXPECT_EQ(frames[index]["recorderTime"], "0001/01/01 00:00:00.000");
    }
    const std::vector<std::string> lines = Lines(RunTool({"frames", file, "--decoder", GenericJpeg}).out);
    ASSERT_EQ(lines.size(), 10u);
    EXPECT_EQ(lines[0].front(), '#');
    for (size_t index = 1; index < lines.size(); ++index) {
        EXPECT_EQ(std::stoul(lines[index]), index - 1) << lines[index];
        EXPECT_NE(lines[index].find("0001/01/01 00:00:00.000"), std::string::npos) << lines[index];
    }
    const std::pair<std::vector<std::string>, size_t> choices[] = {
        {{"--to", "0001/01/01 00:00:00.000"}, 9},
        {{"--from", "0001/01/01 00:00:00.001"}, 0},
        {{"--from", "0001/01/01", "--to", "2024/01/01 10:00"}, 9},
        {{"--stream", "0"}, 9},
    };
    for (const auto& [extra, count] : choices) {
        std::vector<std::string> arguments = {"frames", file, "--decoder", GenericJpeg, "--json"};
        arguments.insert(arguments.end(), extra.begin(), extra.end());
        EXPECT_EQ(RunToolJson(arguments).size(), count) << extra[1];
    }
    const ToolRun noStream = RunTool({"frames", file, "--decoder", GenericJpeg, "--stream", "1"});
    EXPECT_EQ(noStream.exitCode, 1);
    EXPECT_NE(noStream.err.find("no stream 1"), std::string::npos) << noStream.err;
    const ToolRun badTime = RunTool({"frames", file, "--decoder", GenericJpeg, "--from", "2024/13/01"});
    EXPECT_EQ(badTime.exitCode, 2);
    EXPECT_NE(badTime.err.find("--from wants a time"), std::string::npos) << badTime.err;
}

} // namespace
} // namespace ToolTests
