// The tool's commands on recordings of the generic formats; video files it writes are read by ffprobe
// and ffmpeg, pictures compared with those encoded.

#include "MissingTool.h"
#include "fixtures/formats/GenericRecordings.h"
#include "fixtures/iso/FfmpegTool.h"
#include "support/FrameSelection.h"
#include "support/FrameTiming.h"
#include "support/Json.h"
#include "support/RecorderTime.h"
#include "support/TestPattern.h"
#include "tools/ToolTestSupport.h"

#include <vorncast/VorncastDecoders.h>

#include <fstream>
#include <limits>

namespace ToolTests {
namespace {

namespace fs = std::filesystem;
using nlohmann::json;

// The sample's clock: 2024/01/01 00:00:00 and 25 pictures a second, in 100 ns ticks.
constexpr int64_t SampleStart = 638396640000000000;
constexpr int64_t SamplePeriod = 400000;

// ffprobe's view of the first stream of `kind` ("v" or "a") and of the file's tags.
json Probe(const fs::path& path, const std::string& kind) {
    return json::parse(
        RunProgram({"ffprobe", "-v", "error", "-select_streams", kind + ":0", "-show_entries",
                    "stream=duration,sample_rate,channels:format_tags", "-of", "json", path.string()}));
}

double Seconds(const json& value) {
    return value.is_string() ? std::stod(value.get<std::string>()) : 0.0;
}

VorncastTool::Picture FirstPicture(const fs::path& path, int32_t width, int32_t height) {
    const std::vector<IsoTest::Bytes> frames = IsoTest::FfmpegVideoFrames(path.string(), width, height);
    return frames.empty() ? VorncastTool::Picture{} : VorncastTool::Picture{width, height, 3, frames[0]};
}

double RegionDifference(const VorncastTool::Picture& a, const VorncastTool::Picture& b, int32_t top,
                        int32_t bottom) {
    double sum = 0;
    for (int32_t y = top; y < bottom; ++y) {
        for (size_t x = 0; x < a.LineBytes(); ++x) {
            sum += std::abs(a.Pixel(0, y)[x] - b.Pixel(0, y)[x]);
        }
    }
    return sum / (static_cast<double>(bottom - top) * static_cast<double>(a.LineBytes()));
}

// Hashes computed apart from the tool's, of the source and of every output.
void ExpectManifestMatchesFiles(const fs::path& out, const std::string& recording, size_t outputCount) {
    const json manifest = ReadJson(out / "manifest.json");
    ASSERT_EQ(manifest["sources"].size(), 1u);
    EXPECT_EQ(manifest["sources"][0]["path"], fs::absolute(recording).lexically_normal().string());
    EXPECT_EQ(manifest["sources"][0]["sha256"], SystemSha256(recording));
    EXPECT_EQ(manifest["sources"][0]["bytes"], fs::file_size(recording));
    ASSERT_EQ(manifest["outputs"].size(), outputCount);
    for (const json& output : manifest["outputs"]) {
        const fs::path file = out / output["path"].get<std::string>();
        EXPECT_EQ(output["sha256"], SystemSha256(file)) << file;
        EXPECT_EQ(output["bytes"], fs::file_size(file)) << file;
    }
    const std::vector<std::string> sums = Lines(ReadText(out / "SHA256SUMS"));
    ASSERT_EQ(sums.size(), outputCount + 1);
    for (const std::string& line : sums) {
        EXPECT_EQ(line.substr(0, 64), SystemSha256(out / line.substr(66))) << line;
    }
}

// Not the neighbouring picture either; with --every, the chosen frames are logged alike in CSV and JSON.
TEST_F(ToolTest, ExportedPicturesDecodeToTheEncodedPictures) {
    const std::string file = WriteJpegRecording(7);
    const fs::path out = Work("export");
    ASSERT_EQ(RunTool({"export", file, "--decoder", GenericJpeg, "--out", out.string()}).exitCode, 0);
    const json log = ReadJson(out / "frames.json");
    ASSERT_EQ(log.size(), 7u);
    for (size_t index = 0; index < log.size(); ++index) {
        EXPECT_EQ(log[index]["indexInStream"], index);
        const std::string name = log[index]["output"];
        EXPECT_EQ(name.rfind("cam00_00010101-000000.000_", 0), 0u) << name;
        const VorncastTool::Picture picture = ReadPng(out / name);
        EXPECT_LT(MeanDifference(pictures[index].bgr, picture), 2.5) << name;
        if (index > 0) {
            EXPECT_GT(MeanDifference(pictures[index - 1].bgr, picture), 4.5)
                << name << " is the previous picture";
        }
    }
    ExpectManifestMatchesFiles(out, file, 9);

    const fs::path every = Work("every");
    ASSERT_EQ(
        RunTool({"export", file, "--decoder", GenericJpeg, "--out", every.string(), "--every=3"}).exitCode,
        0);
    const std::vector<std::string> csv = Lines(ReadText(every / "frames.csv"));
    const json chosen = ReadJson(every / "frames.json");
    ASSERT_EQ(csv.size(), 4u);
    ASSERT_EQ(chosen.size(), 3u);
    EXPECT_EQ(csv[0].rfind("output,stream,channel,camera,index_in_stream,recorder_time", 0), 0u);
    for (size_t row = 0; row < 3; ++row) {
        EXPECT_EQ(chosen[row]["indexInStream"], row * 3);
        EXPECT_EQ(chosen[row]["camera"], "camera 0");
        EXPECT_EQ(csv[row + 1], chosen[row]["output"].get<std::string>() + ",0,0,camera 0," +
                                    std::to_string(row * 3) +
                                    ",0001/01/01 00:00:00.000,0,0001/01/01 00:00:00.000,0,");
    }
    ExpectManifestMatchesFiles(every, file, 5);
}

// Convert writes a playable file, timed and logged; the overlay is burnt in only when asked.
TEST_F(ToolTest, ConvertWritesAPlayableFileTimedAndLogged) {
    if (!IsoTest::HaveFfmpegTools()) {
        SKIP_OR_FAIL_FOR_MISSING("the ffmpeg program");
    }
    const std::string file = WriteJpegRecording(3, 160, 96);
    const fs::path out = Work("convert");
    const ToolRun run = RunTool({"convert", file, out.string(), "--decoder", GenericJpeg});
    ASSERT_EQ(run.exitCode, 0) << run.err;
    const json probed = Probe(out / "cam00.mp4", "v");
    // No clock in this format: 25 pictures a second, the last lasting as long as the others.
    EXPECT_NEAR(Seconds(probed["streams"][0]["duration"]), 0.12, 0.0011);
    EXPECT_EQ(IsoTest::FfmpegPacketTimes((out / "cam00.mp4").string(), "v"),
              (std::vector<double>{0, 0.04, 0.08}));
    EXPECT_EQ(probed["format"]["tags"]["title"], "camera 0");
    EXPECT_NE(
        probed["format"]["tags"]["comment"].get<std::string>().find("Recorder start 0001/01/01 00:00:00.000"),
        std::string::npos);
    const VorncastTool::Picture first = FirstPicture(out / "cam00.mp4", 160, 96);
    EXPECT_LT(MeanDifference(pictures[0].bgr, first), 6.0);
    const json log = ReadJson(out / "frames.json");
    ASSERT_EQ(log.size(), 3u);
    for (size_t index = 0; index < log.size(); ++index) {
        EXPECT_EQ(log[index]["output"], "cam00.mp4");
        EXPECT_EQ(log[index]["indexInStream"], index);
        EXPECT_EQ(log[index]["outputTicks"], static_cast<int64_t>(index) * 400000);
    }
    EXPECT_EQ(ReadJson(out / "manifest.json")["overlay"], "none");
    EXPECT_EQ(ReadJson(out / "manifest.json")["frames"], 3);
    ExpectManifestMatchesFiles(out, file, 3);

    ASSERT_EQ(
        RunTool({"convert", file, Work("overlay").string(), "--decoder", GenericJpeg, "--overlay"}).exitCode,
        0);
    const VorncastTool::Picture burnt = FirstPicture(Work("overlay") / "cam00.mp4", 160, 96);
    ASSERT_EQ(burnt.bytes.size(), first.bytes.size());
    EXPECT_GT(RegionDifference(first, burnt, 2, 10), 20.0);
    EXPECT_LT(RegionDifference(first, burnt, 48, 96), 2.0);
    EXPECT_NE(ReadJson(Work("overlay") / "manifest.json")["overlay"], "none");
}

// A phone recording with speech: sound and pictures as long as the recording, its start in the metadata.
TEST_F(ToolTest, ConvertKeepsTheSoundOfTheCamerasTrack) {
    if (!IsoTest::HaveFfmpegTools()) {
        SKIP_OR_FAIL_FOR_MISSING("the ffmpeg program");
    }
    const fs::path amr = Work("speech.amr");
    ASSERT_TRUE(IsoTest::WriteWholeFile(amr.string(), IsoTest::WriteAmrFile(80)));
    const fs::path recording = Work("recording") / "talk.3gp";
    ASSERT_TRUE(IsoTest::RunFfmpeg("-f lavfi -i testsrc=size=176x144:rate=25:duration=1.6 -i '" +
                                   amr.string() +
                                   "' -map 0:v -map 1:a -c:v h263 -g 12 -c:a copy -f 3gp "
                                   "-metadata creation_time=2019-05-06T07:08:09Z '" +
                                   recording.string() + "'"));
    const fs::path out = Work("talk");
    const ToolRun run = RunTool({"convert", recording.string(), out.string()});
    ASSERT_EQ(run.exitCode, 0) << run.err;
    const json probed = Probe(out / "cam00.mp4", "v");
    EXPECT_EQ(IsoTest::FfmpegPacketTimes((out / "cam00.mp4").string(), "v").size(), 40u);
    EXPECT_NEAR(Seconds(probed["streams"][0]["duration"]), 1.6, 0.0011);
    const json audio = Probe(out / "cam00.mp4", "a")["streams"][0];
    EXPECT_EQ(audio["sample_rate"], "8000");
    EXPECT_EQ(audio["channels"], 1);
    EXPECT_NEAR(Seconds(audio["duration"]), 1.6, 0.05);
    EXPECT_NE(
        probed["format"]["tags"]["comment"].get<std::string>().find("Recorder start 2019/05/06 07:08:09.000"),
        std::string::npos);
    ExpectManifestMatchesFiles(out, recording.string(), 3);
}

TEST_F(ToolTest, SheetHasOneRowOfThumbnailsPerCamera) {
    const std::string file = WriteJpegRecording(12, 96, 64);
    const fs::path sheet = Work("sheet.png");
    const ToolRun run = RunTool({"sheet", file, sheet.string(), "--decoder", GenericJpeg, "--columns", "4"});
    ASSERT_EQ(run.exitCode, 0) << run.err;
    const VorncastTool::Picture picture = ReadPng(sheet);
    // Four 192-pixel cells with 8-pixel margins; title and one camera row.
    EXPECT_EQ(picture.width, 8 + 4 * (192 + 8));
    EXPECT_EQ(picture.height, (16 + 8 + 24) + (16 + 4 + 144 + 8 + 16));
    // The first thumbnail shows the first picture, scaled to 192 x 128 in a 192 x 144 cell.
    const int32_t top = 48 + 8 + 16 + 4 + 8;
    const uint8_t* thumb = picture.Pixel(8 + 96, top + 64);
    const uint8_t* source = pictures[0].Pixel(48, 32);
    for (int channel = 0; channel < 3; ++channel) {
        EXPECT_NEAR(thumb[channel], source[channel], 24) << channel;
    }
}

// The sample is an MP4 that autodetection finds, every frame at its recorder time, each picture the
// pattern drawn for that time; the JPEG forms read back through their generic decoders.
TEST_F(ToolTest, SampleRecordingsReadBackWithTheirTimesAndPictures) {
    const fs::path sample = Work("sample");
    const ToolRun run = RunTool({"sample", sample.string(), "--frames", "12", "--size", "128x96"});
    ASSERT_EQ(run.exitCode, 0) << run.err;
    const std::string mp4 = (sample / "sample.mp4").string();
    const json stream = RunToolJson({"probe", mp4, "--json"})["tracks"][0]["streams"][0];
    EXPECT_EQ(stream["frames"], 12);
    EXPECT_EQ(stream["video"]["width"], 128);
    EXPECT_EQ(stream["video"]["height"], 96);
    const json list = RunToolJson({"frames", mp4, "--json"});
    ASSERT_EQ(list.size(), 12u);
    for (size_t index = 0; index < list.size(); ++index) {
        EXPECT_EQ(list[index]["recorderTicks"], SampleStart + static_cast<int64_t>(index) * SamplePeriod);
    }
    const fs::path out = Work("sample-export");
    ASSERT_EQ(RunTool({"export", mp4, "--out", out.string(), "--every", "5"}).exitCode, 0);
    const json log = ReadJson(out / "frames.json");
    ASSERT_EQ(log.size(), 3u);
    for (const json& row : log) {
        const int64_t index = row["indexInStream"];
        const int64_t ticks = SampleStart + index * SamplePeriod;
        const VorncastTool::Picture expected =
            VorncastTool::MakeTestPattern(128, 96, 0, index, VorncastTool::FormatRecorderTime(ticks));
        EXPECT_LT(MeanDifference(expected.bytes, ReadPng(out / row["output"].get<std::string>())), 3.5)
            << index;
    }

    const fs::path jpegs = Work("sample-jpegs");
    ASSERT_EQ(RunTool({"sample", jpegs.string(), "--frames", "4", "--mjpeg"}).exitCode, 0);
    EXPECT_EQ(fs::file_size(jpegs / "sample.mjpeg") % 4096, 0u);
    EXPECT_EQ(RunToolJson({"probe", (jpegs / "sample.mjpeg").string(), "--decoder", GenericJpeg,
                           "--json"})["tracks"][0]["streams"][0]["frames"],
              4);
    // A bare name: the folder listed for its siblings is the current directory, the recording's.
    ASSERT_EQ(RunTool({"sample", Work("recording").string(), "--frames", "3", "--folder"}).exitCode, 0);
    EXPECT_EQ(RunToolJson({"probe", "000000.jpg", "--decoder", "Generic Folder of Jpegs",
                           "--json"})["tracks"][0]["streams"][0]["frames"],
              3);
    EXPECT_NE(RunTool({"sample", Work("both").string(), "--mjpeg", "--folder"}).exitCode, 0);
}

TEST_F(ToolTest, DecoderTableMatchesTheInterface) {
    const json table = RunToolJson({"decoders", "--json"});
    VcInitRecord record{};
    record.importPluginsEnabled = 1;
    ASSERT_EQ(InitVorncastDecoders(record), 0);
    int collection = 0, count = 0;
    // The plug-ins the tool's library finds beside it, too.
    ASSERT_EQ(DecoderCollection_Create(VORNCAST_LIBRARY_DIR, &collection), 0);
    DecoderCollection_DecoderCount(collection, &count);
    ASSERT_EQ(table.size(), static_cast<size_t>(count));
    for (int index = 0; index < count; ++index) {
        char name[512] = {};
        VcPublicDecoderInfo info{};
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

// The decoder named by its name, GUID or index alike; frames in JSON and in text. This format holds no
// clock: every frame stands at the first instant of the calendar.
TEST_F(ToolTest, FramesListsEveryFrameOnceInOrderWithinTheRange) {
    const std::string file = WriteJpegRecording(9);
    for (const std::string name : {"generic jpeg", "{8923E98A-F163-4ae9-815A-FFB2D3FFF934}",
                                   "8923e98a-f163-4ae9-815a-ffb2d3fff934", "70"}) {
        EXPECT_EQ(RunToolJson({"probe", file, "--decoder", name, "--json"})["decoder"]["name"], GenericJpeg)
            << name;
    }
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

// Mistakes on the command line exit with 2 and the usage. A recording that is missing, whose decoder
// is not one or cannot load it, or output inside the recording's folder or over earlier work, exit
// with 1; one that no decoder takes with 3. Each says why, and nothing is written.
TEST_F(ToolTest, MistakesAndRefusalsExitWithTheirStatusAndText) {
    const std::string file = WriteJpegRecording(2);
    const std::string missing = Work("recording/none.mjpeg").string();
    const std::string noise = Work("recording/noise.bin").string();
    IsoTest::Bytes filler;
    Vorn::Vorncast::Decoders::Testing::AppendFiller(filler, 8192);
    ASSERT_TRUE(IsoTest::WriteWholeFile(noise, filler));
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

using namespace VorncastTool;

TEST(RecorderTime, PrintsReadsAndRefusesCalendarTimes) {
    EXPECT_EQ(ParseRecorderTime("2024/01/01 00:00:00.000"), 638396640000000000);
    EXPECT_EQ(FormatRecorderTime(UnixEpochTicks), "1970/01/01 00:00:00.000");
    // Every day boundary of two leap cycles and the ends of the calendar read back as written.
    for (int64_t day = 738000; day < 738000 + 2 * 1461; ++day) {
        const int64_t ticks = day * TicksPerDay + 45296789 * TicksPerMillisecond / 1000 * 1000;
        ASSERT_EQ(ParseRecorderTime(FormatRecorderTime(ticks)), ticks) << FormatRecorderTime(ticks);
    }
    for (const char* text :
         {"0001/01/01 00:00:00.000", "9999/12/31 23:59:59.999", "2024/02/29 13:05:09.007"}) {
        EXPECT_EQ(FormatRecorderTime(*ParseRecorderTime(text)), text);
    }
    EXPECT_EQ(FormatTimeForFileName(*ParseRecorderTime("2024/02/29 13:05:09.007")), "20240229-130509.007");
    EXPECT_EQ(FormatIsoTime(*ParseRecorderTime("2024/02/29 13:05:09.007")), "2024-02-29T13:05:09.007");
    EXPECT_EQ(FormatRecorderTime(std::numeric_limits<int64_t>::min()), "----/--/-- --:--:--.MIN");
    EXPECT_EQ(FormatRecorderTime(std::numeric_limits<int64_t>::max()), "++++/++/++ ++:++:++.MAX");
    EXPECT_EQ(FormatSeconds(12345678), "1.235");

    const int64_t midnight = *ParseRecorderTime("2023/06/15 00:00:00.000");
    const std::pair<const char*, int64_t> shortForms[] = {
        {"2023/06/15", midnight},
        {"2023-06-15T10:20", midnight + (10 * 3600 + 20 * 60) * TicksPerSecond},
        {"2023/06/15 10:20:30", midnight + 37230 * TicksPerSecond},
        {"2023/06/15 00:00:00.5", midnight + TicksPerSecond / 2},
        {"2023/06/15 00:00:00.0000001", midnight + 1},
    };
    for (const auto& [text, ticks] : shortForms) {
        EXPECT_EQ(ParseRecorderTime(text), ticks) << text;
    }
    for (const char* bad :
         {"", "2023/6/15", "2023/02/29", "2023/13/01", "2023/00/10", "2023/06/31", "2023/06/15 24:00",
          "2023/06/15 10:60", "2023/06/15 10:20:61", "2023/06/15 10:20:30.", "2023/06/15 00:00:00.00000001",
          "0000/01/01", "2023/06/15 10:20 ", "2023/06/15x"}) {
        EXPECT_FALSE(ParseRecorderTime(bad).has_value()) << bad;
    }
}

TEST(FrameSelection, RangeEveryAndSpread) {
    const std::vector<int64_t> times = {10, 20, 20, 30, 40, 50, 60};
    EXPECT_EQ(SelectFrames(times, {}), (std::vector<size_t>{0, 1, 2, 3, 4, 5, 6}));
    EXPECT_EQ(SelectFrames(times, {20, 40, 1}), (std::vector<size_t>{1, 2, 3, 4}));
    EXPECT_EQ(SelectFrames(times, {20, std::nullopt, 2}), (std::vector<size_t>{1, 3, 5}));
    EXPECT_EQ(SelectFrames(times, {61, std::nullopt, 1}), std::vector<size_t>{});
    EXPECT_EQ(SpreadPositions(100, 5), (std::vector<size_t>{0, 24, 49, 74, 99}));
    EXPECT_EQ(SpreadPositions(3, 5), (std::vector<size_t>{0, 1, 2}));
    EXPECT_EQ(SpreadPositions(10, 1), std::vector<size_t>{0});
    EXPECT_TRUE(SpreadPositions(0, 4).empty());
}

TEST(FrameTiming, StreamTimesRepeatedTimesAndNoTimes) {
    constexpr int64_t Ms = 10000;
    const FrameTiming timed =
        PlanFrameTimes({5000 * Ms, 5040 * Ms, 5080 * Ms, 5200 * Ms, 5240 * Ms}, 40 * Ms);
    EXPECT_FALSE(timed.nominal);
    EXPECT_EQ(timed.ticks, (std::vector<int64_t>{0, 40 * Ms, 80 * Ms, 200 * Ms, 240 * Ms}));
    EXPECT_EQ(timed.frameTicks, 40 * Ms);

    const FrameTiming repeated = PlanFrameTimes({0, 100 * Ms, 100 * Ms, 100 * Ms + 3, 300 * Ms}, 40 * Ms);
    EXPECT_EQ(repeated.ticks, (std::vector<int64_t>{0, 100 * Ms, 101 * Ms, 102 * Ms, 300 * Ms}));
    EXPECT_EQ(repeated.adjusted, 2);

    const FrameTiming untimed = PlanFrameTimes({7, 7, 7}, 40 * Ms);
    EXPECT_TRUE(untimed.nominal);
    EXPECT_EQ(untimed.ticks, (std::vector<int64_t>{0, 40 * Ms, 80 * Ms}));
}

TEST(Json, WriterOutputParsesBackWithEscapes) {
    JsonWriter writer;
    writer.BeginObject().Member("name", std::string("a \"quoted\"\\ line\nnext\x01"));
    writer.Member("count", int64_t{-3}).Member("big", uint64_t{18446744073709551615u}).Member("ok", true);
    writer.Key("empty").BeginArray().EndArray();
    writer.Key("list").BeginArray().Integer(1).Null().Number(0.5).EndArray().EndObject();
    const nlohmann::json parsed = nlohmann::json::parse(writer.Text());
    EXPECT_EQ(parsed["name"], "a \"quoted\"\\ line\nnext\x01");
    EXPECT_EQ(parsed["count"], -3);
    EXPECT_EQ(parsed["big"].get<uint64_t>(), 18446744073709551615u);
    EXPECT_EQ(parsed["ok"], true);
    EXPECT_TRUE(parsed["empty"].empty());
    EXPECT_EQ(parsed["list"], nlohmann::json::parse("[1, null, 0.5]"));
}

} // namespace
} // namespace ToolTests
