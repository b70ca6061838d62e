#include "codecs/jpeg/LosslessJpegCodec.h"

#include "fixtures/jpeg/JpegTestSupport.h"
#include "fixtures/jpeg/LosslessJpegWriter.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <memory>
#include <vector>

using namespace Vorn::Lorikan;
using namespace Vorn::Vorncast::Decoders::Testing;

namespace {

constexpr uint8_t Untouched = 0xA5;

struct DecoderDeleter {
    void operator()(LosslessJpegDecoder* decoder) const { FreeDecoder(decoder); }
};
using DecoderHandle = std::unique_ptr<LosslessJpegDecoder, DecoderDeleter>;

int32_t Size(const std::vector<uint8_t>& bytes) {
    return static_cast<int32_t>(bytes.size());
}

// Frames as the index formats read them: the frame and two spare bytes behind it.
std::vector<uint8_t> AsRead(std::vector<uint8_t> frame) {
    frame.insert(frame.end(), {0, 0});
    return frame;
}

// Every predictor, with and without restart intervals, on one handle for many frames.
TEST(LosslessJpegCodec, DecodesEveryPredictorExactly) {
    DecoderHandle decoder(MakeDecoder());
    ASSERT_NE(decoder, nullptr);
    for (int32_t channels : {3, 1}) {
        ASSERT_TRUE(SetFrameFormat(decoder.get(), 40, 24, channels));
        for (int32_t predictor = 1; predictor <= 7; ++predictor) {
            TestPicture picture =
                predictor % 2 == 0 && channels == 3 ? MakeColourBars(40, 24) : MakeGradient(40, 24, channels);
            std::vector<uint8_t> frame =
                AsRead(EncodeLosslessJpeg(picture, {.predictor = predictor, .restartLines = predictor % 4}));
            std::vector<uint8_t> output(picture.pixels.size() + 8, Untouched);
            EXPECT_EQ(
                DecodeFrame(decoder.get(), frame.data(), Size(frame), output.data(), LosslessJpegBlueFirst),
                static_cast<int32_t>(picture.pixels.size()));
            EXPECT_TRUE(std::equal(picture.pixels.begin(), picture.pixels.end(), output.begin()))
                << channels << " channels, predictor " << predictor;
            EXPECT_EQ(output.back(), Untouched);
        }
    }
}

TEST(LosslessJpegCodec, FailuresAreNegativeAndLeaveThePicture) {
    DecoderHandle decoder(MakeDecoder());
    ASSERT_NE(decoder, nullptr);
    TestPicture picture = MakeGradient(16, 8, 3);
    std::vector<uint8_t> frame = AsRead(EncodeLosslessJpeg(picture));
    std::vector<uint8_t> output(picture.pixels.size(), Untouched);
    const std::vector<uint8_t> untouched = output;

    EXPECT_EQ(DecodeFrame(decoder.get(), frame.data(), Size(frame), output.data(), LosslessJpegBlueFirst),
              LosslessJpegNoFormat);
    ASSERT_TRUE(SetFrameFormat(decoder.get(), 16, 8, 3));
    EXPECT_EQ(DecodeFrame(nullptr, frame.data(), Size(frame), output.data(), 1), LosslessJpegBadArgument);
    EXPECT_EQ(DecodeFrame(decoder.get(), nullptr, Size(frame), output.data(), 1), LosslessJpegBadArgument);
    EXPECT_EQ(DecodeFrame(decoder.get(), frame.data(), 0, output.data(), 1), LosslessJpegBadArgument);
    EXPECT_EQ(DecodeFrame(decoder.get(), frame.data(), Size(frame), output.data(), 2),
              LosslessJpegBadArgument);

    std::vector<uint8_t> garbage(200, 0x37);
    EXPECT_LT(DecodeFrame(decoder.get(), garbage.data(), Size(garbage), output.data(), 1), 0);
    EXPECT_EQ(output, untouched);

    std::vector<uint8_t> larger = AsRead(EncodeLosslessJpeg(MakeGradient(32, 8, 3)));
    EXPECT_EQ(DecodeFrame(decoder.get(), larger.data(), Size(larger), output.data(), 1),
              LosslessJpegWrongSize);
    EXPECT_EQ(output, untouched);

    // The handle still decodes after failures.
    EXPECT_GT(DecodeFrame(decoder.get(), frame.data(), Size(frame), output.data(), 1), 0);
    EXPECT_EQ(output, picture.pixels);
}

TEST(LosslessJpegCodec, FrameFormatIsChecked) {
    DecoderHandle decoder(MakeDecoder());
    ASSERT_NE(decoder, nullptr);
    EXPECT_FALSE(SetFrameFormat(decoder.get(), 0, 8, 3));
    EXPECT_FALSE(SetFrameFormat(decoder.get(), 8, -1, 3));
    EXPECT_FALSE(SetFrameFormat(decoder.get(), 8, 8, 4));
    EXPECT_FALSE(SetFrameFormat(nullptr, 8, 8, 3));
    // A grey frame asked for as colour comes out as grey in all three bytes.
    TestPicture grey = MakeGradient(8, 8, 1);
    ASSERT_TRUE(SetFrameFormat(decoder.get(), 8, 8, 3));
    std::vector<uint8_t> frame = AsRead(EncodeLosslessJpeg(grey));
    std::vector<uint8_t> output(8 * 8 * 3);
    ASSERT_GT(DecodeFrame(decoder.get(), frame.data(), Size(frame), output.data(), 1), 0);
    for (size_t i = 0; i < grey.pixels.size(); ++i) {
        EXPECT_EQ(output[i * 3], grey.pixels[i]);
        EXPECT_EQ(output[i * 3 + 2], grey.pixels[i]);
    }
}

} // namespace
