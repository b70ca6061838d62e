#include "core/time/Ticks.h"
#include "formats/avi/AviFixture.h"

#include <tuple>

namespace {

using namespace AviTests;
using Vorn::Vorncast::Decoders::FourCCLE;
using Vorn::Vorncast::Decoders::TicksFromSystemTime;

constexpr const char* DV25Guid = "099A772C-0749-4c16-8230-F98F0F10E5AD";
constexpr int DvWidth = 720;
constexpr int DvHeight = 576;
constexpr uint32_t DvFrameBytes = 144000;

class DV25AVITest : public AviRecordingTest {
protected:
    // A DV stream of ffmpeg's, 30 frames recorded from 2021-03-04 05:06:07: each DIF frame in one
    // AVI chunk.
    AviStreamSpec DvStream() {
        raw = Record("raw.dv", DvWidth, DvHeight, 1.2,
                     "-c:v dvvideo -pix_fmt yuv420p -metadata creation_time=2021-03-04T05:06:07 -f dv");
        AviStreamSpec stream;
        stream.handler = FourCCLE("dvsd");
        stream.format = AviVideoFormat(FourCCLE("dvsd"), DvWidth, DvHeight);
        for (size_t at = 0; at + DvFrameBytes <= raw.size(); at += DvFrameBytes) {
            stream.chunks.emplace_back(raw.begin() + static_cast<ptrdiff_t>(at),
                                       raw.begin() + static_cast<ptrdiff_t>(at + DvFrameBytes));
        }
        return stream;
    }
    Bytes raw;
};

constexpr const char* DvFileGuid = "EA99CA74-6FF5-4f31-A85D-AA10FA7218CC";

// In an AVI, as a video or an interleaved DV stream, and as a raw file, each frame bears the recording time
// of its DIF subcode, whole seconds counted from the start, and ffmpeg's picture. A raw file cut inside a
// frame keeps its whole frames.
TEST_F(DV25AVITest, FramesTakeTheirTimeCodeAndDecodeAsFfmpegDoes) {
    const AviStreamSpec stream = DvStream();
    ASSERT_EQ(stream.chunks.size(), 30u);
    AddFile("/dv/tape.avi", WriteAvi({stream}).bytes);
    AviStreamSpec interleaved = stream; // a DV stream of the first type, named by its handler
    interleaved.type = FourCCLE("iavs");
    AddFile("/dv/iavs.avi", WriteAvi({interleaved}).bytes);
    AddFile("/dv/tape.dv", Bytes(raw.begin(), raw.end() - DvFrameBytes / 2));
    const std::vector<Bytes> reference = Reference("raw.dv", DvWidth, DvHeight);
    for (const auto& [guid, path, count] :
         {std::tuple{DV25Guid, "/dv/tape.avi", size_t{30}}, std::tuple{DV25Guid, "/dv/iavs.avi", size_t{30}},
          std::tuple{DvFileGuid, "/dv/tape.dv", size_t{29}}}) {
        SCOPED_TRACE(path);
        ASSERT_EQ(Load(guid, path), 0) << LastError();
        const std::vector<Delivered> walked = WalkForward(VideoStream());
        ExpectPictures(
            walked, std::vector<Bytes>(reference.begin(), reference.begin() + static_cast<ptrdiff_t>(count)));
        ExpectRecordedTimes(walked, count, [](size_t frame) {
            return TicksFromSystemTime(2021, 3, 4, 5, 6, 7 + static_cast<int32_t>(frame / 25), 0);
        });
    }
}

TEST_F(DV25AVITest, ARawFileWithoutWholeFramesFailsAndABadDateLeavesTheFrameUndated) {
    AddFile("/short/a.dv", Bytes(DvFrameBytes - 1, 0));
    EXPECT_NE(Load(DvFileGuid, "/short/a.dv"), 0);
    EXPECT_TRUE(WasLogged("DecodeDV: Decode Failure (No frames in the frameInfoList!)\n"));
    DvStream();
    Bytes two(raw.begin(), raw.begin() + 2 * DvFrameBytes);
    two[DvFrameBytes + 461] = 0x13; // month 13
    AddFile("/bad/b.dv", two);
    ASSERT_EQ(Load(DvFileGuid, "/bad/b.dv"), 0) << LastError();
    const std::vector<Delivered> walked = WalkForward(VideoStream());
    ASSERT_EQ(walked.size(), 2u);
    EXPECT_EQ(walked[0].time.recordedTime, TicksFromSystemTime(2021, 3, 4, 5, 6, 7, 0));
    EXPECT_EQ(walked[1].time.recordedTime, 0);
}

TEST_F(DV25AVITest, AnFfmpegDvAviWithoutTimeCodePlaysByItsRate) {
    AddFile("/dv/plain.avi", Record("plain.avi", DvWidth, DvHeight, 0.4, "-c:v dvvideo -pix_fmt yuv420p"));
    ASSERT_EQ(Load(DV25Guid, "/dv/plain.avi"), 0) << LastError();
    EXPECT_TRUE(WasLogged("Neither camera information nor timestamps could be decoded for this format."));
    EXPECT_EQ(DecoderName("DecodeDV25AVI"), "DV25 AVI (dvsd)");
    const std::vector<Delivered> walked = WalkForward(VideoStream());
    ExpectPictures(walked, Reference("plain.avi", DvWidth, DvHeight));
    for (size_t frame = 1; frame < walked.size(); ++frame) {
        EXPECT_EQ(walked[frame].time.recordedTime, 0);
        EXPECT_GT(walked[frame].time.streamTime, walked[frame - 1].time.streamTime) << frame;
    }
}

} // namespace
