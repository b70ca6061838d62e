#include "codecs/video/IppDecoderDV25.h"
#include "codecs/video/IppDecoderMPEG2.h"
#include "codecs/video/VideoTestHelpers.h"

#include <gtest/gtest.h>

using namespace Vorn::Vorncast::Decoders;
using namespace CodecTest;

namespace {

constexpr int32_t Width = 176;
constexpr int32_t Height = 144;
constexpr int32_t PictureBytes = Width * Height * 3;

EncodedVideo EncodeMpeg2(int32_t frames, int32_t bFrames) {
    VideoSettings settings;
    settings.encoder = "mpeg2video";
    settings.frames = frames;
    settings.bFrames = bFrames;
    EncodedVideo video;
    EXPECT_TRUE(EncodeVideo(settings, &video));
    return video;
}

EncodedVideo EncodeDv(bool fiftyHertz, int32_t frames) {
    VideoSettings settings;
    settings.encoder = "dvvideo";
    settings.width = IppDecoderDV25::Width;
    settings.height = fiftyHertz ? IppDecoderDV25::Height50 : IppDecoderDV25::Height60;
    settings.frames = frames;
    settings.pixelFormat = fiftyHertz ? AV_PIX_FMT_YUV420P : AV_PIX_FMT_YUV411P;
    settings.frameRate = fiftyHertz ? AVRational{25, 1} : AVRational{30000, 1001};
    EncodedVideo video;
    EXPECT_TRUE(EncodeVideo(settings, &video));
    return video;
}

} // namespace

TEST(Mpeg2AdapterTest, SizeComesFromTheFirstFrameWithoutInitialise) {
    EncodedVideo video = EncodeMpeg2(5, 0);
    IppDecoderMPEG2 adapter;
    EXPECT_FALSE(adapter.IsInitialised());
    EXPECT_EQ(adapter.GetWidth(), 0);
    AdapterRun run = DecodeAll(adapter, video.frames, Width, Height);
    EXPECT_EQ(adapter.GetWidth(), Width);
    EXPECT_EQ(adapter.GetHeight(), Height);
    EXPECT_EQ(adapter.GetChannels(), 3);
    EXPECT_TRUE(adapter.IsInitialised());
    EXPECT_EQ(run.failures, 0);
    EXPECT_EQ(run.heldBack, 0);
    ExpectSamePictures(run.pictures, ReferenceDecode(AV_CODEC_ID_MPEG2VIDEO, video, true));
    for (size_t index = 0; index < run.pictures.size(); ++index) {
        EXPECT_GT(Psnr(video.sources[index], run.pictures[index].bgr.data()), SourcePsnrBound) << index;
    }
}

TEST(Mpeg2AdapterTest, EveryAccessUnitGivesItsOwnPictureAtOnce) {
    EncodedVideo video = EncodeMpeg2(8, 2);
    IppDecoderMPEG2 adapter;
    ASSERT_TRUE(adapter.Initialise(Width, Height, 3, false));
    AdapterRun run = DecodeAll(adapter, video.frames, Width, Height);
    EXPECT_EQ(run.failures, 0);
    ASSERT_EQ(run.pictures.size(), video.frames.size());
    bool sawB = false;
    for (size_t index = 0; index < run.pictures.size(); ++index) {
        const Picture& source = video.sources.at(static_cast<size_t>(video.frames[index].pts));
        EXPECT_GT(Psnr(source, run.pictures[index].bgr.data()), SourcePsnrBound) << index;
        sawB = sawB || run.types[index] == VideoFrameB;
    }
    EXPECT_TRUE(sawB);
}

TEST(Mpeg2AdapterTest, ImageFormatFromTheSequenceHeader) {
    EncodedVideo video = EncodeMpeg2(2, 0);
    const auto& first = video.frames[0].data;
    int32_t width = 0;
    int32_t height = 0;
    int32_t planes = 0;
    ASSERT_TRUE(IppDecoderMPEG2::ParseImageFormat(first.data(), static_cast<int32_t>(first.size()), &width,
                                                  &height, &planes));
    EXPECT_EQ(width, Width);
    EXPECT_EQ(height, Height);
    EXPECT_EQ(planes, 3);
    const auto& second = video.frames[1].data;
    EXPECT_FALSE(IppDecoderMPEG2::ParseImageFormat(second.data(), static_cast<int32_t>(second.size()), &width,
                                                   &height, &planes));
    EXPECT_FALSE(IppDecoderMPEG2::ParseImageFormat(first.data(), 6, &width, &height, &planes));

    IppDecoderMPEG2 configured;
    ASSERT_TRUE(configured.Initialise(0, 0, 3, false, first.data(), static_cast<int32_t>(first.size())));
    EXPECT_EQ(configured.GetWidth(), Width);
    EXPECT_EQ(configured.GetHeight(), Height);
}

TEST(Mpeg2AdapterTest, CallerSizeStaysAndOutputIsCheckedAgainstIt) {
    EncodedVideo video = EncodeMpeg2(1, 0);
    const auto& frame = video.frames[0].data;
    IppDecoderMPEG2 adapter;
    ASSERT_TRUE(adapter.Initialise(Width + 16, Height, 3, false));
    std::vector<uint8_t> output((Width + 16) * Height * 3);
    LogCapture log;
    EXPECT_FALSE(
        adapter.Decode(frame.data(), static_cast<int32_t>(frame.size()), output.data(), PictureBytes));
    EXPECT_EQ(log.Messages(), std::vector<std::string>{"IppDecoderMPEG2::Decode bad output buffer\n"});
    EXPECT_TRUE(adapter.Decode(frame.data(), static_cast<int32_t>(frame.size()), output.data(),
                               static_cast<int32_t>(output.size())));
    EXPECT_EQ(adapter.GetWidth(), Width + 16);
}

TEST(Mpeg2AdapterTest, StreamSizeIsCheckedOnceKnown) {
    EncodedVideo video = EncodeMpeg2(1, 0);
    const auto& frame = video.frames[0].data;
    IppDecoderMPEG2 adapter;
    std::vector<uint8_t> output(PictureBytes);
    LogCapture log;
    EXPECT_FALSE(
        adapter.Decode(frame.data(), static_cast<int32_t>(frame.size()), output.data(), PictureBytes - 1));
    EXPECT_EQ(log.Messages(), std::vector<std::string>{"IppDecoderMPEG2::Decode bad output buffer\n"});
}

TEST(Mpeg2AdapterTest, GarbageAndForeignFramesFailThenTheStreamDecodes) {
    EncodedVideo video = EncodeMpeg2(3, 0);
    IppDecoderMPEG2 adapter;
    ASSERT_TRUE(adapter.Initialise(Width, Height, 3, false));
    LogCapture log;
    ExpectRefused(adapter, std::vector<uint8_t>(1500, 0x47), PictureBytes);
    EXPECT_TRUE(log.Contains("MPEG2VideoDecoder::GetFrame failed\n"));
    ExpectRefused(adapter, ForeignMpeg4Frame(), PictureBytes);

    ExpectCleanRunAfterReset(adapter, video, Width, Height, AV_CODEC_ID_MPEG2VIDEO, true);
}

TEST(Dv25AdapterTest, FlagOfEachFrameSetsTheHeight) {
    for (bool fiftyHertz : {true, false}) {
        EncodedVideo video = EncodeDv(fiftyHertz, 2);
        const int32_t height = fiftyHertz ? IppDecoderDV25::Height50 : IppDecoderDV25::Height60;
        ASSERT_EQ(
            video.frames[0].data.size(),
            static_cast<size_t>(fiftyHertz ? IppDecoderDV25::FrameBytes50 : IppDecoderDV25::FrameBytes60));
        IppDecoderDV25 adapter;
        ASSERT_TRUE(adapter.Initialise(0, 0, 3, false));
        AdapterRun run = DecodeAll(adapter, video.frames, IppDecoderDV25::Width, height);
        EXPECT_EQ(run.failures, 0);
        EXPECT_EQ(adapter.GetWidth(), IppDecoderDV25::Width);
        EXPECT_EQ(adapter.GetHeight(), height);
        ExpectSamePictures(run.pictures, ReferenceDecode(AV_CODEC_ID_DVVIDEO, video, true));
        // 4:1:1 chroma of 525/60 frames blurs the edges of the colour bars more.
        const double bound = fiftyHertz ? SourcePsnrBound : SourcePsnrBound - 5;
        for (size_t index = 0; index < run.pictures.size(); ++index) {
            EXPECT_GT(Psnr(video.sources[index], run.pictures[index].bgr.data()), bound) << index;
        }
    }
}

TEST(Dv25AdapterTest, SmallOutputAndShortFramesFail) {
    EncodedVideo video = EncodeDv(true, 1);
    const auto& frame = video.frames[0].data;
    IppDecoderDV25 adapter;
    ASSERT_TRUE(adapter.Initialise(IppDecoderDV25::Width, IppDecoderDV25::Height60, 3, false));
    std::vector<uint8_t> output(IppDecoderDV25::Width * IppDecoderDV25::Height50 * 3);
    LogCapture log;
    EXPECT_FALSE(adapter.Decode(frame.data(), static_cast<int32_t>(frame.size()), output.data(),
                                IppDecoderDV25::Width * IppDecoderDV25::Height60 * 3));
    EXPECT_TRUE(log.Contains("IppDecoderDV25::Decode bad output buffer\n"));
    EXPECT_FALSE(adapter.Decode(frame.data(), IppDecoderDV25::FrameBytes60, output.data(),
                                static_cast<int32_t>(output.size())));
    EXPECT_TRUE(log.Contains("DVVideoDecoder::GetFrame failed\n"));
    EXPECT_TRUE(adapter.Decode(frame.data(), static_cast<int32_t>(frame.size()), output.data(),
                               static_cast<int32_t>(output.size())));
}
