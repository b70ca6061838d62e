#include "core/client/ClientFixture.h"

using namespace ClientTests;

namespace {

constexpr uint32_t FrameBytes = 48;

class FileClientLoopTest : public ClientFixture {
protected:
    void LoadFrames(int32_t frames, FileFaults faults = {}) {
        files.AddPatterned("frames.bin", frames * FrameBytes, faults);
        ScriptFrames("frames.bin", frames, FrameBytes);
        ASSERT_EQ(Load(), FCR_SUCCESS);
    }
    FileClientResult Picture(int32_t frame, int32_t* frames = nullptr) {
        std::vector<uint8_t> picture(FrameBytes);
        return client->GetFrame(frame, nullptr, FrameBytes, picture.data(), nullptr, frames, nullptr, nullptr,
                                nullptr);
    }
};

} // namespace

TEST_F(FileClientLoopTest, CloseSweepsWhatTheDecoderForgot) {
    decoder.closeFilesOnUnload = false;
    LoadFrames(5);
    EXPECT_TRUE(client->Close());
    EXPECT_TRUE(log.Has("Dangling file handle 0 (frames.bin)\n"));
    EXPECT_TRUE(log.Has("After unloading the decoder, there were 1 files left open!\n"));
    EXPECT_EQ(files.LiveFiles(), 0);
}

TEST_F(FileClientLoopTest, UnknownGuidLeavesTheClientWithoutDecoder) {
    EXPECT_EQ(client->OpenForLoad(GuidOf("00000000-0000-0000-0000-0000000000AB"), -1, Url, &image, &audio,
                                  &span, &totalFrames, &totalAudioFrames, &duration, &hasAudio),
              FCR_FAILURE);
    EXPECT_EQ(Picture(0), FCR_FAILURE);
    EXPECT_TRUE(log.Has("FileClient::GetFrame failed (normally) due to range error\n"));
    EXPECT_EQ(client->GetAudioFrame(0, nullptr, 0, nullptr, nullptr, nullptr, nullptr, nullptr), FCR_FAILURE);
    EXPECT_TRUE(log.Has("FileClient::GetAudioFrame failed (normally) due to range error\n"));
    EXPECT_FALSE(client->Close());
    EXPECT_TRUE(log.Has("Unexpected DDA_NO_DECODER\n"));
}

TEST_F(FileClientLoopTest, PositioningRunsOnceAFrameOnlyInRangeAndWithoutBufferNothingIsDecompressed) {
    LoadFrames(5);
    for (int32_t frame : {-1, 5}) {
        log.lines.clear();
        EXPECT_EQ(Picture(frame), FCR_FAILURE);
        EXPECT_TRUE(log.Has("FileClient::GetFrame failed (normally) due to range error\n"));
    }
    EXPECT_EQ(decoder.positioningCalls, 0);
    FrameTimes times = {};
    for (int i = 0; i < 3; ++i) {
        ASSERT_EQ(client->GetFrameInfo(0, &times, nullptr, nullptr, nullptr, nullptr, nullptr), FCR_SUCCESS);
    }
    EXPECT_EQ(decoder.positioningCalls, 1) << "after a load the first GoToFrame(0) runs, the repeats do not";
    EXPECT_EQ(client->GetFrame(2, &times, 0, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr),
              FCR_SUCCESS);
    EXPECT_EQ(times.recordedTime, ScriptedDecoder::FrameTime(2));
    EXPECT_EQ(decoder.decompressCalls, 0);
}

TEST_F(FileClientLoopTest, FrameFailuresGiveTheirKindAndText) {
    LoadFrames(5, {.readFails = true});
    EXPECT_EQ(Picture(1), FCR_CATASTROPHIC);
    EXPECT_TRUE(log.Has("FileClient::GetFrame failed (catastrophically) in decoder\n"));
    ASSERT_TRUE(client->Close());

    decoder.imageFails = true;
    LoadFrames(5);
    int32_t frames = 0;
    EXPECT_EQ(Picture(1, &frames), FCR_FAILURE);
    EXPECT_EQ(frames, 5) << "totals go to the caller whatever the result";
    EXPECT_TRUE(log.Has("FileClient::GetFrame failed (normally) in decoder\n"));

    decoder.positionScript = {Step::Read(0, 4), Step::Fail()};
    int64_t last = 0;
    EXPECT_EQ(client->GetFrameInfo(2, nullptr, &last, nullptr, nullptr, nullptr, nullptr), FCR_FAILURE);
    EXPECT_TRUE(log.Has("GetframeInfo failed\n"));
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
