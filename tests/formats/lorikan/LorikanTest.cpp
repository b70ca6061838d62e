#include "core/time/Ticks.h"
#include "fixtures/formats/LorikanWriter.h"
#include "fixtures/jpeg/LosslessJpegWriter.h"
#include "fixtures/jpeg2000/Jpeg2000TestEncoder.h"
#include "formats/RecorderChecks.h"

namespace {

using namespace FormatTests;

constexpr const char* VixGuid = "6D8CDEC5-3294-4c55-9DDF-19C96AAD41C2";
constexpr const char* MasterGuid = "94D01DAE-C030-4b25-A0C1-483D5D957327";
constexpr const char* IndexGuid = "89CAA604-90CA-4e72-9302-01D435641B06";
constexpr int64_t Start = 638000000000000000; // 2022

// Decoder types exist once in a process, and a frame whose data file cannot be opened leaves its
// type refusing every later call: such a case runs in a child process, which answers by its exit.
template <class Check> void ExpectInChildProcess(Check check) {
    EXPECT_EXIT(std::_Exit(check() ? 0 : 1), ::testing::ExitedWithCode(0), "");
}

// Out of time order: the master index sorts its frames, the single-camera one keeps them as they stand.
constexpr int64_t IndexOffsets[] = {0, 15000000, 5000000, 5000000};

class LorikanTest : public RecorderTest {
protected:
    LorikanIndexRecording WriteIndex(bool master, bool colour, bool newHeader) {
        std::vector<LorikanIndexFrame> frames;
        lossless.clear();
        for (int32_t index = 0; index < 4; ++index) {
            lossless.push_back(index % 2 == 0 || !colour ? MakeGradient(32, 16, colour ? 3 : 1)
                                                         : MakeColourBars(32, 16));
            if (!colour && index % 2 == 1) {
                std::reverse(lossless.back().pixels.begin(), lossless.back().pixels.end());
            }
            frames.push_back({Start + IndexOffsets[index], static_cast<uint16_t>(master ? 4 + index % 2 : 0),
                              index % 2 == 0 ? "North" : "South", EncodeLosslessJpeg(lossless.back())});
        }
        return WriteLorikanIndex({master, newHeader, "clip.dat", 32, 16, colour}, frames);
    }
    void AddVix(const std::string& folder, const VixRecording& vix, const std::string& dataFolder) {
        AddFile(folder + "clip.vix", vix.index);
        for (size_t file = 0; file < vix.dataFiles.size(); ++file) {
            AddFile(dataFolder + vix.dataNames[file], vix.dataFiles[file]);
        }
    }

    std::vector<TestPicture> lossless;
};

// Six JPEG frames of two cameras, three on one stamp and three on a stamp 0.6 s later, in data files
// too small for a picture, so that most pictures run on into the next file. The companion text names
// the data files' folder; frames on one stamp spread over the time to the next, the last ones over a
// second. Two matching companion texts are too many; a text under 256 bytes ends the load without a
// word; a data file that is missing fails its frames.
TEST_F(LorikanTest, VixFramesOfBothKindsRunAcrossDataFilesAndKeepTheirCamerasAndTimesAndDamageFailsTheLoad) {
    std::vector<VixPicture> frames;
    std::vector<BgrPicture> pictures;
    for (int32_t index = 0; index < 6; ++index) {
        pictures.push_back(MakeQuadrantPicture(64, 48, index));
        frames.push_back({Start + (index < 3 ? 0 : 6000000), static_cast<uint16_t>(index % 2 == 0 ? 3 : 7),
                          EncodeTestJpeg(pictures.back())});
    }
    const VixRecording vix = WriteVix(
        {.width = 64, .height = 48, .cameras = {{3, "Gate"}, {7, "Yard"}}, .dataFileCapacity = 700}, frames);
    ASSERT_GT(vix.dataFiles.size(), 6u);
    AddVix("/v/", vix, "/v/data/");
    AddFile("/v/clip.txt", VixCompanionText("/v/data"));
    ASSERT_EQ(Load(VixGuid, "/v/clip.vix"), 0) << LastError();
    const int64_t streamTimes[] = {Start + 1000000,           Start + 3000000,
                                   Start + 5000000,           Start + 6000000 + 1666666,
                                   Start + 6000000 + 4999999, Start + 6000000 + 8333332};
    ExpectStreamNames({"Gate", "Yard"});
    ExpectWalks(TakingTurns(2, 6), [&](const Delivered& frame, size_t index) {
        EXPECT_EQ(frame.time.recordedTime, Start + (index < 3 ? 0 : 6000000));
        EXPECT_EQ(frame.time.streamTime, streamTimes[index]);
        ExpectNear(pictures[index], frame);
    });

    const Bytes& index = vix.index;
    const std::string prefix = "DecodeLorikanVix::LoadingReadComplete failed ";
    ExpectLoadsFail(VixGuid, "clip.vix",
                    {{WithByte(index, 4, 'w'), prefix + "with bad file signature\n"},
                     {WithByte(index, 16, 'F'), prefix + "ftyp expected\n"},
                     {WithByte(index, 20, 'V'), prefix + "not vix type\n"},
                     {WithByte(index, 15, 229), prefix + "bad box size\n"},
                     {WithByte(index, vix.headerBoxAt + 4, 'I'), prefix + "ixhd not found\n"},
                     {WithByte(index, vix.headerBoxAt + 12, 'X'), prefix + "ParseIndexHeader\n"},
                     {WithByte(index, vix.frameIndexAt + 4, 'X'), prefix + "not ixbd or ixb2\n"},
                     {WithByte(index, vix.frameIndexAt + 8, 2), prefix + "unexpected version\n"},
                     {CutTo(index, index.size() - 30), prefix + "with bad result\n"}});
    AddFile("/two/clip.txt", VixCompanionText("/d"));
    AddFile("/two/old/clip.txt", VixCompanionText("/d"));
    EXPECT_TRUE(FileFailsWith(VixGuid, "/two/clip.vix", index,
                              "DecodeLorikanVix::LoadingFileListComplete too many files\n"));
    LoggedTexts().clear();
    AddFile("/short/clip.vix", index);
    AddFile("/short/clip.txt", std::vector<uint8_t>(255, 'a'));
    EXPECT_NE(Load(VixGuid, "/short/clip.vix"), 0);
    for (const std::string& text : LoggedTexts()) {
        EXPECT_EQ(text.find("DecodeLorikanVix"), std::string::npos) << text;
    }
    AddFile("/none/clip.vix", index);
    ExpectInChildProcess([&] {
        return Load(VixGuid, "/none/clip.vix") == 0 && Next(VideoStreams()[0]).status != 0 &&
               WasLogged("DecodeLorikanVix::DecompressingOpenComplete failed with bad fileId or fileSize\n");
    });

    // The first kind of index: JPEG 2000 files of 720 x 288 whatever the header says, an index box
    // that runs to the end of the file, and no companion text, so that the file table's names stand.
    const std::vector<uint8_t> rgb = Jpeg2000Testing::MakeRgbPicture(720, 288);
    const std::vector<uint8_t> jp2 = Jpeg2000Testing::Encode(Jpeg2000Testing::RgbPlanes(rgb, 720, 288), 720,
                                                             288, {.jp2 = true, .lossless = false});
    const VixRecording firstKind =
        WriteVix({.firstKind = true, .width = 32, .height = 32, .dataFolder = "/w/"},
                 {{Start, 0, jp2}, {Start, 0, jp2}});
    AddVix("/w/", firstKind, "");
    ASSERT_EQ(Load(VixGuid, "/w/clip.vix"), 0) << LastError();
    ExpectWalks({{0, 1}}, [&](const Delivered& frame, size_t index) {
        EXPECT_EQ(frame.time.recordedTime, Start);
        EXPECT_EQ(frame.time.streamTime, Start + static_cast<int64_t>(index) * 400000);
        EXPECT_GT(Jpeg2000Testing::Psnr(frame.data, Jpeg2000Testing::ToBgr(rgb)), 30.0);
    });
}

// The kinds of index run one after the other in one test rather than as parameters of a suite:
// decoder types exist once in a process, and a suite of parameters would run after the damage
// sweeps, which may leave them refusing every call. The master index's version test lets no digits pass, so
// that the layout with a version text fails without a word where the single-camera index loads it; without
// its data file the master index fails its load, the other its first frame.
TEST_F(LorikanTest, IndexFramesDecodeExactlyAndDamagedIndexesFail) {
    int folderNumber = 0;
    for (const bool master : {false, true}) {
        for (const bool colour : {true, false}) {
            const char* guid = master ? MasterGuid : IndexGuid;
            std::string index;
            auto add = [&](const Bytes& bytes, const Bytes& data) {
                const std::string folder = "/" + std::to_string(++folderNumber) + "/";
                index = folder + (master ? "clip.mix" : "clip.ix");
                AddFile(index, bytes);
                if (!data.empty()) {
                    AddFile(folder + "clip.dat", data);
                }
            };
            SCOPED_TRACE(testing::Message() << (master ? "mix" : "ix") << (colour ? " colour" : " grey"));
            LorikanIndexRecording recording = WriteIndex(master, colour, !master);
            add(recording.index, recording.data);
            ASSERT_EQ(Load(guid, index), 0) << LastError();
            ExpectWalks(
                master ? std::vector<std::vector<size_t>>{{0, 2}, {3, 1}}
                       : std::vector<std::vector<size_t>>{{0, 1, 2, 3}},
                [&](const Delivered& frame, size_t at) {
                    EXPECT_EQ(frame.time.recordedTime, Start + IndexOffsets[at]);
                    EXPECT_EQ(frame.data, lossless[at].pixels);
                },
                master ? std::vector<std::string>{"North", "South"} : std::vector<std::string>{});

            const std::string name = master ? "DecodeLorikanMaster" : "DecodeLorikan";
            const std::string badHeader =
                name + "::LoadingReadComplete failed because file has invalid header\n";
            const std::string badFile =
                name + "::LoadingOpenComplete failed because fileId or fileSize was invalid\n";
            recording = WriteIndex(master, colour, false);
            add(WithByte(recording.index, 0, 'X'), {});
            EXPECT_TRUE(LoadFailsWith(guid, index, badHeader));
            add(Bytes(155, 0), {});
            EXPECT_TRUE(LoadFailsWith(guid, index, badFile));
            if (master) {
                LoggedTexts().clear();
                const LorikanIndexRecording versioned = WriteIndex(master, colour, true);
                add(versioned.index, versioned.data);
                EXPECT_NE(Load(guid, index), 0);
                EXPECT_FALSE(WasLogged(badHeader) || WasLogged(badFile));
                add(recording.index, {});
                EXPECT_TRUE(LoadFailsWith(guid, index, badFile, VC_CatastrophicFailure));
            } else {
                add(recording.index, {});
                ExpectInChildProcess([&] {
                    return Load(guid, index) == 0 && Next(VideoStream()).status != 0 &&
                           WasLogged("DecodeLorikan::PositioningOpenComplete failed with invalid fileId or "
                                     "fileSize\n");
                });
            }
        }
    }
}

} // namespace
