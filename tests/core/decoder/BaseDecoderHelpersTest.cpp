#include "core/decoder/ScriptedDecoder.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

namespace Vorn::Vorncast::Decoders::Testing {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

class HelpersTest : public ::testing::Test {
protected:
    LogCapture log;
    ScriptedDecoder decoder;
};

FrameTimes Times(int64_t recorded, int64_t stream) {
    FrameTimes times{};
    times.recordedTime = recorded;
    times.streamTime = stream;
    return times;
}

// ---- Tracks ----

TEST_F(HelpersTest, SelectTrackOutOfRangeChangesNothing) {
    decoder.totalTracks = 3;
    decoder.totalFrames = 7;
    decoder.currentFrame = 2;
    decoder.currentAudioFrame = 1;
    decoder.currentTrack = 1;
    for (int32_t track : {-1, 3, 100}) {
        decoder.SelectTrack(track);
    }
    EXPECT_EQ(decoder.lastTrackAsked, -1);
    EXPECT_EQ(decoder.totalFrames, 7);
    EXPECT_EQ(decoder.currentFrame, 2);
    EXPECT_EQ(decoder.currentAudioFrame, 1);
    EXPECT_EQ(decoder.currentTrack, 1);
}

TEST_F(HelpersTest, SelectTrackCountsTheFramesOfThatTrack) {
    decoder.totalTracks = 3;
    decoder.totalFrames = 7;
    decoder.currentFrame = 2;
    decoder.currentAudioFrame = 1;

    decoder.SelectTrack(2);

    EXPECT_EQ(decoder.lastTrackAsked, 2);
    EXPECT_EQ(decoder.currentTrack, 2);
    EXPECT_EQ(decoder.GetTotalFrames(), 30);
    EXPECT_EQ(decoder.currentFrame, -1);
    EXPECT_EQ(decoder.currentAudioFrame, -1);
}

TEST_F(HelpersTest, SelectTrackWithoutTracksIsIgnored) {
    decoder.totalFrames = 7;
    decoder.SelectTrack(0);
    EXPECT_EQ(decoder.lastTrackAsked, -1);
    EXPECT_EQ(decoder.totalFrames, 7);
}

TEST_F(HelpersTest, DefaultTrackInfoSaysThereIsNone) {
    MinimalDecoder minimal;
    char name[TrackNameLength];
    FrameTimes first = Times(5, 5);
    FrameTimes last = Times(6, 6);
    int32_t frames = 0;
    bool trackHasAudio = false;
    minimal.GetTrackInfo(0, name, &first, &last, &frames, &trackHasAudio);
    EXPECT_STREQ(name, "No track information available");
    EXPECT_EQ(first.recordedTime, 0);
    EXPECT_EQ(last.streamTime, 0);
}

// ---- Time span ----

TEST_F(HelpersTest, TimeSpanFromRecordsFillsMissingStreamTimes) {
    FrameTimes first = Times(1000, 0);
    first.zoneBias = 7;
    FrameTimes last = Times(5000, 40);

    decoder.SetTimeSpan(first, last);

    FrameTimes gotFirst{};
    FrameTimes gotLast{};
    decoder.GetFirstFrameTimes(&gotFirst);
    decoder.GetLastFrameTimes(&gotLast);
    EXPECT_EQ(gotFirst.recordedTime, 1000);
    EXPECT_EQ(gotFirst.streamTime, 1000);
    EXPECT_EQ(gotFirst.zoneBias, 7);
    EXPECT_EQ(gotLast.recordedTime, 5000);
    EXPECT_EQ(gotLast.streamTime, 40);
}

TEST_F(HelpersTest, TimeSpanFromTicksSetsBothTimesAndClearsTheRest) {
    FrameTimes stale = Times(1, 2);
    stale.zoneBias = 3;
    stale.zoneKnown = 1;
    decoder.SetTimeSpan(stale, stale);

    decoder.SetTimeSpan(int64_t{630000000000000000}, int64_t{630000000100000000});

    FrameTimes first{};
    FrameTimes last{};
    decoder.GetFirstFrameTimes(&first);
    decoder.GetLastFrameTimes(&last);
    EXPECT_EQ(first.recordedTime, 630000000000000000);
    EXPECT_EQ(first.streamTime, 630000000000000000);
    EXPECT_EQ(first.zoneBias, 0);
    EXPECT_EQ(first.zoneKnown, 0);
    EXPECT_EQ(last.recordedTime, 630000000100000000);
    EXPECT_EQ(last.streamTime, 630000000100000000);
}

// ---- Frame information ----

class TimedDecoder : public ScriptedDecoder {
protected:
    FrameTimes GetFrameTimes() override { return Times(100 + currentFrame, 200 + currentFrame); }
    FrameTimes GetAudioFrameTimes() override { return Times(300 + currentAudioFrame, 0); }
    void GetFrameCamera(CameraTag* camera) override {
        camera->number = 3;
        std::strcpy(camera->name, "Gate");
    }
    void GetAudioFrameCamera(CameraTag* camera) override {
        camera->number = 4;
        std::strcpy(camera->name, "Mic");
    }
};

TEST_F(HelpersTest, FrameInfoComesFromTheFrameTimesAndCameraOfTheCurrentFrame) {
    TimedDecoder timed;
    timed.totalFrames = 9;
    timed.totalAudioFrames = 5;
    timed.currentFrame = 2;
    timed.currentAudioFrame = 1;

    FrameTimes times{};
    CameraTag camera{};
    int32_t total = 0;
    timed.GetFrameInfo(&times, &camera, &total);
    EXPECT_EQ(times.recordedTime, 102);
    EXPECT_EQ(times.streamTime, 202);
    EXPECT_EQ(camera.number, 3);
    EXPECT_STREQ(camera.name, "Gate");
    EXPECT_EQ(total, 9);

    timed.GetAudioFrameInfo(&times, &camera, &total);
    EXPECT_EQ(times.recordedTime, 301);
    EXPECT_EQ(camera.number, 4);
    EXPECT_STREQ(camera.name, "Mic");
    EXPECT_EQ(total, 5);
}

TEST_F(HelpersTest, DefaultFrameInfoIsZeroAndDefaultLocationHasNoCamera) {
    FrameTimes times = Times(9, 9);
    CameraTag camera{};
    camera.number = 9;
    std::strcpy(camera.name, "old");
    int32_t total = 0;
    decoder.totalFrames = 4;
    decoder.GetFrameInfo(&times, &camera, &total);
    EXPECT_EQ(times.recordedTime, 0);
    EXPECT_EQ(times.streamTime, 0);
    EXPECT_EQ(camera.number, 0);
    EXPECT_STREQ(camera.name, "");
    EXPECT_EQ(total, 4);

    uint64_t offset = 9;
    uint32_t size = 9;
    char file[MaxPathLength];
    std::memset(file, 'x', sizeof file);
    decoder.GetFrameLocation(1, &camera, &offset, &size, file);
    EXPECT_EQ(camera.number, 65535);
    EXPECT_EQ(offset, 0u);
    EXPECT_EQ(size, 0u);
    EXPECT_EQ(std::string(file, MaxPathLength), std::string(MaxPathLength, '\0'));
}

TEST_F(HelpersTest, DefaultCameraMaskHoldsCameraZeroOnly) {
    uint8_t mask[CameraMaskBytes];
    std::memset(mask, 0xFF, sizeof mask);
    decoder.GetCameras(mask);
    EXPECT_EQ(mask[0], 1);
    for (int index = 1; index < CameraMaskBytes; ++index) {
        EXPECT_EQ(mask[index], 0) << index;
    }
}

TEST_F(HelpersTest, StreamTimeLookupsAreLoggedAndAnswerZero) {
    EXPECT_EQ(decoder.IndexOfFrameAtStreamTime(12345), 0);
    EXPECT_EQ(decoder.IndexOfAudioFrameAtStreamTime(12345), 0);
    EXPECT_THAT(log.lines, ElementsAre("Scripted Call to BaseDecoder::IndexOfFrameAtStreamTime\n",
                                       "Scripted Call to BaseDecoder::IndexOfAudioFrameAtStreamTime\n"));
}

// ---- Default query ----

TEST_F(HelpersTest, DefaultQueryTestsTheExtensionWithoutFiles) {
    MinimalDecoder minimal;
    EXPECT_EQ(minimal.Query("C:\\Export\\CAM01.VID", 0), DDA_COMPLETE);
    EXPECT_EQ(minimal.askedExtension, "VID");
    EXPECT_EQ(minimal.GetConfidence(), 50);
    EXPECT_EQ(minimal.GetState(), DDS_IDLE);

    EXPECT_EQ(minimal.Query("/export/cam01.avi", 0), DDA_COMPLETE);
    EXPECT_EQ(minimal.askedExtension, "avi");
    EXPECT_EQ(minimal.GetConfidence(), 0);

    minimal.Query("/export.vid/noextension", 0);
    EXPECT_EQ(minimal.askedExtension, "");
    EXPECT_EQ(minimal.GetConfidence(), 0);
    EXPECT_THAT(minimal.calls, IsEmpty());
}

// ---- Path patterns ----

TEST_F(HelpersTest, DefaultPathPatternNamesEachExtension) {
    decoder.extensions = "jpg;jpeg";
    decoder.extensionCount = 2;
    EXPECT_STREQ(decoder.GetPathPattern(0), "<n:c0>.jpg");
    EXPECT_STREQ(decoder.GetPathPattern(1), "<n:c0>.jpeg");
    EXPECT_STREQ(decoder.GetPathPattern(2), "<n:c0>");
    EXPECT_STREQ(decoder.GetPathPattern(7), "<n:c0>");
}

TEST_F(HelpersTest, DefaultPathPatternWithoutExtensionsIsEmpty) {
    decoder.extensionCount = 0;
    EXPECT_STREQ(decoder.GetPathPattern(0), "");
    decoder.extensionCount = 1;
    decoder.extensions = "";
    EXPECT_STREQ(decoder.GetPathPattern(0), "");
    decoder.extensions = nullptr;
    EXPECT_STREQ(decoder.GetPathPattern(0), "");
}

TEST_F(HelpersTest, DefaultPathPatternCutsLongItemsAndSharesOneBuffer) {
    std::string longItem(60, 'e');
    std::string extensions = "a;" + longItem;
    decoder.extensions = extensions.c_str();
    decoder.extensionCount = 2;
    ScriptedDecoder other;

    const char* first = decoder.GetPathPattern(1);
    EXPECT_EQ(std::string(first), "<n:c0>." + longItem.substr(0, 42));
    EXPECT_EQ(std::strlen(first), 49u);

    const char* second = other.GetPathPattern(0);
    EXPECT_EQ(second, first);
    EXPECT_STREQ(first, "<n:c0>.vid");
}

TEST_F(HelpersTest, PatternCountIsFilledFromTheExtensionsUnlessMultiFile) {
    decoder.extensions = "a;b;c";
    decoder.extensionCount = 3;
    EXPECT_EQ(decoder.GetFilePatternCount(), 3);
    decoder.extensionCount = 1;
    EXPECT_EQ(decoder.GetFilePatternCount(), 3);

    ScriptedDecoder multiFile;
    multiFile.multiFileFlag = 1;
    EXPECT_EQ(multiFile.GetFilePatternCount(), -1);
    multiFile.filePatternCount = 2;
    EXPECT_EQ(multiFile.GetFilePatternCount(), 2);
}

// ---- Abort, progress, log ----

TEST_F(HelpersTest, AbortCallbackAnswerIsLatched) {
    static int32_t answer = 0;
    answer = 0;
    decoder.SetAbortCallback([] { return answer; });
    EXPECT_FALSE(decoder.IsAborted());
    answer = 1;
    EXPECT_TRUE(decoder.IsAborted());
    answer = 0;
    EXPECT_TRUE(decoder.IsAborted());

    decoder.Query("/rec/a.vid", 0);
    EXPECT_FALSE(decoder.IsAborted());
}

TEST_F(HelpersTest, ProgressGoesToTheCallbackWhenThereIsOne) {
    static std::vector<double> reported;
    reported.clear();
    decoder.ReportProgress(0.1);
    decoder.SetProgressCallback([](double fraction) { reported.push_back(fraction); });
    decoder.ReportProgress(0.25);
    decoder.ReportProgress(1.0);
    EXPECT_THAT(reported, ElementsAre(0.25, 1.0));
}

TEST_F(HelpersTest, LogFormatsIntoAFixedBuffer) {
    decoder.Log(1, "%s frame %d of %d\n", "Scripted", 3, 9);
    std::string longText(5000, 'x');
    decoder.Log(1, "%s", longText.c_str());
    ASSERT_EQ(log.lines.size(), 2u);
    EXPECT_EQ(log.lines[0], "Scripted frame 3 of 9\n");
    EXPECT_EQ(log.lines[1], longText.substr(0, BaseDecoder::LogBufferSize - 1));
}

TEST_F(HelpersTest, LogWithoutCallbackWritesNothing) {
    decoder.SetLogCallback(nullptr);
    decoder.Log(0, "lost\n");
    decoder.GoToFrame(0);
    EXPECT_THAT(log.lines, IsEmpty());
}

TEST_F(HelpersTest, FrameTimeIsThePositionInsideTheCurrentItem) {
    EXPECT_DOUBLE_EQ(BaseDecoder::ComputeFrameTime(1, 4, 0.0), 0.0);
    EXPECT_DOUBLE_EQ(BaseDecoder::ComputeFrameTime(3, 4, 0.5), 0.625);
    EXPECT_DOUBLE_EQ(BaseDecoder::ComputeFrameTime(4, 4, 1.0), 1.0);
}

} // namespace
} // namespace Vorn::Vorncast::Decoders::Testing
