// The tool's reading commands: probe, frames and the decoder table, which the C interface agrees with;
// bad command lines, bad paths, recordings no decoder reads and output the tool must refuse.

#include "tools/ToolTestSupport.h"

#include "fixtures/formats/GenericRecordings.h"

#include <vorncast/VorncastDecoders.h>

#include <cstring>
#include <fstream>

namespace ToolTests {
namespace {

namespace fs = std::filesystem;
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

bool Mentions(const ToolRun& run, const std::string& text) {
    return run.err.find(text) != std::string::npos;
}

std::string WriteFillerFile(const fs::path& path) {
    std::vector<uint8_t> bytes;
    Vorn::Vorncast::Decoders::Testing::AppendFiller(bytes, 8192);
    std::ofstream(path, std::ios::binary).write(reinterpret_cast<const char*>(bytes.data()), 8192);
    return path.string();
}

// A missing recording is named with the reason; one no decoder reads gives the library's error text
// when a decoder is forced and the status of "no decoder" otherwise; nothing is written for either.
TEST_F(ToolTest, MissingAndUnreadableRecordingsAreExplained) {
    const std::string missing = Work("recording/none.mjpeg").string();
    const std::string noise = WriteFillerFile(Work("recording/noise.bin"));
    const std::string out = Work("out").string();
    const struct {
        std::vector<std::string> words;
        int exitCode;
        std::vector<std::string> texts;
    } cases[] = {
        {{"probe", missing}, 1, {missing, "No such file"}},
        {{"frames", missing}, 1, {missing, "No such file"}},
        {{"export", missing, "--out", out}, 1, {}},
        {{"probe", noise, "--decoder", GenericJpeg},
         1,
         {"decoder \"Generic JPEG\" loading", "FileClientResult"}},
        {{"probe", noise}, 3, {"no decoder takes " + noise}},
        {{"convert", noise, out}, 3, {}},
    };
    for (const auto& [words, exitCode, texts] : cases) {
        const ToolRun run = RunTool(words);
        EXPECT_EQ(run.exitCode, exitCode) << words[0] << " " << words[1];
        for (const std::string& text : texts) {
            EXPECT_TRUE(Mentions(run, text)) << run.err;
        }
        EXPECT_FALSE(fs::exists(out)) << words[0];
    }
}

// Ctrl-C during a load that would scan gigabytes (a sparse file of zeros) ends it through the
// library's abort callback: the tool says so and exits with the interrupted status.
TEST_F(ToolTest, InterruptEndsALongLoad) {
    const fs::path path = Work("recording/huge.mjpeg");
    std::ofstream(path, std::ios::binary).put('\0');
    fs::resize_file(path, uintmax_t{4} << 30);
    const ToolRun run =
        RunTool({"probe", path.string(), "--decoder", GenericJpeg}, std::chrono::milliseconds(1500));
    EXPECT_EQ(run.exitCode, 130) << run.err;
    EXPECT_TRUE(Mentions(run, "interrupted")) << run.err;
}

TEST_F(ToolTest, CommandLineMistakesExitWithUsage) {
    const std::string file = WriteJpegRecording(2);
    const std::vector<std::vector<std::string>> mistakes = {
        {"unpack", file},
        {"probe"},
        {"probe", file, "--colour"},
        {"probe", file, "--json=yes"},
        {"probe", file, "extra"},
        {"export", file},
        {"export", file, "--out"},
        {"export", file, "--out", Work("x").string(), "--every", "0"},
        {"frames", file, "--to", "yesterday"},
        {"sheet", file},
        {"sample", Work("s").string(), "--size", "10x10"},
    };
    for (const std::vector<std::string>& words : mistakes) {
        const ToolRun run = RunTool(words);
        EXPECT_EQ(run.exitCode, 2) << words[0] << " " << (words.size() > 2 ? words[2] : "") << ": "
                                   << run.err;
        EXPECT_TRUE(Mentions(run, "usage") || Mentions(run, "Commands:")) << run.err;
    }
    const ToolRun unknownDecoder = RunTool({"probe", file, "--decoder", "Betamax"});
    EXPECT_EQ(unknownDecoder.exitCode, 1);
    EXPECT_TRUE(Mentions(unknownDecoder, "no decoder is named \"Betamax\"")) << unknownDecoder.err;
}

TEST_F(ToolTest, NothingIsWrittenBesideTheRecordingOrOverExistingFiles) {
    const std::string file = WriteJpegRecording(2);
    const std::vector<std::vector<std::string>> insideRecording = {
        {"export", file, "--decoder", GenericJpeg, "--out", Work("recording").string()},
        {"export", file, "--decoder", GenericJpeg, "--out", Work("recording/pictures").string()},
        {"convert", file, Work("recording/video").string(), "--decoder", GenericJpeg},
        {"sheet", file, Work("recording/sheet.png").string(), "--decoder", GenericJpeg},
    };
    for (const std::vector<std::string>& words : insideRecording) {
        const ToolRun run = RunTool(words);
        EXPECT_EQ(run.exitCode, 1) << words[0];
        EXPECT_TRUE(Mentions(run, "inside the recording's folder")) << run.err;
    }
    EXPECT_EQ(std::distance(fs::directory_iterator(Work("recording")), fs::directory_iterator()), 1);

    fs::create_directories(Work("used"));
    std::ofstream(Work("used/keep.txt")) << "earlier work";
    const ToolRun intoUsed =
        RunTool({"export", file, "--decoder", GenericJpeg, "--out", Work("used").string()});
    EXPECT_EQ(intoUsed.exitCode, 1);
    EXPECT_TRUE(Mentions(intoUsed, "is not empty")) << intoUsed.err;
    EXPECT_EQ(std::distance(fs::directory_iterator(Work("used")), fs::directory_iterator()), 1);

    std::ofstream(Work("sheet.png")) << "earlier sheet";
    const ToolRun overSheet = RunTool({"sheet", file, Work("sheet.png").string(), "--decoder", GenericJpeg});
    EXPECT_EQ(overSheet.exitCode, 1);
    EXPECT_EQ(ReadText(Work("sheet.png")), "earlier sheet");
}

} // namespace
} // namespace ToolTests
