#include "core/client/ClientFixture.h"

#include <cstring>

using namespace ClientTests;

namespace {

constexpr uint32_t FrameBytes = 48;

class FileClientLoopTest : public ClientFixture {
protected:
    // Loads `frames` frames kept in one file of `fileBytes` bytes (all of them unless told).
    void LoadFrames(int32_t frames, int64_t fileBytes = -1, FileFaults faults = {}) {
        files.AddPatterned("frames.bin", fileBytes < 0 ? frames * FrameBytes : fileBytes, faults);
        ScriptFrames("frames.bin", frames, FrameBytes);
        ASSERT_EQ(Load(), FCR_SUCCESS);
    }
    // The picture of `frame`, its result and the totals given beside it.
    FileClientResult Picture(int32_t frame, std::vector<uint8_t>* picture = nullptr,
                             int32_t* frames = nullptr) {
        std::vector<uint8_t> own(FrameBytes);
        picture = picture != nullptr ? picture : &own;
        picture->resize(FrameBytes);
        return client->GetFrame(frame, nullptr, FrameBytes, picture->data(), nullptr, frames, nullptr,
                                nullptr, nullptr);
    }
};

std::vector<uint8_t> ExpectedFrame(int32_t frame) {
    std::vector<uint8_t> bytes(FrameBytes);
    for (uint32_t i = 0; i < FrameBytes; ++i) {
        bytes[i] = ScriptedFiles::Pattern(int64_t{frame} * FrameBytes + i);
    }
    return bytes;
}

} // namespace

// ---- loads ----

TEST_F(FileClientLoopTest, LoadFillsEveryOutputFromTheDecoder) {
    files.AddPatterned("frames.bin", 10 * FrameBytes);
    ScriptFrames("frames.bin", 10, FrameBytes);
    decoder.SetLoadedFormat(352, 288, false);
    decoder.SetAudio(320, 8000, 1, 16);
    decoder.audioFramesAfterLoad = 3;

    ASSERT_EQ(Load("/media/clip.tst"), FCR_SUCCESS);

    EXPECT_EQ(image.height, 288);
    EXPECT_EQ(image.planes, 1);
    EXPECT_EQ(totalFrames, 10);
    EXPECT_EQ(duration, 10 * 400000);
    EXPECT_EQ(int64_t{span.first.recordedTime}, ScriptedDecoder::FrameTime(0));
    EXPECT_EQ(int64_t{span.lastRecordedTime}, ScriptedDecoder::FrameTime(9));
    EXPECT_EQ(int64_t{span.lastStreamTime}, ScriptedDecoder::FrameTime(9))
        << "a zero stream time takes the recorded time";
    EXPECT_EQ(totalAudioFrames, 3);
    EXPECT_TRUE(hasAudio);
    EXPECT_EQ(audio.frameBytes, 320);
}

TEST_F(FileClientLoopTest, FailedLoadLeavesEmptyOutputsAndSweepsForgottenFiles) {
    files.AddPatterned("a.bin", 10);
    files.AddPatterned("b.bin", 10);
    decoder.loadScript = {Step::Open("a.bin"), Step::Open("b.bin"), Step::Fail()};
    decoder.closeFilesOnFailure = false;

    EXPECT_EQ(Load(), FCR_FAILURE);

    EXPECT_EQ(image.width, -1);
    EXPECT_EQ(totalFrames, -1);
    EXPECT_EQ(totalAudioFrames, -1);
    EXPECT_EQ(duration, -1);
    EXPECT_TRUE(WasLogged("Load failed\n"));
    EXPECT_TRUE(WasLogged("Dangling file handle 1 (b.bin)\n"));
    EXPECT_EQ(files.LiveFiles(), 0);
    EXPECT_EQ(decoder.GetState(), DDS_IDLE);
}

TEST_F(FileClientLoopTest, ActionOutsideTheProtocolEndsCatastrophicallyAndNoActionNormally) {
    const std::pair<int32_t, FileClientResult> cases[] = {
        {9, FCR_CATASTROPHIC}, {-4, FCR_CATASTROPHIC}, {DDA_NO_ACTION, FCR_FAILURE}};
    for (const auto& [action, result] : cases) {
        LoggedLines().clear();
        decoder.loadScript = {Step::Close(3), Step::Raw(action)};
        decoder.state = DDS_IDLE;
        EXPECT_EQ(Load(), result) << action;
        EXPECT_TRUE(WasLogged(action == DDA_NO_ACTION
                                  ? std::string("Unexpected DDA_NO_ACTION\n")
                                  : "Unexpected DecoderAction " + std::to_string(action) + "\n"));
    }
}

TEST_F(FileClientLoopTest, QueryReportsConfidenceWhateverTheResult) {
    int32_t confidence = 0, reserved = 7;
    bool hasVideo = false;
    auto query = [&](const char* url) {
        return client->OpenForQuery(GuidOf(ScriptedDecoder::DefaultGuid), 0, url, &image, &audio, &span,
                                    &totalFrames, &totalAudioFrames, &duration, &hasVideo, &hasAudio,
                                    &reserved, &confidence);
    };
    EXPECT_EQ(query("clip.TST"), FCR_SUCCESS);
    EXPECT_EQ(confidence, 50);
    EXPECT_EQ(reserved, 0);
    EXPECT_TRUE(hasVideo);

    EXPECT_EQ(query("clip.avi"), FCR_SUCCESS);
    EXPECT_EQ(confidence, 0);

    files.AddPatterned("clip.tst", 10);
    decoder.queryScript = {Step::Open("clip.tst"), Step::Fail()};
    EXPECT_EQ(query("clip.tst"), FCR_FAILURE);
    EXPECT_EQ(confidence, 0) << "a failed query gives no confidence";
    EXPECT_FALSE(hasVideo);
    EXPECT_EQ(files.LiveFiles(), 0);
}

TEST_F(FileClientLoopTest, UnknownGuidLeavesTheClientWithoutDecoder) {
    int32_t confidence = 0;
    bool hasVideo = true;
    EXPECT_EQ(client->OpenForQuery(GuidOf("00000000-0000-0000-0000-0000000000AB"), 0, Url, &image, &audio,
                                   &span, &totalFrames, &totalAudioFrames, &duration, &hasVideo, &hasAudio,
                                   nullptr, &confidence),
              FCR_FAILURE);
    EXPECT_EQ(client->GetDecoder(), nullptr);

    EXPECT_EQ(client->OpenForLoad(GuidOf("00000000-0000-0000-0000-0000000000AB"), -1, Url, &image, &audio,
                                  &span, &totalFrames, &totalAudioFrames, &duration, &hasAudio),
              FCR_FAILURE);
    EXPECT_TRUE(WasLogged("Load failed\n"));

    LoggedLines().clear();
    std::vector<uint8_t> picture(16);
    EXPECT_EQ(client->GetFrame(0, nullptr, 16, picture.data(), nullptr, nullptr, nullptr, nullptr, nullptr),
              FCR_FAILURE);
    EXPECT_TRUE(WasLogged("FileClient::GetFrame failed (normally) due to range error\n"));
    EXPECT_FALSE(client->Close());
    EXPECT_TRUE(WasLogged("Unexpected DDA_NO_DECODER\n"));
}

// ---- frames ----

TEST_F(FileClientLoopTest, GetFrameDeliversEachFramesBytesTimesAndCamera) {
    decoder.cameras = {0, 1, 0, 1, 0};
    LoadFrames(5);
    for (int32_t frame : {0, 3, 4, 1}) {
        std::vector<uint8_t> picture(FrameBytes, 0xEE);
        FrameTimes times = {};
        int64_t frameDuration = 0;
        int32_t frames = 0, camera = -1;
        uint64_t period = 0;
        char name[CameraNameLength] = {};
        ASSERT_EQ(client->GetFrame(frame, &times, FrameBytes, picture.data(), &frameDuration, &frames,
                                   &period, &camera, name),
                  FCR_SUCCESS)
            << frame;
        EXPECT_EQ(picture, ExpectedFrame(frame)) << frame;
        EXPECT_EQ(times.recordedTime, ScriptedDecoder::FrameTime(frame));
        EXPECT_EQ(camera, decoder.cameras[static_cast<size_t>(frame)]);
        EXPECT_EQ(std::string(name), "Camera " + std::to_string(camera));
        EXPECT_EQ(frames, 5);
        EXPECT_EQ(period, 400000u);
        EXPECT_EQ(frameDuration, 5 * 400000);
    }
    EXPECT_EQ(decoder.decompressCalls, 4);
    EXPECT_TRUE(client->Close());
    EXPECT_EQ(files.LiveFiles(), 0);
}

TEST_F(FileClientLoopTest, PositioningRunsOnceAFrameOnlyInRangeAndWithoutBufferNothingIsDecompressed) {
    LoadFrames(5);
    for (int32_t frame : {-1, 5, 1000}) {
        LoggedLines().clear();
        EXPECT_EQ(Picture(frame), FCR_FAILURE);
        EXPECT_TRUE(WasLogged("FileClient::GetFrame failed (normally) due to range error\n"));
    }
    EXPECT_EQ(decoder.positioningCalls, 0);
    FrameTimes times = {};
    int64_t last = 0;
    uint64_t period = 12345;
    int32_t frames = 0;
    for (int i = 0; i < 3; ++i) {
        ASSERT_EQ(client->GetFrameInfo(0, &times, &last, &frames, &period, nullptr, nullptr), FCR_SUCCESS);
    }
    EXPECT_EQ(decoder.positioningCalls, 1) << "after a load the first GoToFrame(0) runs, the repeats do not";
    EXPECT_EQ(last, ScriptedDecoder::FrameTime(4));
    EXPECT_EQ(frames, 5);
    EXPECT_EQ(period, 12345u) << "GetFrameInfo leaves the period alone";
    EXPECT_EQ(client->GetFrame(2, &times, 0, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr),
              FCR_SUCCESS);
    EXPECT_EQ(times.recordedTime, ScriptedDecoder::FrameTime(2));
    EXPECT_EQ(decoder.positioningCalls, 2);
    EXPECT_EQ(decoder.decompressCalls, 0);
}

TEST_F(FileClientLoopTest, FrameBeyondATruncatedFileFailsNormallyAndTheClientGoesOn) {
    LoadFrames(5, 3 * FrameBytes + 10);
    EXPECT_EQ(Picture(3), FCR_FAILURE);
    EXPECT_TRUE(WasLogged("ExecuteRead() decoder tried to read past the end of the file\n"));
    EXPECT_TRUE(WasLogged("FileClient::GetFrame failed (normally) in decoder\n"));
    std::vector<uint8_t> picture;
    EXPECT_EQ(Picture(2, &picture), FCR_SUCCESS);
    EXPECT_EQ(picture, ExpectedFrame(2));
}

TEST_F(FileClientLoopTest, ReadErrorDuringAFrameIsCatastrophic) {
    LoadFrames(5, -1, {.readFails = true});
    EXPECT_EQ(Picture(1), FCR_CATASTROPHIC);
    EXPECT_TRUE(WasLogged("FileClient::GetFrame failed (catastrophically) in decoder\n"));
}

TEST_F(FileClientLoopTest, PictureTheDecoderCannotMakeFailsTheFrameNormally) {
    decoder.imageFails = true;
    LoadFrames(5);
    int32_t frames = 0;
    EXPECT_EQ(Picture(1, nullptr, &frames), FCR_FAILURE);
    EXPECT_EQ(frames, 5) << "totals go to the caller whatever the result";
    EXPECT_TRUE(WasLogged("FileClient::GetFrame failed (normally) in decoder\n"));
    EXPECT_EQ(decoder.GetState(), DDS_LOADED);
}

TEST_F(FileClientLoopTest, FailingPositioningEndsTheInfoLoopWithItsText) {
    LoadFrames(5);
    decoder.positionScript = {Step::Read(0, 4), Step::Fail()};
    int64_t last = 0;
    EXPECT_EQ(client->GetFrameInfo(2, nullptr, &last, nullptr, nullptr, nullptr, nullptr), FCR_FAILURE);
    EXPECT_TRUE(WasLogged("GetframeInfo failed\n"));
    EXPECT_EQ(last, ScriptedDecoder::FrameTime(4)) << "the last frame's time is given in both outcomes";
}

TEST_F(FileClientLoopTest, ReportedValuesAreBroughtIntoRange) {
    decoder.cameras = {200, 127, 128};
    decoder.recordedTimes = {-5, MasDigitalDecoder::EndOfTime, MasDigitalDecoder::EndOfTime - 1};
    LoadFrames(3);
    const int64_t expectedTimes[] = {0, MasDigitalDecoder::EndOfTime - 1, MasDigitalDecoder::EndOfTime - 1};
    for (int32_t frame = 0; frame < 3; ++frame) {
        FrameTimes times = {};
        int32_t camera = 0;
        ASSERT_EQ(client->GetFrameInfo(frame, &times, nullptr, nullptr, nullptr, &camera, nullptr),
                  FCR_SUCCESS);
        EXPECT_EQ(times.recordedTime, expectedTimes[frame]) << frame;
        EXPECT_EQ(camera, 127) << frame;
    }
}

TEST_F(FileClientLoopTest, AudioFramesAreFetchedAndRangeChecked) {
    decoder.SetAudio(16, 8000, 1, 16);
    decoder.audioFramesAfterLoad = 2;
    LoadFrames(4);
    std::vector<uint8_t> samples(16, 0xEE);
    FrameTimes times = {};
    int32_t frameBytes = 0, frames = 0, camera = -1;
    char name[CameraNameLength] = {};
    ASSERT_EQ(client->GetAudioFrame(1, &times, 16, samples.data(), &frameBytes, &frames, &camera, name),
              FCR_SUCCESS);
    for (int i = 0; i < 16; ++i) {
        EXPECT_EQ(samples[static_cast<size_t>(i)], ScriptedFiles::Pattern(16 + i));
    }
    EXPECT_EQ(times.recordedTime, ScriptedDecoder::FrameTime(1) + 1);
    EXPECT_EQ(frameBytes, 16);
    EXPECT_EQ(frames, 2);
    EXPECT_STREQ(name, "Microphone");
    EXPECT_EQ(client->GetAudioFrame(2, &times, 16, samples.data(), &frameBytes, &frames, &camera, nullptr),
              FCR_FAILURE);
    EXPECT_TRUE(WasLogged("FileClient::GetAudioFrame failed (normally) due to range error\n"));
    ASSERT_EQ(client->GetAudioFrameInfo(0, &times, &frames, nullptr, &camera, nullptr), FCR_SUCCESS);
    EXPECT_EQ(times.recordedTime, ScriptedDecoder::FrameTime(0) + 1);
    EXPECT_EQ(decoder.audioDecompressCalls, 1);
}

// ---- close ----

TEST_F(FileClientLoopTest, CloseSweepsWhatTheDecoderForgot) {
    decoder.closeFilesOnUnload = false;
    LoadFrames(5);
    EXPECT_TRUE(client->Close());
    EXPECT_TRUE(WasLogged("Dangling file handle 0 (frames.bin)\n"));
    EXPECT_TRUE(WasLogged("After unloading the decoder, there were 1 files left open!\n"));
    EXPECT_EQ(client->OpenFileCount(), 0);
    EXPECT_EQ(files.LiveFiles(), 0);
    EXPECT_EQ(decoder.GetState(), DDS_IDLE);
}

TEST_F(FileClientLoopTest, CleanCloseLogsNothingAndAllowsANewLoad) {
    LoadFrames(5);
    LoggedLines().clear();
    EXPECT_TRUE(client->Close());
    EXPECT_TRUE(LoggedLines().empty());
    ASSERT_EQ(Load(), FCR_SUCCESS);
    std::vector<uint8_t> picture;
    EXPECT_EQ(Picture(4, &picture), FCR_SUCCESS);
    EXPECT_EQ(picture, ExpectedFrame(4));
}
