#include "codecs/video/IppDecoderH263.h"
#include "codecs/video/IppDecoderMPEG4.h"
#include "codecs/video/VideoTestHelpers.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <random>

using namespace Vorn;
using namespace Vorn::Vorncast::Decoders;
using namespace CodecTest;

namespace {

constexpr int32_t Width = 176;
constexpr int32_t Height = 144;
constexpr int32_t PictureBytes = Width * Height * 3;

EncodedVideo Encode(const char* encoder, int32_t frames, int32_t bFrames, bool globalHeader = false) {
    VideoSettings settings;
    settings.encoder = encoder;
    settings.frames = frames;
    settings.bFrames = bFrames;
    settings.globalHeader = globalHeader;
    EncodedVideo video;
    EXPECT_TRUE(EncodeVideo(settings, &video)) << encoder;
    return video;
}

bool DecodeInto(IppDecoder& adapter, const EncodedFrame& frame, std::vector<uint8_t>& output) {
    return adapter.Decode(frame.data.data(), static_cast<int32_t>(frame.data.size()), output.data(),
                          static_cast<int32_t>(output.size()));
}

class Mpeg4AdapterTest : public ::testing::Test {
protected:
    static void SetUpTestSuite() {
        plain = new EncodedVideo(Encode("mpeg4", 6, 0));
        withB = new EncodedVideo(Encode("mpeg4", 8, 2));
    }
    static void TearDownTestSuite() {
        delete plain;
        delete withB;
    }

    static EncodedVideo* plain;
    static EncodedVideo* withB;
    IppDecoderMPEG4 adapter;
};

EncodedVideo* Mpeg4AdapterTest::plain = nullptr;
EncodedVideo* Mpeg4AdapterTest::withB = nullptr;

} // namespace

TEST_F(Mpeg4AdapterTest, EveryFrameMatchesLibavcodecAndTheSourcePicture) {
    ASSERT_TRUE(adapter.Initialise(Width, Height, 3, false));
    AdapterRun run = DecodeAll(adapter, plain->frames, Width, Height);
    EXPECT_EQ(run.failures, 0);
    EXPECT_EQ(run.heldBack, 0);
    ExpectSamePictures(run.pictures, ReferenceDecode(AV_CODEC_ID_MPEG4, *plain, false));
    for (size_t index = 0; index < run.pictures.size(); ++index) {
        EXPECT_GT(Psnr(plain->sources[index], run.pictures[index].bgr.data()), SourcePsnrBound) << index;
    }
    ASSERT_FALSE(run.types.empty());
    EXPECT_EQ(run.types[0], VideoFrameI);
    EXPECT_EQ(run.types[1], VideoFrameP);
}

TEST_F(Mpeg4AdapterTest, BFramesHoldOnePictureBackAndTheOthersComeInDisplayOrder) {
    ASSERT_TRUE(adapter.Initialise(Width, Height, 3, false));
    std::vector<uint8_t> output(PictureBytes, 0x5A);
    ASSERT_TRUE(DecodeInto(adapter, withB->frames[0], output));
    EXPECT_FALSE(adapter.HasNewPicture());
    EXPECT_EQ(adapter.GetFrameType(), VideoFrameNone);
    EXPECT_TRUE(std::all_of(output.begin(), output.end(), [](uint8_t byte) { return byte == 0x5A; }));

    AdapterRun run = DecodeAll(adapter, withB->frames, Width, Height, 1);
    EXPECT_EQ(run.failures, 0);
    EXPECT_EQ(run.heldBack, 0);
    ASSERT_EQ(run.pictures.size(), withB->frames.size() - 1);
    for (size_t index = 0; index < run.pictures.size(); ++index) {
        EXPECT_GT(Psnr(withB->sources[index], run.pictures[index].bgr.data()), SourcePsnrBound) << index;
    }
    EXPECT_NE(std::find(run.types.begin(), run.types.end(), VideoFrameB), run.types.end());
}

TEST_F(Mpeg4AdapterTest, ResetDropsTheHeldBackPicture) {
    ASSERT_TRUE(adapter.Initialise(Width, Height, 3, false));
    AdapterRun first = DecodeAll(adapter, withB->frames, Width, Height, 0, 4);
    adapter.Reset();
    AdapterRun second = DecodeAll(adapter, withB->frames, Width, Height, 0, 4);
    EXPECT_EQ(second.heldBack, first.heldBack);
    ExpectSamePictures(second.pictures, first.pictures);
}

TEST_F(Mpeg4AdapterTest, VolHeaderMayComeAsConfiguration) {
    // MPEG quantisation is announced in the VOL header only: a decoder that never saw the header
    // reads the frames with the wrong quantiser.
    VideoSettings settings;
    settings.encoder = "mpeg4";
    settings.frames = 3;
    settings.globalHeader = true;
    settings.options = {{"mpeg_quant", "1"}};
    EncodedVideo global;
    ASSERT_TRUE(EncodeVideo(settings, &global));
    ASSERT_FALSE(global.extradata.empty());
    const std::vector<Picture> reference = ReferenceDecode(AV_CODEC_ID_MPEG4, global, false);

    IppDecoderMPEG4 configured;
    ASSERT_TRUE(configured.Initialise(Width, Height, 3, false, global.extradata.data(),
                                      static_cast<int32_t>(global.extradata.size())));
    AdapterRun run = DecodeAll(configured, global.frames, Width, Height);
    EXPECT_EQ(run.failures, 0);
    ExpectSamePictures(run.pictures, reference);
    EXPECT_GT(Psnr(global.sources[0], run.pictures.at(0).bgr.data()), SourcePsnrBound);

    ASSERT_TRUE(adapter.Initialise(Width, Height, 3, false));
    std::vector<uint8_t> output(PictureBytes);
    const bool decoded = DecodeInto(adapter, global.frames[0], output);
    EXPECT_FALSE(decoded && output == reference[0].bgr);
}

TEST_F(Mpeg4AdapterTest, OutputCheckAcceptsExactSizeAndRefusesLessOrNull) {
    ASSERT_TRUE(adapter.Initialise(Width, Height, 3, false));
    const auto& frame = plain->frames[0].data;
    std::vector<uint8_t> output(PictureBytes);
    LogCapture log;
    ExpectRefused(adapter, frame, PictureBytes - 1);
    EXPECT_FALSE(adapter.Decode(frame.data(), static_cast<int32_t>(frame.size()), nullptr, PictureBytes));
    EXPECT_EQ(log.Messages(), std::vector<std::string>(2, "IppDecoderMPEG4::Decode bad output buffer\n"));
    EXPECT_TRUE(
        adapter.Decode(frame.data(), static_cast<int32_t>(frame.size()), output.data(), PictureBytes));
    EXPECT_TRUE(adapter.HasNewPicture());
}

TEST_F(Mpeg4AdapterTest, LineDoublingWritesEveryLineTwice) {
    ASSERT_TRUE(adapter.Initialise(Width, Height, 3, false));
    std::vector<uint8_t> single(PictureBytes);
    ASSERT_TRUE(DecodeInto(adapter, plain->frames[0], single));

    IppDecoderMPEG4 doubling;
    ASSERT_TRUE(doubling.Initialise(Width, Height, 3, true));
    std::vector<uint8_t> doubled(2 * PictureBytes, 0x5A);
    ASSERT_TRUE(DecodeInto(doubling, plain->frames[0], doubled));
    const size_t line = Width * 3;
    for (size_t row = 0; row < Height; ++row) {
        const uint8_t* source = &single[row * line];
        ASSERT_TRUE(std::equal(source, source + line, &doubled[2 * row * line])) << row;
        ASSERT_TRUE(std::equal(source, source + line, &doubled[(2 * row + 1) * line])) << row;
    }
}

TEST_F(Mpeg4AdapterTest, OtherSizesCutThePictureOrPadItWithBlack) {
    const Picture full = ReferenceDecode(AV_CODEC_ID_MPEG4, *plain, false)[0];
    for (int32_t delta : {-16, 16}) {
        const int32_t width = Width + delta;
        const int32_t height = Height + delta;
        IppDecoderMPEG4 sized;
        ASSERT_TRUE(sized.Initialise(width, height, 3, false));
        std::vector<uint8_t> output(static_cast<size_t>(width) * height * 3, 0x5A);
        ASSERT_TRUE(DecodeInto(sized, plain->frames[0], output));
        for (int32_t y = 0; y < height; ++y) {
            for (int32_t x = 0; x < width * 3; ++x) {
                const uint8_t expected = (y < Height && x < Width * 3) ? full.bgr[y * Width * 3 + x] : 0;
                ASSERT_EQ(output[y * width * 3 + x], expected) << "size " << width << " at " << x << "," << y;
            }
        }
    }
}

TEST_F(Mpeg4AdapterTest, DamagedFramesFailAndTheAdapterRecovers) {
    ASSERT_TRUE(adapter.Initialise(Width, Height, 3, false));
    std::vector<uint8_t> output(PictureBytes, 0x5A);
    LogCapture log;

    EncodedFrame truncated = plain->frames[0];
    truncated.data.resize(truncated.data.size() / 2);
    EXPECT_FALSE(DecodeInto(adapter, truncated, output));
    EXPECT_TRUE(log.ContainsPrefix("MPEG4VideoDecoder::GetFrame failed with status -"));

    std::mt19937 random(7);
    EncodedFrame garbage;
    for (int index = 0; index < 3000; ++index) {
        garbage.data.push_back(static_cast<uint8_t>(random()));
    }
    EXPECT_FALSE(DecodeInto(adapter, garbage, output));

    EncodedVideo mpeg2 = Encode("mpeg2video", 1, 0);
    EXPECT_FALSE(DecodeInto(adapter, mpeg2.frames[0], output));
    EXPECT_FALSE(adapter.HasNewPicture());
    EXPECT_TRUE(std::all_of(output.begin(), output.end(), [](uint8_t byte) { return byte == 0x5A; }));

    ExpectCleanRunAfterReset(adapter, *plain, Width, Height, AV_CODEC_ID_MPEG4, false);
}

TEST_F(Mpeg4AdapterTest, MissingInputLogsTheMediaDataTexts) {
    ASSERT_TRUE(adapter.Initialise(Width, Height, 3, false));
    std::vector<uint8_t> output(PictureBytes);
    LogCapture log;
    EXPECT_FALSE(adapter.Decode(nullptr, 100, output.data(), PictureBytes));
    EXPECT_FALSE(adapter.Decode(plain->frames[0].data.data(), 0, output.data(), PictureBytes));
    EXPECT_EQ(log.Messages(), (std::vector<std::string>{"MediaDataEx::SetBufferPointer failed\n",
                                                        "MediaDataEx::SetDataSize failed\n"}));
}

TEST_F(Mpeg4AdapterTest, BufferFormReportsOneOrZero) {
    ASSERT_TRUE(adapter.Initialise(Width, Height, 3, false));
    const auto& frame = plain->frames[0].data;
    Buffer input(static_cast<int32_t>(frame.size()));
    std::copy(frame.begin(), frame.end(), input.Data());
    Buffer output(PictureBytes);
    EXPECT_EQ(adapter.Decode(input, 0, output, 0), 1);
    const Picture reference = ReferenceDecode(AV_CODEC_ID_MPEG4, *plain, false)[0];
    EXPECT_TRUE(std::equal(reference.bgr.begin(), reference.bgr.end(), output.Data()));
    EXPECT_EQ(adapter.Decode(Buffer(), 0, output, 0), 0);
    EXPECT_EQ(adapter.Decode(input, 0, Buffer(), 0), 0);
}

TEST(H263AdapterTest, DecodesCifQuarterFramesAndFailsQuietlyOnSmallOutput) {
    EncodedVideo video = Encode("h263", 5, 0);
    IppDecoderH263 adapter;
    ASSERT_TRUE(adapter.Initialise(Width, Height, 3, false));
    AdapterRun run = DecodeAll(adapter, video.frames, Width, Height);
    EXPECT_EQ(run.failures, 0);
    ExpectSamePictures(run.pictures, ReferenceDecode(AV_CODEC_ID_H263, video, false));
    for (size_t index = 0; index < run.pictures.size(); ++index) {
        EXPECT_GT(Psnr(video.sources[index], run.pictures[index].bgr.data()), SourcePsnrBound) << index;
    }

    LogCapture log;
    ExpectRefused(adapter, video.frames[0].data, PictureBytes - 3);
    EXPECT_TRUE(log.Messages().empty());

    ExpectRefused(adapter, ForeignMpeg4Frame(), PictureBytes);
    EXPECT_TRUE(log.Contains("H263VideoDecoder::GetFrame failed\n"));
}
