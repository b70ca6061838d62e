// What export, convert, sheet and sample write: pictures checked against those encoded, video files
// opened with libavformat, manifests and frame logs checked against the files and the recording.

#include "MissingTool.h"
#include "fixtures/iso/FfmpegTool.h"
#include "support/RecorderTime.h"
#include "support/TestPattern.h"
#include "tools/ToolTestSupport.h"

#include <fstream>

namespace ToolTests {
namespace {

namespace fs = std::filesystem;
using nlohmann::json;

// The sample's clock: 2024/01/01 00:00:00 and 25 pictures a second, in 100 ns ticks.
constexpr int64_t SampleStart = 638396640000000000;
constexpr int64_t SamplePeriod = 400000;

// ffprobe's view of the first stream of `kind` ("v" or "a") of a video file, its duration, sample
// rate and channels, and of the file's tags.
json Probe(const fs::path& path, const std::string& kind) {
    return json::parse(
        RunProgram({"ffprobe", "-v", "error", "-select_streams", kind + ":0", "-show_entries",
                    "stream=duration,sample_rate,channels:format_tags", "-of", "json", path.string()}));
}

double Seconds(const json& value) {
    return value.is_string() ? std::stod(value.get<std::string>()) : 0.0;
}

// The first picture ffmpeg decodes from a video file, blue first.
VorncastTool::Picture FirstPicture(const fs::path& path, int32_t width, int32_t height) {
    const std::vector<IsoTest::Bytes> frames = IsoTest::FfmpegVideoFrames(path.string(), width, height);
    return frames.empty() ? VorncastTool::Picture{} : VorncastTool::Picture{width, height, 3, frames[0]};
}

// Mean absolute difference of the two pictures over the rows from `top` to `bottom`.
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

// Every output listed in the manifest and in SHA256SUMS has the hash of the file on disk, and the
// source is the recording with its own hash.
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

// Every picture exported decodes to the picture encoded, not to its neighbour; with --every, the
// chosen frames are logged alike in CSV and JSON.
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
        ASSERT_EQ(picture.width, 96);
        ASSERT_EQ(picture.height, 64);
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

// A phone recording with speech: its camera's file carries the sound beside the pictures, both as
// long as the recording, and the recorder's start in the metadata.
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
    const fs::path folder = Work("sample-folder");
    ASSERT_EQ(RunTool({"sample", folder.string(), "--frames", "3", "--folder"}).exitCode, 0);
    EXPECT_EQ(RunToolJson({"probe", (folder / "000000.jpg").string(), "--decoder", FolderOfJpegs,
                           "--json"})["tracks"][0]["streams"][0]["frames"],
              3);
    EXPECT_NE(RunTool({"sample", Work("both").string(), "--mjpeg", "--folder"}).exitCode, 0);
}

} // namespace
} // namespace ToolTests
