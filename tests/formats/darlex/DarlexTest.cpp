#include "core/time/Ticks.h"
#include "fixtures/adv601/Adv601TestEncoder.h"
#include "fixtures/adv601/Adv601TestPictures.h"
#include "fixtures/formats/DarlexWriter.h"
#include "formats/RecordingFixture.h"

#include <unistd.h>

#include <filesystem>
#include <map>

namespace {

using namespace FormatTests;
using namespace Vorn::Vorncast::Decoders::Testing;

const char* const Guids[] = {"B672C4BD-2E7F-4b58-A943-929EAA3AA28E", "CFE30F46-4CC4-485a-A7B0-75681248B567"};

const std::vector<Adv601TestPicture>& Pictures() {
    static const std::vector<Adv601TestPicture> pictures = {Adv601Gradient(true), Adv601ColourBars(true),
                                                            Adv601Edges(true)};
    return pictures;
}

DarlexFrame Frame(int32_t second, uint8_t camera) {
    static const std::vector<uint8_t> fields[] = {EncodeAdv601(Pictures()[0].bgr.data()),
                                                  EncodeAdv601(Pictures()[1].bgr.data()),
                                                  EncodeAdv601(Pictures()[2].bgr.data())};
    return {{2021, 11, 25, 4, 59, second}, camera, fields[second % 3]};
}

class DarlexTest : public RecordingTest {
protected:
    void AddImage(const DarlexWritten& written, const std::string& folder) {
        for (const DarlexFileImage& file : written.files) {
            AddFile(folder + "/" + file.name, DarlexFileBytes(file));
        }
    }
    // Each track's streams, one a camera in rising order, hold its frames with their times and
    // pictures; with `seek`, a seek to each frame's stream time lands on it.
    void ExpectTracks(const std::vector<std::vector<DarlexFrame>>& tracks, bool seek = false) {
        std::vector<int> streams = VideoStreams();
        size_t stream = 0;
        for (const auto& frames : tracks) {
            std::map<uint8_t, std::vector<DarlexFrame>> byCamera;
            for (const DarlexFrame& frame : frames) {
                byCamera[frame.camera].push_back(frame);
            }
            for (const auto& [camera, expected] : byCamera) {
                ASSERT_LT(stream, streams.size());
                std::vector<Delivered> walked = WalkForward(streams[stream++]);
                ASSERT_EQ(walked.size(), expected.size()) << "camera " << int{camera};
                for (size_t i = 0; i < walked.size(); ++i) {
                    const DarlexClock& t = expected[i].time;
                    EXPECT_EQ(walked[i].time.recordedTime,
                              Vorn::Vorncast::Decoders::TicksFromSystemTime(t.year, t.month, t.day, t.hour,
                                                                            t.minute, t.second, 0));
                    if (seek) {
                        EXPECT_EQ(GoTo(streams[stream - 1], walked[i].time.streamTime).time.recordedTime,
                                  walked[i].time.recordedTime);
                    }
                    if (expected[i].claimedSectors != 0) {
                        EXPECT_EQ(std::count(walked[i].data.begin(), walked[i].data.end(), 0),
                                  std::ssize(walked[i].data));
                    } else {
                        EXPECT_GT(
                            Adv601Psnr(Pictures()[static_cast<size_t>(t.second) % 3].bgr, walked[i].data),
                            30.0);
                    }
                }
            }
        }
        EXPECT_EQ(stream, streams.size());
    }
};

class DarlexVariantTest : public DarlexTest, public testing::WithParamInterface<int> {};

// Three files: a frame runs over from the first into the second, the directories stand in the
// second, stored out of time order and with an empty track, and the last file has none.
TEST_P(DarlexVariantTest, EveryFrameOfEveryTrackWithItsTimeCameraAndPicture) {
    DarlexImage image;
    image.tracks = {{{Frame(20, 2), Frame(21, 1), Frame(22, 2)}}, {}, {{Frame(10, 1), Frame(11, 3)}}};
    image.untracked = {Frame(40, 4), Frame(41, 4), Frame(42, 5)};
    image.sectorBias = 7;
    const uint64_t runsOver = WriteDarlex(image, "REC").places[0][1].streamOffset / 4096 * 4096 + 4096;
    image.fileSizes = {runsOver, WriteDarlex(image, "REC").streamSize - runsOver};
    image.trailingBytes = 8192;
    AddImage(WriteDarlex(image, "REC"), "/disk");
    ASSERT_EQ(Load(Guids[GetParam()], "/disk/REC.VID"), 0) << LastError();
    int tracks = 0;
    ASSERT_EQ(Decoder_GetTrackCount(decoder, &tracks), 0);
    EXPECT_EQ(tracks, 2 + GetParam());
    std::vector<std::vector<DarlexFrame>> expected = {image.tracks[2].frames, image.tracks[0].frames};
    // The walk for untracked frames starts behind the track latest in time, the first one stored,
    // and leaves the last frame it finds out of its count.
    if (GetParam() == 1) {
        expected.push_back({Frame(10, 1), Frame(11, 3), Frame(40, 4), Frame(41, 4)});
    }
    ExpectTracks(expected);
}

INSTANTIATE_TEST_SUITE_P(BothVariants, DarlexVariantTest, testing::Values(0, 1));

// A single file copied with 512-byte sectors: its directory's end reads four times too far and is
// halved back to the frames. Its stamps run backwards once, and the frames keep them. The last frame
// claims more sectors than the file holds: it is black, and the decoder stays loaded for the next.
TEST_F(DarlexTest, ASingleFileCopyHalvesItsEndKeepsBackwardStampsAndBlacksACutFrame) {
    DarlexImage image;
    image.tracks = {{{Frame(3, 2), Frame(5, 2), Frame(4, 2), Frame(6, 1)}}};
    image.tracks[0].frames[3].claimedSectors = 0x7000;
    image.sectorUnit = 512;
    AddImage(WriteDarlex(image, "COPY"), "/copy");
    ASSERT_EQ(Load(Guids[0], "/copy/COPY.VID"), 0) << LastError();
    ExpectTracks({image.tracks[0].frames});
    EXPECT_TRUE(WasLogged("Bad image 3\n"));
}

TEST_F(DarlexTest, DamagedImagesFailWithTheirText) {
    DarlexImage tooSmall;
    tooSmall.tracks = {{{Frame(1, 1)}}};
    tooSmall.fileSizes = {WriteDarlex(tooSmall, "S").streamSize};
    tooSmall.trailingBytes = 2048;
    AddImage(WriteDarlex(tooSmall, "S"), "/small");
    AddFile("/blank/B.VID", Bytes(65536, 0));
    AddFile("/other/O.DAT", Bytes(65536, 0));
    EXPECT_TRUE(LoadFailsWith(Guids[0], "/small/S.000", "DecodeDarlexFindingTracks File too small\n"));
    EXPECT_TRUE(LoadFailsWith(Guids[1], "/blank/B.VID", "DecodeDarlexFindingTracks No tracks found\n"));
    EXPECT_TRUE(LoadFailsWith(Guids[0], "/other/O.DAT", "DecodeDarlexGettingFileSizes File list failed\n"));
}

// Two tracks 4 GB apart in a sparse file set: only the tracks' ranges are walked.
TEST_F(DarlexTest, ASparseImageOfSeveralGigabytes) {
    DarlexImage image;
    image.tracks = {{{Frame(1, 1), Frame(1, 1), Frame(2, 1)}},
                    {{Frame(7, 2), Frame(8, 2)}, {}, uint64_t{4} << 30}};
    image.fileSizes = {uint64_t{3} << 30};
    const std::string folder = testing::TempDir() + "darlex-sparse-" + std::to_string(getpid());
    std::filesystem::create_directories(folder);
    ASSERT_TRUE(WriteDarlexFiles(WriteDarlex(image, "BIG"), folder));
    Vorn::FileSource::SetCurrent(nullptr);
    ASSERT_EQ(Load(Guids[0], folder + "/BIG.VID"), 0) << LastError();
    ExpectTracks({image.tracks[0].frames, image.tracks[1].frames}, true);
    std::filesystem::remove_all(folder);
}

} // namespace
