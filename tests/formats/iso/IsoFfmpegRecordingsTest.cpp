// Recordings written by the ffmpeg program at test time, read back through the exported functions
// and compared with ffmpeg's own decoding of the same files: pictures, audio and times.
#include "formats/avi/AviFixture.h"
#include "formats/iso/IsoFormatFixture.h"

#include <cmath>
#include <cstring>
#include <random>

using namespace AviTests;
using namespace IsoTests;
using namespace IsoTest;

namespace {

constexpr int32_t Width = 176;
constexpr int32_t Height = 144;
constexpr int64_t TicksPerSecond = 10000000;
constexpr int64_t OneMillisecond = 10000;
// 2019-05-06 07:08:09 UTC, the creation time every recording is given.
constexpr int64_t CreationUnixSeconds = 1557126489;
constexpr const char* Stamped = " -metadata creation_time=2019-05-06T07:08:09Z";

class FfmpegRecordingTest : public AviRecordingTest {
protected:
    // ffmpeg's recording of 36 test pictures, served from memory under its name, with the pictures
    // and times ffmpeg finds in it.
    std::string Recorded(const std::string& name, const std::string& output) {
        AddFile(name, Record(name, Width, Height, 1.44, output + Stamped));
        reference = Reference(name, Width, Height);
        times = FfmpegPacketTimes(folder.Path(name), "v");
        EXPECT_GT(reference.size(), 1u);
        EXPECT_EQ(times.size(), reference.size());
        return name;
    }

    int64_t ExpectedTicks(size_t frame) const {
        return TicksFromUnix(CreationUnixSeconds) + std::llround(times[frame] * TicksPerSecond);
    }

    void ExpectFrame(const Delivered& delivered, size_t frame) {
        ExpectPicture(delivered, reference[frame], frame);
        EXPECT_NEAR(static_cast<double>(delivered.time.recordedTime),
                    static_cast<double>(ExpectedTicks(frame)), OneMillisecond)
            << "frame " << frame;
        EXPECT_EQ(delivered.time.streamTime, delivered.time.recordedTime);
    }

    // Every frame forward, then every frame backward, then a few jumps by time: each picture and
    // time as ffmpeg has them.
    void ExpectVideoAsFfmpegDecodesIt(const char* guid, const std::string& name) {
        ASSERT_EQ(Load(guid, name), 0) << LastError();
        const int stream = VideoStream();
        ASSERT_NE(stream, 0);
        const std::vector<Delivered> walked =
            StepThrough(stream, reference.size(),
                        [&](const Delivered& frame, size_t index) { ExpectFrame(frame, index); });
        EXPECT_EQ(Previous(stream).status, VC_EndOfStreamBeforeStart);
        ASSERT_FALSE(walked.empty());
        EXPECT_EQ(VideoDescription(stream, walked[0]).width, Width);
        EXPECT_EQ(VideoDescription(stream, walked[0]).height, Height);
        std::mt19937 pick(7);
        for (int jump = 0; jump < 6; ++jump) {
            const size_t frame = pick() % reference.size();
            ExpectFrame(GoTo(stream, ExpectedTicks(frame)), frame);
        }
    }

    std::vector<Bytes> reference;
    std::vector<double> times;
};

TEST_F(FfmpegRecordingTest, H263ThreeGpMatchesFfmpegInBothPhoneDecoders) {
    const std::string name = Recorded("h263.3gp", "-c:v h263 -g 12 -q:v 3 -f 3gp");
    ExpectVideoAsFfmpegDecodesIt(Phone3gpGuid, name);
    EXPECT_TRUE(WasLogged("Decode3gp::SetCodec Video codec h263\n"));
    ExpectVideoAsFfmpegDecodesIt(PhoneMp4Guid, name);
    EXPECT_TRUE(WasLogged("DecodeISOMediaMp4::SetCodec Video codec h263\n"));
    EXPECT_EQ(Autodetected(name), "Mobile phone 3GP");
}

// The 3GP decoder does not read H.264; autodetection passes on to the MP4 one.
TEST_F(FfmpegRecordingTest, H264WithParameterSetsInEveryKeyFrameMatchesFfmpegInTheMp4DecoderOnly) {
    if (!CodecTest::HasEncoder("libx264")) {
        SKIP_OR_FAIL_FOR_MISSING("the libx264 encoder");
    }
    const std::string name = Recorded(
        "avc.mp4", "-c:v libx264 -pix_fmt yuv420p -bf 0 -g 12 -crf 18 -x264-params repeat-headers=1");
    ExpectVideoAsFfmpegDecodesIt(PhoneMp4Guid, name);
    EXPECT_TRUE(WasLogged("DecodeISOMediaMp4::SetCodec Video codec h264\n"));
    EXPECT_EQ(Load(Phone3gpGuid, name), VC_GeneralFailure);
    EXPECT_EQ(Autodetected(name), "Mobile phone MP4");
    // The Vigilant decoder, tried on the way, refuses the file for its file type box.
    EXPECT_TRUE(WasLogged("DecodeVigilantMp4 File type box should not be present 1\n"));
}

TEST_F(FfmpegRecordingTest, H263WithAmrAudioGivesFfmpegsSamplesFrameForFrame) {
    const std::string amrPath = folder.Path("speech.amr");
    ASSERT_TRUE(WriteAmrFile(80).size() > 6);
    ASSERT_TRUE(WriteWholeFile(amrPath, WriteAmrFile(80)));
    const std::string name = Recorded(
        "talk.3gp", "-i '" + amrPath + "' -map 0:v -map 1:a -c:v h263 -q:v 3 -g 12 -c:a copy -f 3gp");
    ExpectVideoAsFfmpegDecodesIt(Phone3gpGuid, name);

    const std::vector<int16_t> samples = FfmpegAudioSamples(folder.Path(name));
    const std::vector<double> audioTimes = FfmpegPacketTimes(folder.Path(name), "a");
    ASSERT_EQ(audioTimes.size(), 80u);
    ASSERT_EQ(samples.size(), 80u * 160);
    const int audio = AudioStream();
    ASSERT_NE(audio, 0);
    EXPECT_TRUE(WasLogged("Decode3gp::SetCodec Audio codec samr\n"));
    for (size_t frame = 0; frame < audioTimes.size(); ++frame) {
        const Delivered delivered = Next(audio);
        ASSERT_EQ(delivered.status, 0) << "audio frame " << frame << ": " << LastError();
        if (frame == 0) {
            const VcPublicAudioDescription description = AudioDescription(audio, delivered);
            EXPECT_EQ(description.sampleRate, 8000);
            EXPECT_EQ(description.channels, 1);
            EXPECT_EQ(description.bitsPerSample, 16);
            EXPECT_EQ(description.maxSampleBytes, 320);
        }
        ASSERT_EQ(delivered.data.size(), 320u);
        EXPECT_EQ(std::memcmp(delivered.data.data(), samples.data() + frame * 160, 320), 0)
            << "audio frame " << frame;
        const int64_t expected =
            TicksFromUnix(CreationUnixSeconds) + std::llround(audioTimes[frame] * TicksPerSecond);
        EXPECT_NEAR(static_cast<double>(delivered.time.recordedTime), static_cast<double>(expected),
                    OneMillisecond);
    }
    EXPECT_EQ(Next(audio).status, VC_EndOfStreamAfterEnd);
}

} // namespace
