#include "core/time/Ticks.h"
#include "fixtures/formats/LorikanWriter.h"
#include "fixtures/formats/TestJpegPictures.h"
#include "fixtures/jpeg/LosslessJpegWriter.h"
#include "fixtures/jpeg2000/Jpeg2000TestEncoder.h"
#include "formats/RecordingFixture.h"

namespace {

using namespace FormatTests;
using namespace Vorn::Vorncast::Decoders::Testing;

constexpr const char* VixGuid = "6D8CDEC5-3294-4c55-9DDF-19C96AAD41C2";
constexpr const char* MasterGuid = "94D01DAE-C030-4b25-A0C1-483D5D957327";
constexpr const char* IndexGuid = "89CAA604-90CA-4e72-9302-01D435641B06";
constexpr int64_t Start = 638000000000000000; // 2022

// Decoder types exist once in a process, and a frame whose data file cannot be opened leaves its
// type refusing every later call: such a case runs in a child process, which answers by its exit.
template <class Check> void ExpectInChildProcess(Check check) {
    EXPECT_EXIT(std::_Exit(check() ? 0 : 1), ::testing::ExitedWithCode(0), "");
}

class LorikanTest : public RecordingTest {
protected:
    // Six JPEG frames of two cameras, three on one stamp and three on a stamp 0.6 s later, in data
    // files too small for a picture, so that most pictures run on into the next file.
    VixRecording WriteJpegVix(const std::string& dataFolder = "") {
        VixLayout layout;
        layout.width = 64;
        layout.height = 48;
        layout.dataFolder = dataFolder;
        layout.cameras = {{3, "Gate"}, {7, "Yard"}};
        layout.dataFileCapacity = 700;
        std::vector<VixPicture> frames;
        for (int32_t index = 0; index < 6; ++index) {
            pictures.push_back(MakeQuadrantPicture(64, 48, index));
            frames.push_back({Start + (index < 3 ? 0 : 6000000),
                              static_cast<uint16_t>(index % 2 == 0 ? 3 : 7),
                              EncodeTestJpeg(pictures.back())});
        }
        return WriteVix(layout, frames);
    }
    void AddVix(const std::string& folder, const VixRecording& vix, const std::string& dataFolder) {
        AddFile(folder + "clip.vix", vix.index);
        for (size_t file = 0; file < vix.dataFiles.size(); ++file) {
            AddFile(dataFolder + vix.dataNames[file], vix.dataFiles[file]);
        }
    }
    std::vector<BgrPicture> pictures;
};

// The companion text names the data files' folder; each camera's stream holds its frames with
// their stamps, frames on one stamp spread over the time to the next, the last ones over a second.
TEST_F(LorikanTest, VixFramesRunAcrossDataFilesAndKeepTheirCamerasAndTimes) {
    const VixRecording vix = WriteJpegVix();
    ASSERT_GT(vix.dataFiles.size(), 6u);
    AddVix("/v/", vix, "/v/data/");
    AddFile("/v/clip.txt", VixCompanionText("/v/data"));
    ASSERT_EQ(Load(VixGuid, "/v/clip.vix"), 0) << LastError();
    EXPECT_TRUE(WasLogged("DecodeLorikanVix loaded with 6 frames\n"));
    const std::vector<int> streams = VideoStreams();
    ASSERT_EQ(streams.size(), 2u);
    const int64_t streamTimes[] = {Start + 1000000,           Start + 3000000,
                                   Start + 5000000,           Start + 6000000 + 1666666,
                                   Start + 6000000 + 4999999, Start + 6000000 + 8333332};
    for (size_t camera = 0; camera < 2; ++camera) {
        EXPECT_EQ(StreamName(streams[camera]), camera == 0 ? "Gate" : "Yard");
        const std::vector<Delivered> walked = WalkForward(streams[camera]);
        ASSERT_EQ(walked.size(), 3u);
        for (size_t at = 0; at < walked.size(); ++at) {
            const size_t index = at * 2 + camera;
            EXPECT_EQ(walked[at].time.recordedTime, Start + (index < 3 ? 0 : 6000000)) << index;
            EXPECT_EQ(walked[at].time.streamTime, streamTimes[index]) << index;
            ASSERT_EQ(walked[at].data.size(), pictures[index].bgr.size());
            EXPECT_LT(CompareBgr(pictures[index], walked[at].data.data(), 64 * 3).meanAbsolute, 3.0) << index;
        }
    }
}

// The first kind of index: JPEG 2000 files of 720 x 288 whatever the header says, an index box
// that runs to the end of the file, and no companion text, so that the file table's names stand.
TEST_F(LorikanTest, VixFirstKindIndexHoldsJpeg2000FramesOfTheFixedSize) {
    const std::vector<uint8_t> rgb = Jpeg2000Testing::MakeRgbPicture(720, 288);
    Jpeg2000Testing::EncodeOptions options;
    options.jp2 = true;
    options.lossless = false;
    VixLayout layout;
    layout.secondKind = false;
    layout.indexRunsToEnd = true;
    layout.formatType = 1; // overruled by the first kind
    layout.width = 32;
    layout.height = 32;
    layout.fileTableVersion = 0;
    layout.dataFolder = "/w/";
    const std::vector<uint8_t> jp2 =
        Jpeg2000Testing::Encode(Jpeg2000Testing::RgbPlanes(rgb, 720, 288), 720, 288, options);
    const VixRecording vix = WriteVix(layout, {{Start, 0, jp2}, {Start, 0, jp2}});
    AddVix("/w/", vix, "");
    ASSERT_EQ(Load(VixGuid, "/w/clip.vix"), 0) << LastError();
    const std::vector<Delivered> walked = WalkForward(VideoStream());
    ASSERT_EQ(walked.size(), 2u);
    for (size_t index = 0; index < 2; ++index) {
        EXPECT_EQ(walked[index].time.recordedTime, Start);
        EXPECT_EQ(walked[index].time.streamTime, Start + static_cast<int64_t>(index) * 400000);
        EXPECT_GT(Jpeg2000Testing::Psnr(walked[index].data, Jpeg2000Testing::ToBgr(rgb)), 30.0);
    }
}

TEST_F(LorikanTest, DamagedVixIndexesEndTheLoadWithTheirText) {
    const VixRecording good = WriteJpegVix("/d/");
    auto changed = [&](uint64_t at, uint8_t value) {
        std::vector<uint8_t> bytes = good.index;
        bytes[at] = value;
        return bytes;
    };
    const std::string prefix = "DecodeLorikanVix::LoadingReadComplete failed ";
    const std::pair<std::vector<uint8_t>, std::string> cases[] = {
        {changed(4, 'w'), prefix + "with bad file signature\n"},
        {changed(16, 'F'), prefix + "ftyp expected\n"},
        {changed(20, 'V'), prefix + "not vix type\n"},
        {changed(15, 229), prefix + "bad box size\n"},
        {changed(good.headerBoxAt + 4, 'I'), prefix + "ixhd not found\n"},
        {changed(good.headerBoxAt + 12, 'X'), prefix + "ParseIndexHeader\n"},
        {changed(good.frameIndexAt + 4, 'X'), prefix + "not ixbd or ixb2\n"},
        {changed(good.frameIndexAt + 8, 2), prefix + "unexpected version\n"},
        {std::vector<uint8_t>(good.index.begin(), good.index.end() - 30), prefix + "with bad result\n"},
    };
    int file = 0;
    for (const auto& [bytes, text] : cases) {
        LoggedTexts().clear();
        const std::string path = "/bad" + std::to_string(file++) + "/clip.vix";
        AddFile(path, bytes);
        EXPECT_NE(Load(VixGuid, path), 0) << text;
        EXPECT_TRUE(WasLogged(text)) << text;
    }
}

// Two matching texts are too many; a text under 256 bytes ends the load without a word; a data
// file that is missing fails its frames.
TEST_F(LorikanTest, CompanionTextsAndMissingDataFiles) {
    const VixRecording vix = WriteJpegVix("/d/");
    AddFile("/two/clip.vix", vix.index);
    AddFile("/two/clip.txt", VixCompanionText("/d"));
    AddFile("/two/old/clip.txt", VixCompanionText("/d"));
    EXPECT_NE(Load(VixGuid, "/two/clip.vix"), 0);
    EXPECT_TRUE(WasLogged("DecodeLorikanVix::LoadingFileListComplete too many files\n"));

    LoggedTexts().clear();
    AddFile("/short/clip.vix", vix.index);
    AddFile("/short/clip.txt", std::vector<uint8_t>(255, 'a'));
    EXPECT_NE(Load(VixGuid, "/short/clip.vix"), 0);
    for (const std::string& text : LoggedTexts()) {
        EXPECT_EQ(text.find("DecodeLorikanVix"), std::string::npos) << text;
    }

    AddFile("/none/clip.vix", vix.index);
    ExpectInChildProcess([&] {
        return Load(VixGuid, "/none/clip.vix") == 0 && Next(VideoStreams()[0]).status != 0 &&
               WasLogged("DecodeLorikanVix::DecompressingOpenComplete failed with bad fileId or fileSize\n");
    });
}

// ---- the ix and mix indexes of lossless JPEG frames ----

struct IndexCase {
    bool master;
    bool colour;
};

constexpr IndexCase IndexCases[] = {{false, true}, {false, false}, {true, true}, {true, false}};

// The cases run one after the other in one test rather than as parameters of a suite: decoder types
// exist once in a process, and a suite of parameters would run after the damage sweeps, which may
// leave them refusing every call.
class LorikanIndexTest : public RecordingTest {
protected:
    void Take(const IndexCase& next) {
        format = next;
        pictures.clear();
        folder = "/" + std::to_string(++folderNumber) + "/";
    }
    LorikanIndexRecording Write(bool newHeader) {
        LorikanIndexLayout layout{format.master, newHeader, "clip.dat", 32, 16, format.colour};
        std::vector<LorikanIndexFrame> frames;
        // Out of time order: the master index is sorted, the single-camera one kept as it stands.
        const int64_t offsets[] = {0, 15000000, 5000000, 5000000};
        for (int32_t index = 0; index < 4; ++index) {
            pictures.push_back(index % 2 == 0 ? MakeGradient(32, 16, format.colour ? 3 : 1)
                                              : MakeColourBars(32, 16));
            if (!format.colour && index % 2 == 1) {
                pictures.back() = MakeGradient(32, 16, 1);
                std::reverse(pictures.back().pixels.begin(), pictures.back().pixels.end());
            }
            frames.push_back({Start + offsets[index],
                              static_cast<uint16_t>(format.master ? 4 + index % 2 : 0),
                              index % 2 == 0 ? "North" : "South", EncodeLosslessJpeg(pictures.back())});
        }
        return WriteLorikanIndex(layout, frames);
    }
    const char* Guid() const { return format.master ? MasterGuid : IndexGuid; }
    std::string Index() const { return folder + (format.master ? "clip.mix" : "clip.ix"); }
    IndexCase format{};
    std::string folder;
    int folderNumber = 0;
    std::vector<TestPicture> pictures;
};

// Each frame decodes exactly; the master index gives cameras their names and puts the frames in
// time order, the single-camera index keeps its own order.
TEST_F(LorikanIndexTest, EveryFrameDecodesExactlyWithItsTimeAndCamera) {
    for (const IndexCase& next : IndexCases) {
        Take(next);
        SCOPED_TRACE(Index() + (format.colour ? " colour" : " grey"));
        const LorikanIndexRecording recording = Write(!format.master);
        AddFile(Index(), recording.index);
        AddFile(folder + "clip.dat", recording.data);
        ASSERT_EQ(Load(Guid(), Index()), 0) << LastError();
        const std::vector<int> streams = VideoStreams();
        ASSERT_EQ(streams.size(), format.master ? 2u : 1u);
        const std::vector<std::vector<size_t>> order = format.master
                                                           ? std::vector<std::vector<size_t>>{{0, 2}, {3, 1}}
                                                           : std::vector<std::vector<size_t>>{{0, 1, 2, 3}};
        const int64_t offsets[] = {0, 15000000, 5000000, 5000000};
        for (size_t stream = 0; stream < streams.size(); ++stream) {
            if (format.master) {
                EXPECT_EQ(StreamName(streams[stream]), stream == 0 ? "North" : "South");
            }
            const std::vector<Delivered> walked = WalkForward(streams[stream]);
            ASSERT_EQ(walked.size(), order[stream].size());
            for (size_t at = 0; at < walked.size(); ++at) {
                const size_t index = order[stream][at];
                EXPECT_EQ(walked[at].time.recordedTime, Start + offsets[index]) << index;
                EXPECT_EQ(walked[at].data, pictures[index].pixels) << index;
            }
        }
    }
}

TEST_F(LorikanIndexTest, DamagedIndexesAndMissingDataFiles) {
    for (const IndexCase& next : IndexCases) {
        Take(next);
        SCOPED_TRACE(Index());
        const std::string name = format.master ? "DecodeLorikanMaster" : "DecodeLorikan";
        LorikanIndexRecording recording = Write(false);
        recording.index[0] = 'X';
        AddFile(Index(), recording.index);
        EXPECT_NE(Load(Guid(), Index()), 0);
        EXPECT_TRUE(WasLogged(name + "::LoadingReadComplete failed because file has invalid header\n"));

        Take(next);
        AddFile(Index(), std::vector<uint8_t>(155, 0));
        EXPECT_NE(Load(Guid(), Index()), 0);
        EXPECT_TRUE(
            WasLogged(name + "::LoadingOpenComplete failed because fileId or fileSize was invalid\n"));

        // The master index's version test lets no digits pass: the layout with a version text fails
        // without a word, where the single-camera index loads it.
        if (format.master) {
            LoggedTexts().clear();
            Take(next);
            AddFile(Index(), Write(true).index);
            AddFile(folder + "clip.dat", Write(true).data);
            EXPECT_NE(Load(Guid(), Index()), 0);
            EXPECT_FALSE(WasLogged(name + "::LoadingReadComplete failed because file has invalid header\n"));
            EXPECT_FALSE(
                WasLogged(name + "::LoadingOpenComplete failed because fileId or fileSize was invalid\n"));
        }

        // No data file: the master index fails its load, the other its first frame.
        LoggedTexts().clear();
        Take(next);
        AddFile(Index(), Write(false).index);
        if (format.master) {
            EXPECT_NE(Load(Guid(), Index()), 0);
            EXPECT_TRUE(
                WasLogged(name + "::LoadingOpenComplete failed because fileId or fileSize was invalid\n"));
        } else {
            ExpectInChildProcess([&] {
                return Load(Guid(), Index()) == 0 && Next(VideoStream()).status != 0 &&
                       WasLogged(
                           "DecodeLorikan::PositioningOpenComplete failed with invalid fileId or fileSize\n");
            });
        }
    }
}

} // namespace
