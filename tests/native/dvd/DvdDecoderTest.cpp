// DVD-Video folders authored by ffmpeg and dvdauthor, read through the exported functions and
// compared with ffmpeg's own decoding of the same VOBs: every picture, its order and time, the
// audio, and seeks to every frame and sample across cells and VOB files.
#include "fixtures/codecs/CodecTestSupport.h"
#include "fixtures/iso/FfmpegTool.h"
#include "native/dvd/DvdFixture.h"

#include <cmath>
#include <cstring>

using namespace DvdTests;
using FormatTests::Delivered;
using Vorn::Testing::DvdShape;

namespace {

struct ShapeCase {
    const char* name;
    DvdShape shape;
    bool lowerCaseNames;
};

const ShapeCase Shapes[] = {
    {"OneTitleSet", {false, {{1.0}}, 1}, false},
    {"SeveralCells", {false, {{0.6, 0.7, 0.6}}, 1}, false},
    {"TwoTitleSets", {false, {{0.6}, {0.5, 0.5}}, 1}, false},
    {"SeveralVobFiles", {false, {{0.8, 0.8}}, 3}, false},
    {"NtscLowerCaseNames", {true, {{0.6, 0.6}}, 2}, true},
};

class DvdRecordingTest : public DvdTest, public ::testing::WithParamInterface<ShapeCase> {
protected:
    void SetUp() override {
        DvdTest::SetUp();
        if (!IsSkipped()) {
            ASSERT_TRUE(Serve(GetParam().shape, GetParam().lowerCaseNames));
            ASSERT_EQ(LoadDisc(), 0) << LastError();
        }
    }

    static void ExpectPicture(const Delivered& delivered, const IsoTest::Bytes& reference, size_t frame) {
        ASSERT_EQ(delivered.status, 0) << "frame " << frame;
        ASSERT_EQ(delivered.data.size(), reference.size()) << "frame " << frame;
        EXPECT_GE(CodecTest::Psnr(reference.data(), delivered.data.data(), reference.size()), 40.0)
            << "frame " << frame;
    }

    // A seek to the time of any frame gives that frame, the steps from there its neighbours; a time
    // between two frames gives the earlier one, times outside the title the ends.
    void ExpectSeeks(int stream, const std::vector<Delivered>& walked,
                     const std::vector<IsoTest::Bytes>& reference) {
        for (size_t frame = walked.size(); frame-- > 0;) {
            const Delivered found = GoTo(stream, walked[frame].time.streamTime);
            ExpectPicture(found, reference[frame], frame);
            ASSERT_EQ(found.time.streamTime, walked[frame].time.streamTime) << "frame " << frame;
            if (frame % 5 != 0) {
                continue;
            }
            const Delivered before = Previous(stream);
            if (frame == 0) {
                EXPECT_EQ(before.status, VC_EndOfStreamBeforeStart);
                continue;
            }
            ExpectPicture(before, reference[frame - 1], frame - 1);
            EXPECT_EQ(before.time.streamTime, walked[frame - 1].time.streamTime);
            EXPECT_EQ(Next(stream).time.streamTime, walked[frame].time.streamTime) << "frame " << frame;
        }
        EXPECT_EQ(GoTo(stream, walked[2].time.streamTime + 1).time.streamTime, walked[2].time.streamTime);
        EXPECT_EQ(GoTo(stream, walked.front().time.streamTime - 5000000).status, VC_EndOfStreamBeforeStart);
        EXPECT_EQ(LastError().rfind("DVDStream > GoToTime before start of stream", 0), 0u) << LastError();
        EXPECT_EQ(Next(stream).time.streamTime, walked.front().time.streamTime);
        EXPECT_EQ(GoTo(stream, walked.back().time.streamTime + 50000000).status, VC_EndOfStreamAfterEnd);
        EXPECT_EQ(Next(stream).status, VC_EndOfStreamAfterEnd);
        EXPECT_EQ(Previous(stream).time.streamTime, walked.back().time.streamTime);
    }
};

// Every picture of every title set matches ffmpeg's, its times run on across the cells (whose own
// times start again) within the track's span, and seeks in the last title set land on every frame.
TEST_P(DvdRecordingTest, EveryPictureOfEveryTitleSetMatchesFfmpegAndIsSought) {
    int tracks = 0;
    ASSERT_EQ(Decoder_GetTrackCount(decoder, &tracks), 0);
    ASSERT_EQ(static_cast<size_t>(tracks), GetParam().shape.titleSets.size());
    for (int index = 0; index < tracks; ++index) {
        const int stream = StreamOfTrack(index, VC_StreamVideo);
        ASSERT_NE(stream, 0);
        const std::vector<Delivered> walked = WalkForward(stream);
        const std::vector<IsoTest::Bytes> reference = IsoTest::FfmpegVideoFrames(
            JoinedTitle(*folder, static_cast<size_t>(index)), folder->width, folder->height);
        ASSERT_EQ(walked.size(), reference.size()) << "title set " << index;
        const VcPublicVideoDescription description = VideoDescription(stream, walked.front());
        EXPECT_EQ(description.width, folder->width);
        EXPECT_EQ(description.height, folder->height);
        for (size_t frame = 0; frame < walked.size(); ++frame) {
            ExpectPicture(walked[frame], reference[frame], frame);
            if (frame > 0) {
                EXPECT_GT(walked[frame].time.streamTime, walked[frame - 1].time.streamTime) << frame;
            }
        }
        VcTrackInfo info{};
        ASSERT_EQ(Track_GetInfo(track, &info), 0);
        EXPECT_LE(info.startTime.streamTime, walked.front().time.streamTime);
        EXPECT_GE(info.endTime.streamTime, walked.back().time.streamTime);
        if (index == tracks - 1) {
            ExpectSeeks(stream, walked, reference);
        }
    }
}

// The audio is the PCM ffmpeg decodes. Sound that begins before the first picture lies before the
// title's start and cannot be sought; a seek gives the sample whose span holds the time, decoded as
// a walk decodes it, but at the end of a cell, where the decoder carries the sound of one cell into
// the next.
TEST_P(DvdRecordingTest, AudioIsThePcmFfmpegDecodesAndIsSought) {
    const int stream = StreamOfTrack(0, VC_StreamAudio);
    ASSERT_NE(stream, 0);
    const std::vector<Delivered> walked = WalkForward(stream);
    ASSERT_FALSE(walked.empty());
    const VcPublicAudioDescription description = AudioDescription(stream, walked.front());
    EXPECT_EQ(description.sampleRate, 48000);
    ASSERT_EQ(description.bitsPerSample, 32); // AC-3 decodes to floats
    std::vector<float> ours;
    for (const Delivered& sample : walked) {
        const size_t count = sample.data.size() / sizeof(float);
        ours.resize(ours.size() + count);
        std::memcpy(ours.data() + ours.size() - count, sample.data.data(), count * sizeof(float));
    }
    const std::vector<int16_t> reference = IsoTest::FfmpegAudioSamples(JoinedTitle(*folder, 0));
    ASSERT_EQ(ours.size(), reference.size());
    size_t mismatches = 0;
    for (size_t index = 0; index < ours.size(); ++index) {
        const double scaled = std::clamp(std::lrint(ours[index] * 32768.0), -32768L, 32767L);
        mismatches += std::abs(scaled - reference[index]) > 1 ? 1 : 0;
    }
    EXPECT_EQ(mismatches, 0u);

    VcTrackInfo info{};
    ASSERT_EQ(Track_GetInfo(track, &info), 0);
    ASSERT_LT(walked.front().time.streamTime, info.startTime.streamTime);
    EXPECT_EQ(GoTo(stream, walked.front().time.streamTime).status, VC_EndOfStreamBeforeStart);
    const int64_t length = 320000; // 1536 samples at 48 kHz
    size_t differing = 0;
    for (size_t index = 1; index < walked.size(); ++index) {
        const int64_t target = walked[index].time.streamTime;
        if (target < info.startTime.streamTime) {
            continue;
        }
        const Delivered found = GoTo(stream, target);
        ASSERT_EQ(found.status, 0) << "sample " << index;
        EXPECT_LE(found.time.streamTime, target) << "sample " << index;
        EXPECT_LT(target, found.time.streamTime + length) << "sample " << index;
        differing += found.time.streamTime == target && found.data != walked[index].data ? 1 : 0;
    }
    EXPECT_LE(differing, GetParam().shape.titleSets[0].size());
}

INSTANTIATE_TEST_SUITE_P(Dvd, DvdRecordingTest, ::testing::ValuesIn(Shapes),
                         [](const ::testing::TestParamInfo<ShapeCase>& info) { return info.param.name; });

} // namespace
