#include "core/time/Ticks.h"
#include "fixtures/formats/ViconNetWriter.h"
#include "formats/RecorderChecks.h"

#include <algorithm>
#include <map>

namespace {

using namespace FormatTests;

constexpr const char* ViconGuid = "0CA09FC6-4112-4318-9DEE-46BC96B37612";
constexpr int32_t Width = 64;
constexpr int32_t Height = 32;
constexpr int64_t Start = 133500000000000000; // a FILETIME in 2024
constexpr const char* Folder = "/site/Archive 24-03-14 15.26.00/";

// The picture a camera shows after a frame: the blocks the frame carries, over what it showed.
void Paint(TestPicture& shown, const TestPicture& source, const std::vector<bool>& present) {
    for (int32_t block = 0; block < static_cast<int32_t>(present.size()); ++block) {
        if (!present[static_cast<size_t>(block)]) {
            continue;
        }
        const int32_t x0 = block % (Width / 16) * 16, y0 = block / (Width / 16) * 8;
        for (int32_t y = y0; y < y0 + 8; ++y) {
            std::copy(source.Pixel(x0, y), source.Pixel(x0 + 16, y), shown.Pixel(x0, y));
        }
    }
}

struct CameraClip {
    ViconNetVideoFile file;
    std::vector<TestPicture> shown;
    std::vector<int64_t> times;
};

// Key, delta, delta, a frame passed over, delta: the pictures turn by a block pattern each time.
CameraClip MakeClip(const std::string& name, int64_t first, int32_t seed) {
    BlockJpegWriter writer(Width, Height, 60);
    CameraClip clip{{name, {}}, {}, {}};
    TestPicture shown = MakeGradient(Width, Height, 3);
    for (size_t index = 0; index < 5; ++index) {
        const int64_t time = first + static_cast<int64_t>(index) * 4000000;
        TestPicture source =
            (index + seed) % 2 == 0 ? MakeColourBars(Width, Height) : MakeGradient(Width, Height, 3);
        std::vector<bool> present(static_cast<size_t>(writer.Columns() * writer.Rows()), index == 0);
        for (size_t block = index % 3; block < present.size(); block += 3) {
            present[block] = true;
        }
        clip.file.frames.push_back(index == 0 ? ViconNetKeyFrame(writer, source, time)
                                              : ViconNetDeltaFrame(writer, source, present, time));
        if (index == 3) {
            clip.file.frames.back().frameType = ViconNetPassOverType;
        } else {
            Paint(shown, source, present);
        }
        clip.shown.push_back(shown);
        clip.times.push_back(time + Vorn::Vorncast::Decoders::FileTimeEpochTicks);
    }
    return clip;
}

class ViconNetTest : public RecorderTest {
protected:
    ViconNetArchive TwoSlices(const std::string& parent = "/site/", uint32_t version = 3, bool dbf = false) {
        return {parent, "Archive 24-03-14 15.26.00", version,
                dbf,    {{1, "Gate"}, {2, "Yard"}},  {{1, {gate.file}}, {2, {yard.file, unnamed.file}}}};
    }
    std::vector<Delivered> ExpectClip(int stream, const CameraClip& clip) {
        return StepThrough(stream, clip.shown.size(),
                           [&](const Delivered& frame, size_t index) { ExpectShown(clip, frame, index); });
    }
    static void ExpectShown(const CameraClip& clip, const Delivered& frame, size_t index) {
        EXPECT_EQ(frame.time.recordedTime, clip.times[index]);
        ExpectPsnr(clip.shown[index], frame, 28);
    }

    CameraClip gate = MakeClip("cam_01", Start, 0);
    CameraClip yard = MakeClip("cam_02", Start + 1000000, 1);
    CameraClip unnamed = MakeClip("cam_03", Start + 2000000, 0);
};

// A frame passed over shows the one before it.
TEST_F(ViconNetTest, CamerasOfAllSlicesStepForwardAndBackWithEveryConfigurationVersion) {
    AddFiles(WriteViconNet(TwoSlices()));
    ASSERT_EQ(Load(ViconGuid, std::string(Folder) + "storecfg.vsb"), 0) << LastError();
    const std::vector<int> streams = ExpectStreamNames({"Gate", "Yard", "Channel 03"});
    const CameraClip* clips[] = {&gate, &yard, &unnamed};
    for (size_t camera = 0; camera < 3; ++camera) {
        const std::vector<Delivered> walked = ExpectClip(streams[camera], *clips[camera]);
        ASSERT_EQ(walked.size(), 5u);
        for (size_t index : {4u, 2u}) {
            ExpectShown(*clips[camera], GoTo(streams[camera], walked[index].time.streamTime), index);
        }
    }

    // Every version of the configuration and both camera tables, with names in other cases than
    // asked for, and the load started from an index file inside the archive.
    for (const auto& [version, dbf] :
         std::vector<std::pair<uint32_t, bool>>{{1, false}, {3, true}, {4, false}}) {
        SCOPED_TRACE(testing::Message() << "version " << version << (dbf ? " dbf" : " vbt"));
        const ViconNetArchive archive =
            TwoSlices("/v" + std::to_string(version) + (dbf ? "d/" : "b/"), version, dbf);
        const auto inside = static_cast<long>(archive.parent.size() + archive.name.size());
        for (auto [path, bytes] : WriteViconNet(archive)) {
            std::transform(path.begin() + inside, path.end(), path.begin() + inside,
                           [](char c) { return static_cast<char>(std::toupper(c)); });
            AddFile(path, bytes);
        }
        ASSERT_EQ(Load(ViconGuid, archive.parent + archive.name + "/VIDEO2/CAM_02.1"), 0) << LastError();
        ExpectClip(ExpectStreamNames({"Gate", "Yard", "Channel 03"})[1], yard);
    }
}

TEST_F(ViconNetTest, DamagedArchivesEndTheLoadWithTheirTextAndDamagedFramesComeBlack) {
    using Files = std::map<std::string, std::vector<uint8_t>>;
    Files good;
    for (const auto& [path, bytes] : WriteViconNet(TwoSlices())) {
        good[path.substr(std::string(Folder).size())] = bytes;
    }
    auto changed = [&](const std::string& name, size_t at, uint8_t value) {
        Files files = good;
        files[name][at] = value;
        return files;
    };
    auto without = [&](const std::string& name) {
        Files files = good;
        files.erase(name);
        return files;
    };
    Files shortImages = good;
    shortImages["Video1/cam_01.2"].resize(20);
    const std::pair<Files, const char*> cases[] = {
        {changed("storecfg.vsb", 30, 0x7F), "DecodeViconNet LoadingFileListComplete failed due to an invalid "
                                            "sliceList index reading camera names\n"},
        {without("storecfg.vsb"),
         "DecodeViconNet LoadingFileListComplete failing due to storeCfg.vsb file not found\n"},
        {without("GDEVIDEN.vbt"),
         "DecodeViconNet LoadingFileListComplete failing due to missing vbt or dbf file\n"},
        {changed("GDEVIDEN.vbt", 0, 7),
         "DecodeViconNet LoadingReadComplete failed GDEVIDEN file header is wrong version\n"},
        {changed("Video1/cam_01.2", 17, 0xD8),
         "DecodeViconNet::LoadingReadComplete failed as image file does not start with jpeg SOS marker\n"},
        {shortImages,
         "DecodeViconNet LoadingOpenComplete failed because fileSize was too small to contain the "
         "image image size\n"},
        {without("Video1/cam_01.0"), nullptr},
    };
    int archive = 0;
    for (const auto& [files, text] : cases) {
        const std::string root = "/bad" + std::to_string(archive++) + Folder;
        AddFiles(files, root);
        if (text != nullptr) {
            EXPECT_TRUE(LoadFailsWith(ViconGuid, root + "storecfg.vsb", text));
        } else {
            // A video file without its header is left out; the others load.
            ASSERT_EQ(Load(ViconGuid, root + "storecfg.vsb"), 0) << LastError();
            EXPECT_EQ(VideoStreams().size(), 2u);
        }
    }
    // A camera table with a stride of 0 and a count of billions names no camera.
    const std::string zero = "/zero" + std::string(Folder);
    AddFiles(good, zero);
    AddFile(zero + "GDEVIDEN.vbt", WithByte(WithByte(Bytes(128, 0), 0, 2), 15, 0x7F));
    ASSERT_EQ(Load(ViconGuid, zero + "storecfg.vsb"), 0) << LastError();
    EXPECT_EQ(StreamName(VideoStreams()[0]), "Channel 01");
    EXPECT_TRUE(FileFailsWith(ViconGuid, "/elsewhere/storecfg.vsb", good["storecfg.vsb"],
                              "DecodeViconNet::LoadingCore failed - Archive not found\n"));

    // A delta frame whose blocks run past its end comes black at its own time; the camera's next key
    // frame decodes again.
    BlockJpegWriter writer(Width, Height, 60);
    gate.file.frames[1].imageSize = 40;
    gate.file.frames.push_back(ViconNetKeyFrame(writer, gate.shown[0], Start + 90000000));
    AddFiles(WriteViconNet({.parent = "/black/", .slices = {{1, {gate.file}}}}));
    ASSERT_EQ(Load(ViconGuid, "/black/Archive 24-03-14 15.26.00/storecfg.vsb"), 0) << LastError();
    std::vector<Delivered> walked = WalkForward(VideoStream());
    ASSERT_EQ(walked.size(), 6u);
    EXPECT_EQ(walked[1].time.recordedTime, gate.times[1]);
    EXPECT_TRUE(IsBlack(walked[1]));
    ExpectPsnr(gate.shown[0], walked[5], 28);
}

} // namespace
