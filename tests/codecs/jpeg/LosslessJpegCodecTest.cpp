#include "codecs/jpeg/LosslessJpegCodec.h"

#include "fixtures/jpeg/JpegTestSupport.h"
#include "fixtures/jpeg/LosslessJpegWriter.h"

#include <gtest/gtest.h>

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

// The pictures themselves are compared in the JPEG round trips, which share the lossless engine;
// here the handle: its frame format, its refusals and its grey frames asked for as colour.
TEST(LosslessJpegCodec, FailuresAreNegativeAndLeaveThePicture) {
    DecoderHandle decoder(MakeDecoder());
    ASSERT_NE(decoder, nullptr);
    TestPicture picture = MakeGradient(16, 8, 3);
    std::vector<uint8_t> frame = AsRead(EncodeLosslessJpeg(picture));
    std::vector<uint8_t> output(picture.pixels.size(), Untouched);
    const std::vector<uint8_t> untouched = output;

    EXPECT_EQ(DecodeFrame(decoder.get(), frame.data(), Size(frame), output.data(), LosslessJpegBlueFirst),
              LosslessJpegNoFormat);
    EXPECT_FALSE(SetFrameFormat(decoder.get(), 0, 8, 3));
    EXPECT_FALSE(SetFrameFormat(decoder.get(), 8, -1, 3));
    EXPECT_FALSE(SetFrameFormat(decoder.get(), 8, 8, 4));
    EXPECT_FALSE(SetFrameFormat(nullptr, 8, 8, 3));
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

    const TestPicture grey = MakeGradient(16, 8, 1);
    const std::vector<uint8_t> greyFrame = AsRead(EncodeLosslessJpeg(grey));
    ASSERT_GT(DecodeFrame(decoder.get(), greyFrame.data(), Size(greyFrame), output.data(), 1), 0);
    for (size_t i = 0; i < output.size(); ++i) {
        ASSERT_EQ(output[i], grey.pixels[i / 3]) << i;
    }
}

} // namespace
