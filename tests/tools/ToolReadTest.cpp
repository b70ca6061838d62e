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

// Mistakes on the command line exit with 2 and the usage. A recording that is missing, whose decoder
// is not one or cannot load it, or output inside the recording's folder or over earlier work, exit
// with 1; one that no decoder takes with 3. Each says why, and nothing is written.
TEST_F(ToolTest, MistakesAndRefusalsExitWithTheirStatusAndText) {
    const std::string file = WriteJpegRecording(2);
    const std::string missing = Work("recording/none.mjpeg").string();
    const std::string noise = WriteFillerFile(Work("recording/noise.bin"));
    const std::string out = Work("out").string();
    fs::create_directories(Work("used"));
    std::ofstream(Work("used/keep.txt")) << "earlier work";
    std::ofstream(Work("sheet.png")) << "earlier sheet";
    const struct {
        std::vector<std::string> words;
        int exitCode;
        std::string text;
    } cases[] = {
        {{"unpack", file}, 2, "unknown command \"unpack\""},
        {{"probe"}, 2, "missing PATH"},
        {{"probe", file, "--colour"}, 2, "unknown option --colour"},
        {{"probe", file, "--json=yes"}, 2, "option --json takes no value"},
        {{"probe", file, "extra"}, 2, "unexpected argument \"extra\""},
        {{"export", file}, 2, "missing --out DIR"},
        {{"export", file, "--out"}, 2, "option --out needs a value"},
        {{"export", file, "--out", Work("x").string(), "--every", "0"},
         2,
         "--every wants a whole number from 1"},
        {{"frames", file, "--to", "yesterday"}, 2, "--to wants a time"},
        {{"frames", file, "--decoder", GenericJpeg, "--from", "2024/13/01"}, 2, "--from wants a time"},
        {{"sheet", file}, 2, "missing OUT.png"},
        {{"sample", Work("s").string(), "--size", "10x10"}, 2, "--size wants WIDTHxHEIGHT"},
        {{"probe", file, "--decoder", "Betamax"}, 1, "no decoder is named \"Betamax\""},
        {{"probe", file, "--decoder", "Generic"}, 1, "fits several decoders"},
        {{"frames", file, "--decoder", GenericJpeg, "--stream", "1"}, 1, "no stream 1"},
        {{"probe", missing}, 1, missing + ": No such file"},
        {{"frames", missing}, 1, missing + ": No such file"},
        {{"export", missing, "--out", out}, 1, missing + ": No such file"},
        {{"probe", noise, "--decoder", GenericJpeg},
         1,
         "decoder \"Generic JPEG\" loading " + noise + " failed (status 1): FileClientResult"},
        {{"probe", noise}, 3, "no decoder takes " + noise},
        {{"convert", noise, out}, 3, "no decoder takes " + noise},
        {{"export", file, "--decoder", GenericJpeg, "--out", Work("recording").string()},
         1,
         "inside the recording's"},
        {{"export", file, "--decoder", GenericJpeg, "--out", Work("recording/pictures").string()},
         1,
         "inside the recording's folder"},
        {{"convert", file, Work("recording/video").string(), "--decoder", GenericJpeg},
         1,
         "inside the recording's"},
        {{"sheet", file, Work("recording/sheet.png").string(), "--decoder", GenericJpeg},
         1,
         "inside the recording's"},
        {{"export", file, "--decoder", GenericJpeg, "--out", Work("used").string()}, 1, "is not empty"},
        {{"sheet", file, Work("sheet.png").string(), "--decoder", GenericJpeg}, 1, "sheet.png: File exists"},
    };
    for (const auto& [words, exitCode, text] : cases) {
        const ToolRun run = RunTool(words);
        EXPECT_EQ(run.exitCode, exitCode) << ::testing::PrintToString(words) << ": " << run.err;
        EXPECT_TRUE(Mentions(run, text)) << run.err;
        if (exitCode == 2) {
            EXPECT_TRUE(Mentions(run, "usage") || Mentions(run, "Commands:")) << run.err;
        }
    }
    EXPECT_FALSE(fs::exists(out));
    EXPECT_EQ(std::distance(fs::directory_iterator(Work("recording")), fs::directory_iterator()), 2);
    EXPECT_EQ(std::distance(fs::directory_iterator(Work("used")), fs::directory_iterator()), 1);
    EXPECT_EQ(ReadText(Work("sheet.png")), "earlier sheet");
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

} // namespace
} // namespace ToolTests
