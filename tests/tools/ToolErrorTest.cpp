// Bad command lines, bad paths, recordings no decoder reads and output the tool must refuse.

#include "tools/ToolTestSupport.h"

#include "fixtures/formats/GenericRecordings.h"

#include <fstream>

namespace ToolTests {
namespace {

namespace fs = std::filesystem;

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
