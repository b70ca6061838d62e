// Darlex disk images read by the digital decoder (each track's frames with their times, cameras and
// pictures) and by the native one (searches by time, steps across seconds and files both ways).
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

constexpr int64_t Second = 10000000;
const char* const Guids[] = {"B672C4BD-2E7F-4b58-A943-929EAA3AA28E", "CFE30F46-4CC4-485a-A7B0-75681248B567"};

const std::vector<Adv601TestPicture>& Pictures() {
    static const std::vector<Adv601TestPicture> pictures = {Adv601Gradient(true), Adv601ColourBars(true),
                                                            Adv601Edges(true)};
    return pictures;
}

const std::vector<uint8_t>& Field(size_t picture) {
    static const std::vector<uint8_t> fields[] = {EncodeAdv601(Pictures()[0].bgr.data()),
                                                  EncodeAdv601(Pictures()[1].bgr.data()),
                                                  EncodeAdv601(Pictures()[2].bgr.data())};
    return fields[picture];
}

DarlexFrame Frame(int32_t second, uint8_t camera) {
    return {{2021, 11, 25, 4, 59, second}, camera, Field(static_cast<size_t>(second) % 3)};
}

// A frame as the native stream should give it: its time within its second, and its picture.
struct Expected {
    int64_t time;
    size_t picture;
};

class DarlexTest : public RecordingTest {
protected:
    void Serve(const DarlexImage& image, const std::string& folder = "/disk",
               const std::string& base = "REC") {
        for (const DarlexFileImage& file : WriteDarlex(image, base).files) {
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

    // The native decoder's frames of `camera` in second `second` after 2021-11-25 04:59:00, `count`
    // of them, spread over that second.
    void AddSecond(std::vector<DarlexFrame>& frames, int32_t second, uint8_t camera, int32_t count,
                   uint64_t gap = 0) {
        const int64_t start =
            Vorn::Vorncast::Decoders::TicksFromSystemTime(2021, 11, 25, 4, 59 + second / 60, second % 60, 0);
        for (int32_t k = 0; k < count; ++k) {
            const size_t picture = static_cast<size_t>(second + k) % Pictures().size();
            frames.push_back({{2021, 11, 25, 4, 59 + second / 60, second % 60}, camera, Field(picture), gap});
            expected[camera].push_back({start + k * (Second / count), picture});
        }
    }
    // Loads with the native decoder, the GUID's variant 1; its streams are the first track's.
    int LoadImage(const std::string& path) {
        VcGuid guid{};
        Vorn::ParseGuid("{b672c4bd-2e7f-4b58-a943-929eaa3aa28e}", &guid);
        int resources = 0;
        Decoder_Release(decoder);
        EXPECT_EQ(Decoder_Create(collection, guid, 1, -1, &decoder), 0);
        const int status = Decoder_Load(decoder, static_cast<int>(path.size()), path.c_str(), nullptr,
                                        nullptr, NeverAbort, &resources);
        return status != 0 ? status : Decoder_GetTrack(decoder, 0, &track);
    }
    static void ExpectFrame(const Delivered& delivered, const Expected& frame, const std::string& where,
                            bool picture = false) {
        ASSERT_EQ(delivered.status, 0) << where << ": " << LastError();
        EXPECT_EQ(delivered.time.recordedTime, frame.time) << where;
        EXPECT_EQ(delivered.time.streamTime, frame.time) << where;
        if (!delivered.data.empty() || picture) {
            EXPECT_GT(Adv601Psnr(Pictures()[frame.picture].bgr, delivered.data), 30.0) << where;
        }
    }

    std::map<uint8_t, std::vector<Expected>> expected;
};

class DarlexNativeTest : public DarlexTest {};
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
    Serve(image);
    ASSERT_EQ(Load(Guids[GetParam()], "/disk/REC.VID"), 0) << LastError();
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
    Serve(image, "/copy", "COPY");
    ASSERT_EQ(Load(Guids[0], "/copy/COPY.VID"), 0) << LastError();
    ExpectTracks({image.tracks[0].frames});
    EXPECT_TRUE(WasLogged("Bad image 3\n"));
}

TEST_F(DarlexTest, DamagedImagesFailWithTheirText) {
    DarlexImage tooSmall;
    tooSmall.tracks = {{{Frame(1, 1)}}};
    tooSmall.fileSizes = {WriteDarlex(tooSmall, "S").streamSize};
    tooSmall.trailingBytes = 2048;
    Serve(tooSmall, "/small", "S");
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

// A varying number of frames a second (ten in one of them), the image split over three files with frames
// running from one into the next. A time inside a frame's share of its second gives that frame (0.55 s
// into a second of ten frames gives the sixth); steps from there give its neighbours.
TEST_F(DarlexNativeTest, InterleavedCamerasStepThroughAndSeekToEveryFrame) {
    DarlexImage image;
    image.tracks.resize(1);
    const int32_t counts[] = {2, 10, 1, 3};
    for (int32_t second = 0; second < 4; ++second) {
        AddSecond(image.tracks[0].frames, second, 1, counts[second]);
        AddSecond(image.tracks[0].frames, second, 2, 2);
    }
    const uint64_t size = WriteDarlex(image, "REC").streamSize;
    image.fileSizes = {size / 3 / 4096 * 4096 + 1536, size / 3 / 4096 * 4096 + 4096};
    image.trailingBytes = 8192;
    Serve(image);
    ASSERT_EQ(LoadImage("/disk/REC.VID"), 0) << LastError();
    ASSERT_EQ(StreamCount(), 2);
    for (uint8_t camera = 1; camera <= 2; ++camera) {
        const int stream = VideoStreams().at(camera - 1u);
        const std::vector<Expected>& frames = expected[camera];
        for (size_t index = 0; index < frames.size(); ++index) {
            ExpectFrame(Next(stream, index % 5 == 0), frames[index], "forward " + std::to_string(index));
        }
        EXPECT_EQ(Next(stream, false).status, VC_EndOfStreamAfterEnd);
        EXPECT_EQ(Next(stream, false).status, VC_EndOfStreamAfterEnd);
        for (size_t index = frames.size(); index-- > 0;) {
            ExpectFrame(Previous(stream, index % 5 == 1), frames[index], "back " + std::to_string(index));
        }
        EXPECT_EQ(Previous(stream, false).status, VC_EndOfStreamBeforeStart);
        ExpectFrame(Next(stream, false), frames.front(), "first again");
    }
    const int stream = VideoStreams().at(0);
    const std::vector<Expected>& frames = expected[1];
    for (size_t index = frames.size(); index-- > 0;) {
        const int64_t share =
            index + 1 < frames.size() ? (frames[index + 1].time - frames[index].time) / 2 : 0;
        ExpectFrame(GoTo(stream, frames[index].time + share, index % 4 == 0), frames[index],
                    "seek " + std::to_string(index));
        if (index > 0) {
            ExpectFrame(Previous(stream, false), frames[index - 1], "before " + std::to_string(index));
            ExpectFrame(Next(stream, false), frames[index], "again " + std::to_string(index));
        }
    }
    EXPECT_EQ(GoTo(stream, INT64_MIN).status, VC_EndOfStreamBeforeStart);
    EXPECT_EQ(LastError().rfind("DarlexStream > GoToTime _I64_MIN", 0), 0u) << LastError();
    EXPECT_EQ(GoTo(stream, frames.front().time - Second).status, VC_EndOfStreamBeforeStart);
    EXPECT_EQ(LastError().rfind("Failed to find valid frame", 0), 0u) << LastError();
    ExpectFrame(Next(stream, false), frames.front(), "after a seek before the start");
    ExpectFrame(GoTo(stream, frames.back().time + 60 * Second, false), frames.back(), "past the end");
    EXPECT_EQ(Next(stream, false).status, VC_EndOfStreamAfterEnd);
    VcSample empty{};
    EXPECT_EQ(Stream_ReleaseSample(stream, empty), VC_InvalidArgument);
    EXPECT_EQ(LastError().rfind("sample.uncompressedData", 0), 0u) << LastError();
}

// Headers that lie: a time that goes back, and a size that runs past the end of the image. Every
// frame is still met once, in the order of the image, and the frame that lies gives its status.
TEST_F(DarlexNativeTest, HeadersThatLie) {
    DarlexImage image;
    image.tracks.resize(1);
    for (int32_t second : {0, 1, 2, 1, 3}) {
        AddSecond(image.tracks[0].frames, second, 1, 1);
    }
    image.untracked = {{{2021, 11, 25, 5, 30, 0}, 1, Field(0), 0, 30000}};
    Serve(image);
    ASSERT_EQ(LoadImage("/disk/REC.VID"), 0) << LastError();
    const int stream = VideoStreams().at(0);
    const std::vector<Expected>& frames = expected[1];
    for (size_t index = 0; index < frames.size(); ++index) {
        ExpectFrame(Next(stream, false), frames[index], "forward " + std::to_string(index));
    }
    // The untracked frame lies behind the track's bounds.
    EXPECT_EQ(Next(stream, false).status, VC_EndOfStreamAfterEnd);

    DarlexImage past;
    past.tracks = {
        {{{{2021, 11, 25, 5, 0, 0}, 1, Field(1)}, {{2021, 11, 25, 5, 0, 1}, 1, Field(2), 0, 30000}}}};
    Serve(past);
    ASSERT_EQ(LoadImage("/disk/REC.VID"), 0) << LastError();
    const int last = VideoStreams().at(0);
    EXPECT_EQ(Next(last, false).status, 0);
    EXPECT_EQ(Next(last).status, VC_GeneralFailure);
    EXPECT_EQ(LastError().rfind("DarlexStream: Read got wrong number of bytes", 0), 0u) << LastError();
    EXPECT_EQ(Next(last, false).status, VC_EndOfStreamAfterEnd);
    EXPECT_EQ(Previous(last).status, VC_GeneralFailure);
    EXPECT_EQ(Previous(last).status, 0);
}

// An image of 4.5 GB on disk, sparse, with one frame every 24 MB: seeks land on their frames, and
// steps cross seconds both ways.
TEST_F(DarlexNativeTest, SeeksInASparseImageOfSeveralGigabytes) {
    DarlexImage image;
    image.tracks.resize(1);
    for (int32_t second = 0; second < 48; ++second) {
        AddSecond(image.tracks[0].frames, second, 3, 4, uint64_t{24} << 20);
    }
    const std::string folder = testing::TempDir() + "darlex-native-" + std::to_string(getpid());
    std::filesystem::create_directories(folder);
    ASSERT_TRUE(WriteDarlexFiles(WriteDarlex(image, "BIG"), folder));
    Vorn::FileSource::SetCurrent(nullptr);
    ASSERT_EQ(LoadImage(folder + "/BIG.VID"), 0) << LastError();
    const int stream = VideoStreams().at(0);
    const std::vector<Expected>& frames = expected[3];
    for (size_t index : {size_t{190}, size_t{0}, size_t{97}, size_t{5}, size_t{143}, size_t{191}}) {
        ExpectFrame(GoTo(stream, frames[index].time, index == 97), frames[index],
                    "seek " + std::to_string(index));
        if (index + 1 < frames.size()) {
            ExpectFrame(Next(stream, false), frames[index + 1], "after " + std::to_string(index));
            ExpectFrame(Previous(stream, false), frames[index], "back " + std::to_string(index));
        }
        if (index > 1) {
            ExpectFrame(Previous(stream, false), frames[index - 1], "back " + std::to_string(index));
        }
    }
    std::filesystem::remove_all(folder);
}

} // namespace
