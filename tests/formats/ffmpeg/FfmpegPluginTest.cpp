// Files the ffmpeg program writes at test time, read by the "FFmpeg container" plug-in or the
// built-in phone decoders and compared with ffmpeg's own decoding.
#include "fixtures/formats/DhavWriter.h"
#include "formats/avi/AviFixture.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <random>

using namespace AviTests;
using namespace IsoTest;

namespace {

constexpr const char* PhoneMp4Guid = "4A53EA3D-0A11-4dec-B9BD-E0EAF808EB31";
constexpr const char* Phone3gpGuid = "CEABCACD-5446-41f9-94A2-3391B2C9F578";
constexpr int32_t Width = 96;
constexpr int32_t Height = 64;
constexpr int32_t PhoneWidth = 176;
constexpr int32_t PhoneHeight = 144;
constexpr int64_t TicksPerSecond = 10000000;
constexpr int64_t OneMillisecond = 10000;
// 2019-05-06 07:08:09 UTC, the creation time every phone recording is given.
constexpr int64_t CreationUnixSeconds = 1557126489;
constexpr const char* Stamped = " -metadata creation_time=2019-05-06T07:08:09Z";

class FfmpegPluginTest : public AviRecordingTest {
protected:
    void SetUp() override {
        AviRecordingTest::SetUp();
        if (IsSkipped()) {
            return;
        }
        // Real files, read by the built-in decoders and by FFmpeg alike, and a collection that holds
        // the plug-ins of the library's build.
        Vorn::FileSource::SetCurrent(nullptr);
        DecoderCollection_Release(collection);
        VcInitRecord record{};
        record.importPluginsEnabled = 1;
        InitVorncastDecoders(record);
        ASSERT_EQ(DecoderCollection_Create(FFMPEG_PLUGIN_ROOT, &collection), 0);
    }

    // ffmpeg's file of `frames` test pictures written with `output`.
    std::string Recorded(const std::string& name, int frames, const std::string& output) {
        Record(name, Width, Height, frames * 0.04, output);
        return folder.Path(name);
    }

    // Every frame of the video stream against ffmpeg's decoding: count, order, picture.
    std::vector<Delivered> ExpectPicturesOfFfmpeg(const std::string& path) {
        EXPECT_EQ(Autodetected(path, true), "FFmpeg container");
        reference = FfmpegVideoFrames(path, Width, Height);
        std::vector<Delivered> walked = WalkForward(VideoStream());
        ExpectPictures(walked, reference);
        return walked;
    }

    // Seeks to the times of frames in an order that jumps both ways, across key frames.
    void ExpectSeeksLandOnFrames(const std::vector<Delivered>& walked) {
        const int stream = VideoStream();
        for (size_t frame :
             {walked.size() - 1, size_t{3}, walked.size() / 2, size_t{1}, size_t{0}, size_t{7}}) {
            const Delivered landed = GoTo(stream, walked[frame].time.streamTime);
            ExpectPicture(landed, reference[frame], frame);
            EXPECT_EQ(landed.time.recordedTime, walked[frame].time.recordedTime) << "frame " << frame;
        }
        EXPECT_EQ(GoTo(stream, walked[0].time.streamTime - 1).status, VC_EndOfStreamBeforeStart);
        EXPECT_EQ(Next(stream).time.streamTime, walked[0].time.streamTime);
    }
};

TEST_F(FfmpegPluginTest, TransportStreamWithBFramesPlaysAndSeeksFrameExactly) {
    const std::string path = Recorded("clip.ts", 30, "-c:v libx264 -bf 2 -g 12 -pix_fmt yuv420p -qp 10");
    const auto walked = ExpectPicturesOfFfmpeg(path);
    ASSERT_EQ(walked.size(), 30u);
    // Without a wall clock in the container, the recorder's time is the stream time.
    EXPECT_EQ(walked[5].time.recordedTime, walked[5].time.streamTime);
    EXPECT_EQ(walked[5].time.streamTime - walked[4].time.streamTime, TicksPerSecond / 25);
    ExpectSeeksLandOnFrames(walked);
    // Stepping back from the end crosses key frames and B-frames in display order.
    const int stream = VideoStream();
    ASSERT_EQ(GoTo(stream, walked.back().time.streamTime).status, 0);
    for (size_t frame = walked.size() - 2; frame + 8 > walked.size(); --frame) {
        const Delivered back = Previous(stream);
        ExpectPicture(back, reference[frame], frame);
        EXPECT_EQ(back.time.streamTime, walked[frame].time.streamTime);
    }
}

TEST_F(FfmpegPluginTest, ElementaryStreamsWithoutStampsAreTimedByTheirRate) {
    const std::string h264 = Recorded("clip.h264", 20, "-c:v libx264 -bf 2 -g 8 -qp 10");
    const auto walked = ExpectPicturesOfFfmpeg(h264);
    ASSERT_EQ(walked.size(), 20u);
    EXPECT_EQ(walked[19].time.streamTime, 19 * TicksPerSecond / 25);
    ExpectSeeksLandOnFrames(walked);
}

TEST_F(FfmpegPluginTest, MatroskaWithHevc) {
    if (!RunFfmpeg("-f lavfi -i nullsrc=size=64x64:duration=0.04 -c:v libx265 -f null -")) {
        SKIP_OR_FAIL_FOR_MISSING("ffmpeg's HEVC encoder");
    }
    const std::string path =
        Recorded("clip.mkv", 16, "-c:v libx265 -x265-params log-level=none:keyint=8 -crf 4");
    ExpectSeeksLandOnFrames(ExpectPicturesOfFfmpeg(path));
}

TEST_F(FfmpegPluginTest, CreationTimeGivesTheRecordersClockAndAudioPlays) {
    const std::string path = Recorded("clip.mp4", 25,
                                      "-f lavfi -i sine=frequency=440:duration=1 "
                                      "-c:v libx264 -bf 2 -g 10 -qp 10 -c:a aac "
                                      "-metadata creation_time=2019-05-06T07:08:09Z");
    const auto walked = ExpectPicturesOfFfmpeg(path);
    const int64_t creation = TicksFromUnix(CreationUnixSeconds);
    const std::vector<double> stamps = FfmpegPacketTimes(path, "v");
    ASSERT_EQ(stamps.size(), walked.size());
    std::vector<double> shown = stamps;
    std::sort(shown.begin(), shown.end());
    for (size_t frame = 0; frame < walked.size(); ++frame) {
        EXPECT_NEAR(static_cast<double>(walked[frame].time.recordedTime),
                    static_cast<double>(creation) + shown[frame] * TicksPerSecond, OneMillisecond);
    }
    // The tone comes through as 16-bit PCM: a sample near the middle is loud.
    const int audio = AudioStream();
    ASSERT_NE(audio, 0);
    const Delivered sound = GoTo(audio, walked[12].time.streamTime);
    ASSERT_EQ(sound.status, 0);
    const VcPublicAudioDescription format = AudioDescription(audio, sound);
    EXPECT_EQ(format.bitsPerSample, 16);
    int16_t peak = 0;
    for (size_t at = 0; at + 1 < sound.data.size(); at += 2) {
        int16_t value;
        std::memcpy(&value, sound.data.data() + at, 2);
        peak = std::max<int16_t>(peak, static_cast<int16_t>(std::abs(value)));
    }
    EXPECT_GT(peak, 4000);

    // A QuickTime movie keeps its creation time the same way.
    const std::string movie =
        Recorded("clip.mov", 5, "-c:v libx264 -metadata creation_time=2019-05-06T07:08:09Z");
    const auto movieFrames = ExpectPicturesOfFfmpeg(movie);
    ASSERT_EQ(movieFrames.size(), 5u);
    EXPECT_EQ(movieFrames[4].time.recordedTime, creation + 4 * TicksPerSecond / 25);
}

// A DHAV file written here around ffmpeg's H.264: FFmpeg reads its dates, and so the plug-in gives
// the recorder's clock of every frame.
TEST_F(FfmpegPluginTest, DhavFramesCarryTheRecordersDateAndTime) {
    const std::string h264 =
        Recorded("source.h264", 30, "-c:v libx264 -bf 0 -g 10 -qp 10 -x264-params aud=1");
    const int64_t start = 1700000000;
    const auto units = SplitAccessUnits(ReadWholeFile(h264));
    ASSERT_EQ(units.size(), 30u);
    const std::string path = folder.Path("camera.dav");
    ASSERT_TRUE(WriteWholeFile(path, WriteDhav(units, Width, Height, 25, start)));
    const auto walked = ExpectPicturesOfFfmpeg(path);
    ASSERT_EQ(walked.size(), 30u);
    for (size_t frame = 0; frame < walked.size(); ++frame) {
        EXPECT_EQ(walked[frame].time.recordedTime,
                  TicksFromUnix(start) + static_cast<int64_t>(frame) * 40 * OneMillisecond)
            << "frame " << frame;
    }
    ExpectSeeksLandOnFrames(walked);

    // A frame whose data the disk lost comes black at its own time; the next key frame plays again.
    auto damaged = units;
    std::fill(damaged[5].begin(), damaged[5].end(), uint8_t{0});
    const std::string lost = folder.Path("lost.dav");
    ASSERT_TRUE(WriteWholeFile(lost, WriteDhav(damaged, Width, Height, 25, start)));
    ASSERT_EQ(Autodetected(lost, true), "FFmpeg container");
    const auto played = WalkForward(VideoStream());
    ASSERT_EQ(played.size(), 30u);
    EXPECT_EQ(played[5].time.recordedTime, walked[5].time.recordedTime);
    EXPECT_TRUE(IsBlack(played[5]));
    ExpectPicture(played[10], reference[10], 10);
}

TEST_F(FfmpegPluginTest, BuiltInDecodersComeFirstAndRefusalsChangeNothing) {
    EXPECT_EQ(Autodetected(Recorded("phone.3gp", 5, "-c:v mpeg4")), "Mobile phone 3GP");
    const std::string noise = folder.Path("noise.ts");
    ASSERT_TRUE(WriteWholeFile(noise, Bytes(4096, 0x5A)));
    EXPECT_EQ(Autodetected(noise).rfind("Failed to load", 0), 0u);
    const std::string other = Recorded("clip.bin", 5, "-c:v libx264 -f mpegts");
    EXPECT_EQ(Autodetected(other).rfind("Failed to load", 0), 0u);
}

class FfmpegRecordingTest : public AviRecordingTest {
protected:
    // ffmpeg's recording of 36 test pictures, served from memory under its name, with the pictures
    // and times ffmpeg finds in it.
    std::string Recorded(const std::string& name, const std::string& output) {
        AddFile(name, Record(name, PhoneWidth, PhoneHeight, 1.44, output + Stamped));
        reference = Reference(name, PhoneWidth, PhoneHeight);
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
        EXPECT_EQ(VideoDescription(stream, walked[0]).width, PhoneWidth);
        EXPECT_EQ(VideoDescription(stream, walked[0]).height, PhoneHeight);
        std::mt19937 pick(7);
        for (int jump = 0; jump < 6; ++jump) {
            const size_t frame = pick() % reference.size();
            ExpectFrame(GoTo(stream, ExpectedTicks(frame)), frame);
        }
    }

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
