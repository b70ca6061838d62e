// Recorder formats through the tool, each found by autodetection or the decoder named.
#include "MissingTool.h"
#include "fixtures/adv601/Adv601TestEncoder.h"
#include "fixtures/adv601/Adv601TestPictures.h"
#include "fixtures/dvd/DvdAuthor.h"
#include "fixtures/formats/AviWriter.h"
#include "fixtures/formats/BoschArchiveWriter.h"
#include "fixtures/formats/DarlexWriter.h"
#include "fixtures/formats/KodicomWriter.h"
#include "fixtures/formats/SyneticsWriter.h"
#include "fixtures/formats/UvmsWriter.h"
#include "fixtures/formats/VigilantMpeg2Writer.h"
#include "fixtures/iso/FfmpegTool.h"
#include "support/RecorderTime.h"
#include "tools/ToolTestSupport.h"

#include <fstream>

namespace ToolTests {
namespace {

namespace fs = std::filesystem;
using json = nlohmann::json;
using namespace Vorn::Vorncast::Decoders::Testing;

// Writes `bytes` to `path`, making its folder; gives the path.
template <typename ByteString> std::string Save(const fs::path& path, const ByteString& bytes) {
    fs::create_directories(path.parent_path());
    std::ofstream(path, std::ios::binary)
        .write(reinterpret_cast<const char*>(bytes.data()), static_cast<long>(bytes.size()));
    return path.string();
}

// What a recording written for a case should show.
struct Recording {
    std::string path; // given to the tool; empty when an encoder is missing
    std::vector<std::string> cameras;
    std::vector<size_t> frames;     // per camera
    size_t listed = 0;              // the camera whose frames are listed
    std::vector<std::string> times; // of every listed frame
};

struct FormatCase {
    const char* name;
    Recording (*write)(const fs::path& folder);
    const char* decoder; // as probe names it
    std::vector<std::string> options;
};

// `count` recorder times `step` ticks apart from `first`, as the tool prints them.
std::vector<std::string> Times(const char* first, int64_t step, size_t count) {
    std::vector<std::string> times;
    for (size_t index = 0; index < count; ++index) {
        times.push_back(VorncastTool::FormatRecorderTime(*VorncastTool::ParseRecorderTime(first) +
                                                         static_cast<int64_t>(index) * step));
    }
    return times;
}

Recording WriteBosch(const fs::path& folder) {
    const std::vector<BoschFrame> clip = EncodeBoschClip(64, 48, 6, 3, true);
    if (clip.empty()) {
        return {};
    }
    for (const auto& [path, bytes] :
         WriteBoschArchive(folder.string(), "Export",
                           {{"B1", "Gate", "", {{"T", clip}}}, {"B2", "Yard", "", {{"T", clip}}}}, 64, 48)) {
        Save(path, bytes);
    }
    const std::string path = (folder / "Export.info").string();
    return {path, {"Gate", "Yard"}, {6, 6}, 1, Times("2024/05/17 08:30:00", 400000, 6)};
}

Recording WriteVigilant(const fs::path& folder) {
    const VigilantMpeg2File written =
        EncodeVigilantMpeg2Clip(32, 7, {"Depot", "Gate", 0, {1700000000, 1700003600}});
    if (written.bytes.empty()) {
        return {};
    }
    const std::string path = Save(folder / "clip.mpg", written.bytes);
    // Each frame at the time of its group, in display order.
    std::vector<std::string> times = Times("2023/11/14 22:13:20", 0, 1);
    for (const auto& group : {Times("2023/11/14 23:13:20", 0, 3), Times("2023/11/14 23:13:21", 0, 3)}) {
        times.insert(times.end(), group.begin(), group.end());
    }
    return {path, {"Depot - Gate"}, {7}, 0, times};
}

// A pair found by its name, its pictures listed in display order, B frames included.
Recording WriteSynetics(const fs::path& folder) {
    CodecTest::EncodedVideo video;
    if (!EncodeSyneticsVideo(64, 48, 9, 6, &video)) {
        return {};
    }
    const SyneticsPair pair =
        WriteSyneticsPair("Gate", SyneticsPictures(video, {2024, 3, 0, 12, 9, 30, 0, 0}, 40));
    Save(folder / "mpeg2_0001_2.dat", pair.otherFrames);
    const std::string path = Save(folder / "mpeg2_0001_1.dat", pair.iFrames);
    return {path, {"Gate"}, {9}, 0, Times("2024/03/12 09:30:00", 400000, 9)};
}

Recording WriteUvms(const fs::path& folder) {
    for (const auto& [path, bytes] : WriteUvmsJpegTree(32, 16)) {
        Save(folder / path, bytes);
    }
    const std::string path = (folder / "Configs/site.ocf").string();
    return {path,
            {"Input Number: 1, Gate", "Input Number: 2, Yard"},
            {3, 2},
            0,
            Times("2023/11/14 22:13:20", 400000, 3)};
}

Recording WriteGeoVision(const fs::path& folder) {
    const std::vector<AviRecordingFile> written = WriteAviMemberRecording("DecodeGeoVision");
    if (written.empty()) {
        return {};
    }
    // A bare file name, as typed in the recording's own folder, the current directory.
    Save(folder / written[0].name, written[0].bytes);
    return {written[0].name, {"Gate.avi"}, {6}, 0, Times("2021/03/04 05:06:00", 10000000, 6)};
}

Recording WriteKodicom(const fs::path& folder) {
    const KodicomSpan span = WriteKodicomSpan(KodicomFrames(2, 5, 638000000000000000, 5, 2, 32, 24));
    Save(folder / "KD0.box", span.box);
    const std::string path = Save(folder / "KD0.bix", span.bix);
    return {path, {"Camera 1", "Camera 2"}, {5, 5}, 1, Times("2022/09/28 22:13:20", 2000000, 5)};
}

// Cameras named in the track directory.
Recording WriteDarlex(const fs::path& folder) {
    Adv601EncoderOptions coarse;
    coarse.detailScale = 4096;
    const std::vector<uint8_t> field = EncodeAdv601(Adv601Flat(true, 40, 80, 120).bgr.data(), coarse);
    DarlexImage image;
    image.tracks = {{{{{2022, 6, 1, 9, 0, 1}, 1, field},
                      {{2022, 6, 1, 9, 0, 1}, 2, field},
                      {{2022, 6, 1, 9, 0, 2}, 2, field}},
                     {"Gate", "Yard"}}};
    fs::create_directories(folder);
    WriteDarlexFiles(WriteDarlex(image, "DISK"), folder.string());
    const std::string path = (folder / "DISK.VID").string();
    return {path, {"Gate", "Yard"}, {1, 2}, 1, Times("2022/06/01 09:00:01", 10000000, 2)};
}

const FormatCase FormatCases[] = {
    {"BoschArchive", WriteBosch, "Bosch Archive", {}},
    {"VigilantMpeg2", WriteVigilant, "Vigilant Export Viewer MPEG2", {}},
    {"Synetics", WriteSynetics, "Synectics", {}},
    {"Uvms", WriteUvms, "UVMS PI Vision Ltd", {}},
    {"GeoVisionAvi", WriteGeoVision, "GeoVision", {}},
    {"Kodicom", WriteKodicom, "Kodicom", {}},
    {"DarlexByIndex", WriteDarlex, "Tecton Darlex (Tracked Frames Only)", {"--decoder", "72"}},
    {"DarlexByGuid",
     WriteDarlex,
     "__LEGACY__ Tecton Darlex (Tracked frames only)",
     {"--decoder", "{B672C4BD-2E7F-4b58-A943-929EAA3AA28E}"}},
};

class ToolFormatTest : public ToolTest, public ::testing::WithParamInterface<FormatCase> {
protected:
    json RunJson(std::vector<std::string> arguments) {
        arguments.insert(arguments.end(), GetParam().options.begin(), GetParam().options.end());
        arguments.push_back("--json");
        return RunToolJson(arguments);
    }
};

TEST_P(ToolFormatTest, ProbeShowsEveryCameraAndFramesListsOnesFrames) {
    const Recording recording = GetParam().write(Work("recording"));
    if (recording.path.empty()) {
        SKIP_OR_FAIL_FOR_MISSING("the encoder for this recording");
    }
    const json report = RunJson({"probe", recording.path});
    EXPECT_EQ(report["decoder"]["name"], GetParam().decoder);
    const json& streams = report["tracks"][0]["streams"];
    ASSERT_EQ(streams.size(), recording.cameras.size());
    for (size_t stream = 0; stream < streams.size(); ++stream) {
        EXPECT_EQ(streams[stream]["camera"], recording.cameras[stream]);
        EXPECT_EQ(streams[stream]["frames"], recording.frames[stream]);
    }
    const json listed = RunJson({"frames", recording.path, "--stream", std::to_string(recording.listed)});
    ASSERT_EQ(listed.size(), recording.frames[recording.listed]);
    for (size_t index = 0; index < listed.size(); ++index) {
        EXPECT_EQ(listed[index]["camera"], recording.cameras[recording.listed]) << index;
        EXPECT_EQ(listed[index]["recorderTime"], recording.times[index]) << index;
    }
}

INSTANTIATE_TEST_SUITE_P(Formats, ToolFormatTest, ::testing::ValuesIn(FormatCases),
                         [](const ::testing::TestParamInfo<FormatCase>& info) { return info.param.name; });

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

// A disc of two title sets, the second of two cells, found from the disc's folder: a track a title set;
// convert, given the VIDEO_TS folder, makes a file of each title set's pictures.
TEST_F(ToolTest, DvdFolderIsProbedExportedAndConverted) {
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

    const ToolRun exported =
        RunTool({"export", disc, "--stream", std::to_string(streams[0]["index"].get<int64_t>()), "--out",
                 Work("export").string()});
    ASSERT_EQ(exported.exitCode, 0) << exported.err;
    const json log = ReadJson(Work("export") / "frames.json");
    ASSERT_EQ(log.size(), reference.size());
    for (size_t index = 0; index < log.size(); index += 4) {
        const VorncastTool::Picture picture =
            ReadPng(Work("export") / log[index]["output"].get<std::string>());
        EXPECT_LT(MeanDifference(reference[index], picture), 1.0) << index;
    }

    const ToolRun converted = RunTool({"convert", dvd.directory, Work("convert").string()});
    ASSERT_EQ(converted.exitCode, 0) << converted.err;
    EXPECT_EQ(ReadJson(Work("convert") / "frames.json").size(),
              reference.size() + report["tracks"][0]["streams"][0]["frames"].get<size_t>());
}

} // namespace
} // namespace ToolTests
