#include "codecs/jpeg/JpegCodec.h"
#include "codecs/jpeg/JpegOutput.h"
#include "codecs/jpeg/LosslessJpegCodec.h"
#include "core/binary/ByteView.h"

#include "fixtures/jpeg/JpegTestSupport.h"
#include "fixtures/jpeg/LosslessJpegWriter.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <memory>
#include <optional>
#include <ostream>
#include <span>
#include <string>
#include <vector>

using namespace Vorn::Vorncast::Decoders;
using namespace Vorn::Vorncast::Decoders::Testing;

namespace {

constexpr uint8_t Untouched = 0xA5;

// A picture buffer of whole padded lines plus a tail, filled with a pattern the decoder never
// writes by chance in the places that must stay untouched.
struct OutputBuffer {
    OutputBuffer(int32_t width, int32_t height, int32_t channels, size_t tail = 16)
        : lineStep(JpegLineStep(width, channels)), bytes(lineStep * height + tail, Untouched) {}
    int32_t Size() const { return static_cast<int32_t>(bytes.size()); }
    size_t lineStep;
    std::vector<uint8_t> bytes;
};

int32_t Size(const std::vector<uint8_t>& bytes) {
    return static_cast<int32_t>(bytes.size());
}

bool AllUntouched(std::span<const uint8_t> bytes) {
    return std::all_of(bytes.begin(), bytes.end(), [](uint8_t value) { return value == Untouched; });
}

struct RoundTripCase {
    std::string name;
    TestPicture picture;
    EncodeOptions options;
    double minimumPsnr; // 99: exactly
    std::optional<LosslessOptions> lossless;
};

std::vector<RoundTripCase> RoundTripCases() {
    const EncodeOptions sub420 = {.sampling = Sampling::S420};
    const EncodeOptions progressive = {.sampling = Sampling::S420, .progressive = true};
    return {
        {"Grey33x17", MakeGradient(33, 17, 1), {}, 40},
        {"Grey64x32", MakeGradient(64, 32, 1), {}, 40},
        {"Colour444", MakeGradient(33, 17, 3), {}, 36},
        {"Colour420", MakeGradient(35, 29, 3), sub420, 32},
        {"ColourBars444", MakeColourBars(64, 48), {}, 30},
        {"ColourBars420", MakeColourBars(64, 48), sub420, 22},
        {"Progressive", MakeGradient(48, 40, 3), progressive, 32},
        {"ProgressiveGrey", MakeGradient(21, 13, 1), progressive, 38},
        {"TallProgressive444", MakeGradient(5, 300, 3), {.progressive = true}, 30},
        {"RestartIntervals", MakeColourBars(80, 24), {.sampling = Sampling::S422, .restartInterval = 3}, 26},
        {"OptimisedTables", MakeGradient(40, 9, 3), {.optimiseTables = true}, 36},
        {"OnePixel", MakeGradient(1, 1, 3), {}, 30},
        {"LosslessGrey", MakeGradient(33, 17, 1), {}, 99, LosslessOptions{}},
        {"LosslessColourWithRestarts", MakeColourBars(33, 17), {}, 99, LosslessOptions{6, 2}},
    };
}

void PrintTo(const RoundTripCase& test, std::ostream* out) {
    *out << test.name;
}

class JpegRoundTrip : public testing::TestWithParam<RoundTripCase> {};

// With one scratch shared by all cases (with a failed decode in between), into lines padded to four
// bytes; then with bytes before the picture and, behind it, the start of a next picture or nothing
// (end marker cut off).
TEST_P(JpegRoundTrip, DecodesToTheEncodedPictureWithPaddedLines) {
    static JpegDecoderScratch scratch;
    const RoundTripCase& test = GetParam();
    const TestPicture& picture = test.picture;
    std::vector<uint8_t> jpeg =
        test.lossless ? EncodeLosslessJpeg(picture, *test.lossless) : EncodeJpeg(picture, test.options);
    OutputBuffer output(picture.width, picture.height, picture.channels);
    // Half a lossy picture fails, and leaves the scratch usable.
    EXPECT_TRUE(test.lossless || !JpegDecodeToBuffer(scratch, jpeg.data(), Size(jpeg) / 2,
                                                     output.bytes.data(), output.Size()));
    ASSERT_TRUE(JpegDecodeToBuffer(scratch, jpeg.data(), Size(jpeg), output.bytes.data(), output.Size()));
    PictureError error = ComparePicture(picture, output.bytes.data(), output.lineStep);
    EXPECT_GE(error.psnr, test.minimumPsnr) << "mean " << error.meanAbsolute << " max " << error.maximum;
    size_t rowBytes = static_cast<size_t>(picture.width) * picture.channels;
    EXPECT_EQ(output.lineStep, (rowBytes + 3) & ~size_t{3});
    for (int32_t y = 0; y < picture.height; ++y) {
        const uint8_t* line = output.bytes.data() + y * output.lineStep;
        EXPECT_TRUE(AllUntouched({line + rowBytes, line + output.lineStep})) << "padding of line " << y;
    }
    const uint8_t* tail = output.bytes.data() + picture.height * output.lineStep;
    EXPECT_TRUE(AllUntouched({tail, output.bytes.data() + output.bytes.size()}));
    // A buffer sized by pixels alone cuts the last lines of a padded picture at its end.
    std::vector<uint8_t> tight(rowBytes * picture.height, Untouched);
    ASSERT_TRUE(JpegDecodeToBuffer(scratch, jpeg.data(), Size(jpeg), tight.data(), Size(tight)));
    EXPECT_TRUE(std::equal(tight.begin(), tight.end(), output.bytes.begin()));

    std::vector<uint8_t> stream = {0x00, 0x12, 0xFF, 0x00, 0x77};
    stream.insert(stream.end(), jpeg.begin(), jpeg.end());
    stream.insert(stream.end(), {0xFF, 0xD8, 0xFF, 0xE0, 0x00});
    int32_t size[3] = {};
    ASSERT_TRUE(JpegReadHeader(stream.data(), Size(stream), &size[0], &size[1], &size[2]));
    EXPECT_EQ(std::vector<int32_t>(size, size + 3),
              (std::vector<int32_t>{picture.width, picture.height, picture.channels}));
    // Cut behind the scan, end marker included: a progressive picture needs its end marker.
    for (int32_t cut : {0, test.options.progressive ? 0 : 7}) {
        std::vector<uint8_t> again(output.bytes.size());
        ASSERT_TRUE(
            JpegDecodeToBuffer(scratch, stream.data(), Size(stream) - cut, again.data(), Size(again)));
        EXPECT_EQ(ComparePicture(picture, again.data(), output.lineStep).psnr, error.psnr);
    }
}

INSTANTIATE_TEST_SUITE_P(Pictures, JpegRoundTrip, testing::ValuesIn(RoundTripCases()),
                         [](const testing::TestParamInfo<RoundTripCase>& info) { return info.param.name; });

// Four-channel pictures come out with the first and third bytes swapped and the colour bytes
// scaled by the fourth.
TEST(JpegFourChannels, CmykAndYcckComeOutPremultipliedBlueFirst) {
    const TestPicture cmyk = MakeGradient(24, 16, 4);
    TestPicture expected = cmyk;
    for (size_t at = 0; at < expected.pixels.size(); at += 4) {
        const uint8_t* source = &cmyk.pixels[at];
        for (int32_t c = 0; c < 3; ++c) {
            expected.pixels[at + c] = static_cast<uint8_t>((source[2 - c] * source[3] + 1) >> 8);
        }
    }
    for (bool ycck : {false, true}) {
        std::vector<uint8_t> jpeg = EncodeJpeg(cmyk, {.quality = 100, .ycck = ycck});
        int32_t channels = 0;
        ASSERT_TRUE(JpegReadHeader(jpeg.data(), Size(jpeg), nullptr, nullptr, &channels));
        EXPECT_EQ(channels, 4);
        std::vector<uint8_t> output(24 * 16 * 4);
        ASSERT_TRUE(JpegDecodeToBuffer(jpeg.data(), Size(jpeg), output.data(), Size(output))) << ycck;
        EXPECT_LE(ComparePicture(expected, output.data(), 24 * 4).maximum, 6) << ycck;
    }
}

// Pictures refused before a byte of the output is written.
TEST(JpegDecodeRefusals, FailBeforeWriting) {
    const std::pair<std::vector<uint8_t>, int32_t> refusals[] = {
        {EncodeJpeg(MakeGradient(16, 16, 3), {.arithmetic = true}), 16 * 16 * 3},
        {EncodeJpeg(MakeGradient(16, 16, 3), {.progressive = true, .arithmetic = true}), 16 * 16 * 3},
        {EncodeJpeg(MakeGradient(32, 8, 1)), 32 * 8 - 1},
        {EncodeJpeg(MakeGradient(32, 8, 3)), 32 * 8 * 3 - 1},
        {EncodeJpeg(MakeGradient(8, 8, 1)), -1},
        {{}, 64},
    };
    for (const auto& [jpeg, bufferSize] : refusals) {
        std::vector<uint8_t> output(16 * 16 * 3, Untouched);
        EXPECT_FALSE(JpegDecodeToBuffer(jpeg.data(), Size(jpeg), output.data(), bufferSize)) << bufferSize;
        EXPECT_TRUE(AllUntouched(output)) << bufferSize;
    }
    const std::vector<uint8_t>& jpeg = refusals[2].first;
    std::vector<uint8_t> output(32 * 8);
    EXPECT_FALSE(JpegDecodeToBuffer(nullptr, Size(jpeg), output.data(), Size(output)));
    EXPECT_FALSE(JpegDecodeToBuffer(jpeg.data(), Size(jpeg), nullptr, Size(output)));
    EXPECT_TRUE(JpegDecodeToBuffer(jpeg.data(), Size(jpeg), output.data(), Size(output)));
}

// A scrambled restart interval costs only its own lines; a frame header where the scan should go
// fails the picture.
TEST(JpegDamage, CorruptIntervalCostsOnlyThatIntervalAndAFrameHeaderInTheScanFails) {
    // One MCU row (16 lines at 4:2:0) per restart interval.
    TestPicture picture = MakeGradient(64, 64, 3);
    std::vector<uint8_t> jpeg = EncodeJpeg(picture, {.sampling = Sampling::S420, .restartInterval = 4});
    const ByteView view(jpeg.data(), jpeg.size());
    size_t first = view.Find("\xFF\xD0");
    size_t second = view.Find("\xFF\xD1");
    ASSERT_NE(second, ByteView::npos);
    for (size_t i = first + 4; i < second - 2; ++i) {
        jpeg[i] = static_cast<uint8_t>(jpeg[i] * 7 + 13);
        if (jpeg[i] == 0xFF) {
            jpeg[i] = 0xFE;
        }
    }
    OutputBuffer output(64, 64, 3);
    EXPECT_TRUE(JpegDecodeToBuffer(jpeg.data(), Size(jpeg), output.bytes.data(), output.Size()));
    auto band = [&](int32_t from, int32_t lines) {
        TestPicture part = picture;
        part.pixels.erase(part.pixels.begin(), part.pixels.begin() + from * 64 * 3);
        part.height = lines;
        return ComparePicture(part, output.bytes.data() + from * output.lineStep, output.lineStep).psnr;
    };
    EXPECT_GE(band(0, 16), 32);
    EXPECT_GE(band(32, 32), 32);
    EXPECT_LT(band(16, 16), 25);

    std::vector<uint8_t> twoFrames = EncodeJpeg(MakeGradient(16, 16, 3));
    twoFrames.resize(ByteView(twoFrames.data(), twoFrames.size()).Find("\xFF\xDA") + 14);
    twoFrames.insert(twoFrames.end(),
                     {0xFF, 0xC0, 0x00, 0x0B, 0x08, 0x00, 0x10, 0x00, 0x10, 0x01, 0x01, 0x11, 0x00});
    EXPECT_FALSE(JpegDecodeToBuffer(twoFrames.data(), Size(twoFrames), output.bytes.data(), output.Size()));
}

// Frames as the index formats read them: the frame and two spare bytes behind it.
std::vector<uint8_t> AsRead(std::vector<uint8_t> frame) {
    frame.insert(frame.end(), {0, 0});
    return frame;
}

// The lossless handle of the index formats, whose pictures the round trips compare: its refusals,
// and grey frames asked for as colour.
TEST(LosslessJpegCodec, FailuresAreNegativeAndLeaveThePicture) {
    using namespace Vorn::Lorikan;
    std::unique_ptr<LosslessJpegDecoder, void (*)(LosslessJpegDecoder*)> decoder(MakeDecoder(), FreeDecoder);
    ASSERT_NE(decoder, nullptr);
    TestPicture picture = MakeGradient(16, 8, 3);
    std::vector<uint8_t> frame = AsRead(EncodeLosslessJpeg(picture));
    std::vector<uint8_t> output(picture.pixels.size(), Untouched);
    EXPECT_FALSE(SetFrameFormat(nullptr, 16, 8, 3));
    ASSERT_TRUE(SetFrameFormat(decoder.get(), 16, 8, 3));
    std::vector<uint8_t> garbage(200, 0x37);
    EXPECT_LT(DecodeFrame(decoder.get(), garbage.data(), Size(garbage), output.data(), 1), 0);
    EXPECT_TRUE(AllUntouched(output));
    std::vector<uint8_t> larger = AsRead(EncodeLosslessJpeg(MakeGradient(32, 8, 3)));
    EXPECT_EQ(DecodeFrame(decoder.get(), larger.data(), Size(larger), output.data(), 1),
              LosslessJpegWrongSize);
    EXPECT_TRUE(AllUntouched(output));

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
