#include "codecs/jpeg/JpegCodec.h"
#include "codecs/jpeg/JpegOutput.h"

#include "codecs/jpeg/JpegTestSupport.h"
#include "codecs/jpeg/LosslessJpegWriter.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <ostream>
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

bool AllUntouched(const uint8_t* begin, const uint8_t* end) {
    return std::all_of(begin, end, [](uint8_t value) { return value == Untouched; });
}

struct RoundTripCase {
    std::string name;
    TestPicture picture;
    EncodeOptions options;
    double minimumPsnr;
};

std::vector<RoundTripCase> RoundTripCases() {
    EncodeOptions progressive;
    progressive.progressive = true;
    progressive.sampling = Sampling::S420;
    EncodeOptions restarts;
    restarts.restartInterval = 3;
    restarts.sampling = Sampling::S422;
    EncodeOptions sub420;
    sub420.sampling = Sampling::S420;
    EncodeOptions optimised;
    optimised.optimiseTables = true;
    return {
        {"Grey33x17", MakeGradient(33, 17, 1), {}, 40},
        {"Grey64x32", MakeGradient(64, 32, 1), {}, 40},
        {"Colour444", MakeGradient(33, 17, 3), {}, 36},
        {"Colour420", MakeGradient(35, 29, 3), sub420, 32},
        {"ColourBars444", MakeColourBars(64, 48), {}, 30},
        {"ColourBars420", MakeColourBars(64, 48), sub420, 22},
        {"Progressive", MakeGradient(48, 40, 3), progressive, 32},
        {"ProgressiveGrey", MakeGradient(21, 13, 1), progressive, 38},
        {"RestartIntervals", MakeColourBars(80, 24), restarts, 26},
        {"OptimisedTables", MakeGradient(40, 9, 3), optimised, 36},
        {"OnePixel", MakeGradient(1, 1, 3), {}, 30},
    };
}

void PrintTo(const RoundTripCase& test, std::ostream* out) {
    *out << test.name;
}

class JpegRoundTrip : public testing::TestWithParam<RoundTripCase> {};

TEST_P(JpegRoundTrip, DecodesToTheEncodedPictureWithPaddedLines) {
    const RoundTripCase& test = GetParam();
    const TestPicture& picture = test.picture;
    std::vector<uint8_t> jpeg = EncodeJpeg(picture, test.options);
    OutputBuffer output(picture.width, picture.height, picture.channels);

    ASSERT_TRUE(JpegDecodeToBuffer(jpeg.data(), Size(jpeg), output.bytes.data(), output.Size()));

    PictureError error = ComparePicture(picture, output.bytes.data(), output.lineStep);
    EXPECT_GE(error.psnr, test.minimumPsnr) << "mean " << error.meanAbsolute << " max " << error.maximum;
    size_t rowBytes = static_cast<size_t>(picture.width) * picture.channels;
    for (int32_t y = 0; y < picture.height; ++y) {
        const uint8_t* line = output.bytes.data() + y * output.lineStep;
        EXPECT_TRUE(AllUntouched(line + rowBytes, line + output.lineStep)) << "padding of line " << y;
    }
    const uint8_t* tail = output.bytes.data() + picture.height * output.lineStep;
    EXPECT_TRUE(AllUntouched(tail, output.bytes.data() + output.bytes.size()));
}

INSTANTIATE_TEST_SUITE_P(Pictures, JpegRoundTrip, testing::ValuesIn(RoundTripCases()),
                         [](const testing::TestParamInfo<RoundTripCase>& info) { return info.param.name; });

// Four-channel pictures come out with the first and third bytes swapped and the colour bytes
// scaled by the fourth.
void ExpectPremultiplied(const TestPicture& cmyk, const std::vector<uint8_t>& output) {
    int32_t worst = 0;
    for (int32_t y = 0; y < cmyk.height; ++y) {
        for (int32_t x = 0; x < cmyk.width; ++x) {
            const uint8_t* source = cmyk.Pixel(x, y);
            const uint8_t* decoded = &output[(static_cast<size_t>(y) * cmyk.width + x) * 4];
            int32_t alpha = source[3];
            int32_t expected[4] = {(source[2] * alpha + 1) >> 8, (source[1] * alpha + 1) >> 8,
                                   (source[0] * alpha + 1) >> 8, alpha};
            for (int32_t c = 0; c < 4; ++c) {
                worst = std::max(worst, std::abs(expected[c] - decoded[c]));
            }
        }
    }
    EXPECT_LE(worst, 6);
}

TEST(JpegFourChannels, CmykAndYcckComeOutPremultipliedBlueFirst) {
    TestPicture cmyk = MakeGradient(24, 16, 4);
    for (bool ycck : {false, true}) {
        EncodeOptions options;
        options.ycck = ycck;
        options.quality = 100;
        std::vector<uint8_t> jpeg = EncodeJpeg(cmyk, options);
        int32_t channels = 0;
        ASSERT_TRUE(JpegReadHeader(jpeg.data(), Size(jpeg), nullptr, nullptr, &channels));
        EXPECT_EQ(channels, 4);
        std::vector<uint8_t> output(24 * 16 * 4);
        ASSERT_TRUE(JpegDecodeToBuffer(jpeg.data(), Size(jpeg), output.data(), Size(output))) << ycck;
        ExpectPremultiplied(cmyk, output);
    }
}

TEST(JpegFourChannels, WithSizeRefusesThem) {
    std::vector<uint8_t> jpeg = EncodeJpeg(MakeGradient(8, 8, 4));
    std::vector<uint8_t> output(8 * 8 * 4, Untouched);
    int32_t consumed = -1;
    EXPECT_FALSE(JpegDecodeToBufferWithSize(jpeg.data(), Size(jpeg), output.data(), Size(output), &consumed));
    EXPECT_EQ(consumed, -1);
    EXPECT_TRUE(AllUntouched(output.data(), output.data() + output.size()));
}

TEST(JpegReadHeader, ReportsSizeAndComponents) {
    struct Case {
        TestPicture picture;
        EncodeOptions options;
    };
    EncodeOptions progressive;
    progressive.progressive = true;
    for (const Case& test : {Case{MakeGradient(33, 17, 1), {}}, Case{MakeGradient(176, 144, 3), {}},
                             Case{MakeGradient(5, 300, 3), progressive}}) {
        std::vector<uint8_t> jpeg = EncodeJpeg(test.picture, test.options);
        int32_t width = 0;
        int32_t height = 0;
        int32_t channels = 0;
        ASSERT_TRUE(JpegReadHeader(jpeg.data(), Size(jpeg), &width, &height, &channels));
        EXPECT_EQ(width, test.picture.width);
        EXPECT_EQ(height, test.picture.height);
        EXPECT_EQ(channels, test.picture.channels);
    }
}

TEST(JpegReadHeader, NeedsTheHeaderUpToTheScan) {
    std::vector<uint8_t> jpeg = EncodeJpeg(MakeGradient(16, 16, 3));
    size_t scan = FindMarker(jpeg, 0xDA);
    ASSERT_NE(scan, static_cast<size_t>(-1));
    int32_t width = 0;
    // The header alone, SOS segment included, is enough; one byte less is not.
    EXPECT_TRUE(JpegReadHeader(jpeg.data(), static_cast<int32_t>(scan + 14), &width, nullptr, nullptr));
    EXPECT_EQ(width, 16);
    EXPECT_FALSE(JpegReadHeader(jpeg.data(), static_cast<int32_t>(scan + 13), &width, nullptr, nullptr));
    EXPECT_FALSE(JpegReadHeader(jpeg.data(), 0, &width, nullptr, nullptr));
    EXPECT_FALSE(JpegReadHeader(nullptr, 100, &width, nullptr, nullptr));
}

TEST(JpegReadHeader, SkipsBytesBeforeTheImage) {
    TestPicture picture = MakeGradient(20, 12, 3);
    std::vector<uint8_t> jpeg = EncodeJpeg(picture);
    std::vector<uint8_t> prefixed = {0x00, 0x12, 0xFF, 0x00, 0x77};
    prefixed.insert(prefixed.end(), jpeg.begin(), jpeg.end());
    int32_t height = 0;
    EXPECT_TRUE(JpegReadHeader(prefixed.data(), Size(prefixed), nullptr, &height, nullptr));
    EXPECT_EQ(height, 12);
    OutputBuffer output(20, 12, 3);
    ASSERT_TRUE(JpegDecodeToBuffer(prefixed.data(), Size(prefixed), output.bytes.data(), output.Size()));
    EXPECT_GE(ComparePicture(picture, output.bytes.data(), output.lineStep).psnr, 36);
}

TEST(JpegDecodeRefusals, ArithmeticCodingFailsWithoutWriting) {
    EncodeOptions arithmetic;
    arithmetic.arithmetic = true;
    for (bool progressive : {false, true}) {
        arithmetic.progressive = progressive;
        std::vector<uint8_t> jpeg = EncodeJpeg(MakeGradient(16, 16, 3), arithmetic);
        ASSERT_NE(FindMarker(jpeg, progressive ? 0xCA : 0xC9), static_cast<size_t>(-1));
        OutputBuffer output(16, 16, 3);
        EXPECT_FALSE(JpegReadHeader(jpeg.data(), Size(jpeg), nullptr, nullptr, nullptr));
        EXPECT_FALSE(JpegDecodeToBuffer(jpeg.data(), Size(jpeg), output.bytes.data(), output.Size()));
        EXPECT_TRUE(AllUntouched(output.bytes.data(), output.bytes.data() + output.bytes.size()));
    }
}

TEST(JpegDecodeRefusals, BufferOneByteShortFailsBeforeWriting) {
    for (int32_t channels : {1, 3}) {
        std::vector<uint8_t> jpeg = EncodeJpeg(MakeGradient(32, 8, channels));
        int32_t exact = 32 * 8 * channels;
        std::vector<uint8_t> output(exact, Untouched);
        EXPECT_FALSE(JpegDecodeToBuffer(jpeg.data(), Size(jpeg), output.data(), exact - 1));
        EXPECT_TRUE(AllUntouched(output.data(), output.data() + output.size()));
        int32_t consumed = 0;
        EXPECT_FALSE(
            JpegDecodeToBufferWithSize(jpeg.data(), Size(jpeg), output.data(), exact - 1, &consumed));
        EXPECT_TRUE(AllUntouched(output.data(), output.data() + output.size()));
        EXPECT_TRUE(JpegDecodeToBuffer(jpeg.data(), Size(jpeg), output.data(), exact));
    }
}

TEST(JpegDecodeRefusals, NullPointersAndEmptyInput) {
    std::vector<uint8_t> jpeg = EncodeJpeg(MakeGradient(8, 8, 1));
    std::vector<uint8_t> output(64);
    EXPECT_FALSE(JpegDecodeToBuffer(nullptr, Size(jpeg), output.data(), Size(output)));
    EXPECT_FALSE(JpegDecodeToBuffer(jpeg.data(), Size(jpeg), nullptr, Size(output)));
    EXPECT_FALSE(JpegDecodeToBuffer(jpeg.data(), 0, output.data(), Size(output)));
    EXPECT_FALSE(JpegDecodeToBuffer(jpeg.data(), Size(jpeg), output.data(), -1));
    EXPECT_FALSE(JpegDecodeToBufferWithSize(jpeg.data(), Size(jpeg), nullptr, Size(output), nullptr));
}

// With the buffer sized by pixels alone, the padding of a narrow grey picture pushes its last lines
// past the end: they are cut there, and everything that fits is right.
TEST(JpegPadding, LinesPastAPixelSizedBufferAreCutNotOverrun) {
    TestPicture picture = MakeGradient(33, 17, 1);
    std::vector<uint8_t> jpeg = EncodeJpeg(picture);
    std::vector<uint8_t> output(33 * 17);
    ASSERT_TRUE(JpegDecodeToBuffer(jpeg.data(), Size(jpeg), output.data(), Size(output)));
    size_t step = JpegLineStep(33, 1);
    EXPECT_EQ(step, 36u);
    OutputBuffer reference(33, 17, 1);
    ASSERT_TRUE(JpegDecodeToBuffer(jpeg.data(), Size(jpeg), reference.bytes.data(), reference.Size()));
    for (size_t line = 0; line < 17; ++line) {
        for (size_t x = 0; x < 33 && line * step + x < output.size(); ++x) {
            ASSERT_EQ(output[line * step + x], reference.bytes[line * step + x]) << line << "," << x;
        }
    }
}

TEST(JpegDamage, TruncatedScanFailsAndLeavesTheLinesBelowAlone) {
    TestPicture picture = MakeGradient(64, 64, 3);
    std::vector<uint8_t> jpeg = EncodeJpeg(picture);
    size_t scan = FindMarker(jpeg, 0xDA);
    // Keep the header and about a third of the scan.
    jpeg.resize(scan + (jpeg.size() - scan) / 3);
    OutputBuffer output(64, 64, 3);
    EXPECT_FALSE(JpegDecodeToBuffer(jpeg.data(), Size(jpeg), output.bytes.data(), output.Size()));

    TestPicture top = picture;
    top.height = 8;
    EXPECT_GE(ComparePicture(top, output.bytes.data(), output.lineStep).psnr, 34);
    const uint8_t* bottom = output.bytes.data() + 48 * output.lineStep;
    EXPECT_TRUE(AllUntouched(bottom, output.bytes.data() + output.bytes.size()));
}

TEST(JpegDamage, TruncatedProgressiveFileFails) {
    EncodeOptions progressive;
    progressive.progressive = true;
    std::vector<uint8_t> jpeg = EncodeJpeg(MakeGradient(32, 32, 3), progressive);
    jpeg.resize(jpeg.size() * 2 / 3);
    OutputBuffer output(32, 32, 3);
    EXPECT_FALSE(JpegDecodeToBuffer(jpeg.data(), Size(jpeg), output.bytes.data(), output.Size()));
}

TEST(JpegDamage, CorruptIntervalCostsOnlyThatInterval) {
    // One MCU row (16 lines at 4:2:0) per restart interval.
    TestPicture picture = MakeGradient(64, 64, 3);
    EncodeOptions options;
    options.sampling = Sampling::S420;
    options.restartInterval = 4;
    std::vector<uint8_t> jpeg = EncodeJpeg(picture, options);
    size_t first = FindMarker(jpeg, 0xD0);
    size_t second = FindMarker(jpeg, 0xD1);
    ASSERT_NE(second, static_cast<size_t>(-1));
    // Scramble the middle of the second interval (lines 16 to 31).
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
}

TEST(JpegDamage, GarbageAfterTheHeaderFails) {
    std::vector<uint8_t> jpeg = EncodeJpeg(MakeGradient(16, 16, 3));
    size_t scan = FindMarker(jpeg, 0xDA);
    // A second frame header where the scan should be.
    jpeg.resize(scan + 14);
    static const uint8_t Sof[] = {0xFF, 0xC0, 0x00, 0x0B, 0x08, 0x00, 0x10,
                                  0x00, 0x10, 0x01, 0x01, 0x11, 0x00};
    jpeg.insert(jpeg.end(), std::begin(Sof), std::end(Sof));
    OutputBuffer output(16, 16, 3);
    EXPECT_FALSE(JpegDecodeToBuffer(jpeg.data(), Size(jpeg), output.bytes.data(), output.Size()));
}

TEST(JpegWithSize, ReportsTheBytesUpToTheEndMarker) {
    TestPicture first = MakeGradient(24, 16, 3);
    TestPicture second = MakeColourBars(32, 8);
    std::vector<uint8_t> stream = EncodeJpeg(first);
    size_t firstSize = stream.size();
    std::vector<uint8_t> next = EncodeJpeg(second);
    stream.insert(stream.end(), next.begin(), next.end());

    OutputBuffer output(32, 16, 3);
    int32_t consumed = 0;
    ASSERT_TRUE(JpegDecodeToBufferWithSize(stream.data(), Size(stream), output.bytes.data(), output.Size(),
                                           &consumed));
    EXPECT_EQ(consumed, static_cast<int32_t>(firstSize));
    EXPECT_GE(ComparePicture(first, output.bytes.data(), JpegLineStep(24, 3)).psnr, 36);

    int32_t rest = Size(stream) - consumed;
    ASSERT_TRUE(JpegDecodeToBufferWithSize(stream.data() + consumed, rest, output.bytes.data(), output.Size(),
                                           &consumed));
    EXPECT_EQ(consumed, rest);
    EXPECT_GE(ComparePicture(second, output.bytes.data(), JpegLineStep(32, 3)).psnr, 26);
}

TEST(JpegWithSize, CountsBytesBeforeTheImageAndTakesAFileWithoutEndMarker) {
    std::vector<uint8_t> jpeg = EncodeJpeg(MakeGradient(16, 16, 1));
    jpeg.insert(jpeg.begin(), {0x01, 0x02, 0x03});
    OutputBuffer output(16, 16, 1);
    int32_t consumed = 0;
    ASSERT_TRUE(
        JpegDecodeToBufferWithSize(jpeg.data(), Size(jpeg), output.bytes.data(), output.Size(), &consumed));
    EXPECT_EQ(consumed, Size(jpeg));
    jpeg.resize(jpeg.size() - 2);
    ASSERT_TRUE(
        JpegDecodeToBufferWithSize(jpeg.data(), Size(jpeg), output.bytes.data(), output.Size(), &consumed));
    EXPECT_EQ(consumed, Size(jpeg));
}

TEST(JpegScratch, ReusedAcrossPicturesOfEveryKind) {
    JpegDecoderScratch scratch;
    EncodeOptions progressive;
    progressive.progressive = true;
    std::vector<TestPicture> pictures = {MakeGradient(40, 30, 3), MakeGradient(17, 9, 1),
                                         MakeColourBars(64, 16)};
    for (int round = 0; round < 2; ++round) {
        for (const TestPicture& picture : pictures) {
            std::vector<uint8_t> jpeg = EncodeJpeg(picture, round == 0 ? EncodeOptions{} : progressive);
            OutputBuffer output(picture.width, picture.height, picture.channels);
            ASSERT_TRUE(
                JpegDecodeToBuffer(scratch, jpeg.data(), Size(jpeg), output.bytes.data(), output.Size()));
            EXPECT_GE(ComparePicture(picture, output.bytes.data(), output.lineStep).psnr, 26);
            // A failure in between leaves the scratch usable.
            jpeg.resize(jpeg.size() / 2);
            EXPECT_FALSE(
                JpegDecodeToBuffer(scratch, jpeg.data(), Size(jpeg), output.bytes.data(), output.Size()));
        }
    }
}

TEST(JpegLosslessFrames, DecodeExactlyThroughTheSamePath) {
    for (int32_t channels : {1, 3}) {
        TestPicture picture = MakeGradient(33, 17, channels);
        std::vector<uint8_t> jpeg = EncodeLosslessJpeg(picture);
        int32_t width = 0;
        ASSERT_TRUE(JpegReadHeader(jpeg.data(), Size(jpeg), &width, nullptr, nullptr));
        EXPECT_EQ(width, 33);
        OutputBuffer output(33, 17, channels);
        ASSERT_TRUE(JpegDecodeToBuffer(jpeg.data(), Size(jpeg), output.bytes.data(), output.Size()));
        EXPECT_EQ(ComparePicture(picture, output.bytes.data(), output.lineStep).maximum, 0);
        int32_t consumed = 0;
        std::vector<uint8_t> padded = jpeg;
        padded.insert(padded.end(), 5, 0);
        ASSERT_TRUE(JpegDecodeToBufferWithSize(padded.data(), Size(padded), output.bytes.data(),
                                               output.Size(), &consumed));
        EXPECT_EQ(consumed, Size(jpeg));
    }
}

} // namespace
