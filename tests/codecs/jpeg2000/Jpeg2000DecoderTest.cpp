#include "codecs/jpeg2000/Jpeg2000Decoder.h"
#include "codecs/jpeg2000/Jpeg2000TestEncoder.h"
#include "core/binary/ByteView.h"

#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

using namespace Vorn::Vorncast::Decoders;
using namespace Jpeg2000Testing;

namespace {

constexpr uint8_t Untouched = 0xA5;

struct Decoded {
    bool ok = false;
    std::vector<uint8_t> picture;
    Jpeg2000PictureInfo info;
    std::string failure;
};

Decoded DecodeAs(Jpeg2000Format format, const std::vector<uint8_t>& data, size_t outputSize) {
    Jpeg2000Decoder decoder;
    Decoded result;
    result.picture.assign(outputSize, Untouched);
    result.ok =
        decoder.Decode(format, data.data(), data.size(), result.picture.data(), outputSize, &result.info);
    result.failure = decoder.FailureText();
    return result;
}

std::vector<uint8_t> EncodeRgb(int width, int height, EncodeOptions options = {}) {
    return Encode(RgbPlanes(MakeRgbPicture(width, height), width, height), width, height, options);
}

std::vector<uint8_t> EncodeGrey(int width, int height, EncodeOptions options = {}) {
    return Encode(GreyPlanes(MakeGreyPicture(width, height)), width, height, options);
}

bool AllUntouched(const std::vector<uint8_t>& bytes) {
    for (uint8_t byte : bytes) {
        if (byte != Untouched) {
            return false;
        }
    }
    return true;
}

// A lossless picture must come back exactly, in blue-first order, top row first.
struct LosslessCase {
    const char* name;
    int width;
    int height;
    bool colour;
    EncodeOptions options;
};

void PrintTo(const LosslessCase& c, std::ostream* out) {
    *out << c.name;
}

class Jpeg2000Lossless : public testing::TestWithParam<LosslessCase> {};

TEST_P(Jpeg2000Lossless, DecodesTheEncodedPictureExactly) {
    const LosslessCase& c = GetParam();
    std::vector<uint8_t> source =
        c.colour ? MakeRgbPicture(c.width, c.height) : MakeGreyPicture(c.width, c.height);
    std::vector<uint8_t> encoded = Encode(
        c.colour ? RgbPlanes(source, c.width, c.height) : GreyPlanes(source), c.width, c.height, c.options);
    ASSERT_FALSE(encoded.empty());
    std::vector<uint8_t> expected = c.colour ? ToBgr(source) : source;

    Jpeg2000Format format = c.options.jp2 ? Jpeg2000Format::Jp2File : Jpeg2000Format::Codestream;
    Decoded decoded = DecodeAs(format, encoded, expected.size());
    ASSERT_TRUE(decoded.ok) << decoded.failure;
    EXPECT_EQ(decoded.picture, expected);
    EXPECT_EQ(decoded.info.width, c.width);
    EXPECT_EQ(decoded.info.height, c.height);
    EXPECT_EQ(decoded.info.colour, c.colour);
    EXPECT_EQ(decoded.failure, "");

    std::vector<uint8_t> oneCall(expected.size());
    EXPECT_TRUE(Jpeg2000Decode(c.options.jp2, static_cast<uint32_t>(encoded.size()), encoded.data(),
                               oneCall.data(), static_cast<uint32_t>(oneCall.size())));
    EXPECT_EQ(oneCall, expected);
    std::vector<uint8_t> detected(expected.size());
    EXPECT_TRUE(JasperDecode(encoded.data(), static_cast<uint32_t>(encoded.size()), detected.data(),
                             static_cast<uint32_t>(detected.size())));
    EXPECT_EQ(detected, expected);
}

EncodeOptions Jp2() {
    EncodeOptions options;
    options.jp2 = true;
    return options;
}

EncodeOptions Tiled(bool jp2) {
    EncodeOptions options;
    options.jp2 = jp2;
    options.tileSize = 16;
    return options;
}

EncodeOptions WithTransform() {
    EncodeOptions options;
    options.multipleComponentTransform = true;
    return options;
}

INSTANTIATE_TEST_SUITE_P(Pictures, Jpeg2000Lossless,
                         testing::Values(LosslessCase{"ColourCodestream", 64, 48, true, {}},
                                         LosslessCase{"ColourJp2", 64, 48, true, Jp2()},
                                         LosslessCase{"GreyCodestream", 40, 30, false, {}},
                                         LosslessCase{"GreyJp2", 40, 30, false, Jp2()},
                                         LosslessCase{"OddSizeColour", 37, 23, true, {}},
                                         LosslessCase{"OddSizeGrey", 37, 23, false, Jp2()},
                                         LosslessCase{"TiledColour", 50, 35, true, Tiled(false)},
                                         LosslessCase{"TiledGreyJp2", 50, 35, false, Tiled(true)},
                                         LosslessCase{"ColourTransform", 48, 32, true, WithTransform()}),
                         [](const testing::TestParamInfo<LosslessCase>& info) { return info.param.name; });

TEST(Jpeg2000Lossy, StaysCloseToTheSource) {
    const int width = 96, height = 64;
    EncodeOptions options;
    options.lossless = false;
    options.compressionRatio = 8.0f;
    options.multipleComponentTransform = true;
    for (bool jp2 : {false, true}) {
        options.jp2 = jp2;
        std::vector<uint8_t> encoded = EncodeRgb(width, height, options);
        ASSERT_FALSE(encoded.empty());
        std::vector<uint8_t> expected = ToBgr(MakeRgbPicture(width, height));
        Decoded decoded =
            DecodeAs(jp2 ? Jpeg2000Format::Jp2File : Jpeg2000Format::Codestream, encoded, expected.size());
        ASSERT_TRUE(decoded.ok) << decoded.failure;
        EXPECT_GT(Psnr(decoded.picture, expected), 30.0) << "jp2 " << jp2;
    }
}

// Samples of other precisions and signedness are brought to unsigned 8 bits.
TEST(Jpeg2000Samples, OtherPrecisionsScaleToEightBits) {
    const int width = 20, height = 10;
    struct Case {
        int precision;
        bool isSigned;
        int32_t (*sample)(int index);
        uint8_t (*expected)(int index);
    };
    const Case cases[] = {
        {12, false, [](int i) { return (i * 37) % 4096; },
         [](int i) { return uint8_t(((i * 37) % 4096) >> 4); }},
        {4, false, [](int i) { return i % 16; }, [](int i) { return uint8_t((i % 16) * 17); }},
        {8, true, [](int i) { return (i % 256) - 128; }, [](int i) { return uint8_t(i % 256); }},
        {16, true, [](int i) { return (i * 331) % 65536 - 32768; },
         [](int i) { return uint8_t(((i * 331) % 65536) >> 8); }},
    };
    for (const Case& c : cases) {
        Plane plane;
        std::vector<uint8_t> expected;
        for (int i = 0; i < width * height; ++i) {
            plane.samples.push_back(c.sample(i));
            expected.push_back(c.expected(i));
        }
        EncodeOptions options;
        options.precision = c.precision;
        options.isSigned = c.isSigned;
        std::vector<uint8_t> encoded = Encode({plane}, width, height, options);
        ASSERT_FALSE(encoded.empty());
        Decoded decoded = DecodeAs(Jpeg2000Format::Codestream, encoded, expected.size());
        ASSERT_TRUE(decoded.ok) << decoded.failure;
        EXPECT_EQ(decoded.picture, expected) << "precision " << c.precision << " signed " << c.isSigned;
    }
}

TEST(Jpeg2000Samples, TwoComponentsGiveGreyInThreePlanes) {
    const int width = 16, height = 8;
    std::vector<uint8_t> grey = MakeGreyPicture(width, height);
    std::vector<Plane> planes = GreyPlanes(grey);
    planes.push_back(Plane{1, 1, std::vector<int32_t>(grey.size(), 255)});
    std::vector<uint8_t> encoded = Encode(planes, width, height, {});
    Decoded decoded = DecodeAs(Jpeg2000Format::Codestream, encoded, grey.size() * 3);
    ASSERT_TRUE(decoded.ok) << decoded.failure;
    EXPECT_TRUE(decoded.info.colour);
    for (size_t i = 0; i < grey.size(); ++i) {
        ASSERT_EQ(decoded.picture[i * 3], grey[i]);
        ASSERT_EQ(decoded.picture[i * 3 + 1], grey[i]);
        ASSERT_EQ(decoded.picture[i * 3 + 2], grey[i]);
    }
}

// YCbCr with half-size chroma, as many cameras write it: converted back to RGB.
TEST(Jpeg2000Samples, SubsampledYccConvertsToRgb) {
    const int width = 64, height = 48;
    std::vector<uint8_t> rgb = MakeRgbPicture(width, height);
    std::vector<Plane> planes(3);
    planes[1].dx = planes[1].dy = planes[2].dx = planes[2].dy = 2;
    planes[0].samples.resize(static_cast<size_t>(width) * height);
    planes[1].samples.resize(static_cast<size_t>(width / 2) * (height / 2));
    planes[2].samples.resize(planes[1].samples.size());
    for (int y = 0; y < height; ++y) {
        for (int x = 0; x < width; ++x) {
            const uint8_t* p = &rgb[(static_cast<size_t>(y) * width + x) * 3];
            double r = p[0], g = p[1], b = p[2];
            planes[0].samples[static_cast<size_t>(y) * width + x] =
                int32_t(0.299 * r + 0.587 * g + 0.114 * b + 0.5);
            if (x % 2 == 0 && y % 2 == 0) {
                size_t i = static_cast<size_t>(y / 2) * (width / 2) + x / 2;
                planes[1].samples[i] = int32_t(128 - 0.168736 * r - 0.331264 * g + 0.5 * b + 0.5);
                planes[2].samples[i] = int32_t(128 + 0.5 * r - 0.418688 * g - 0.081312 * b + 0.5);
            }
        }
    }
    std::vector<uint8_t> expected = ToBgr(rgb);
    for (bool jp2 : {true, false}) {
        EncodeOptions options;
        options.jp2 = jp2;
        options.ycc = true;
        std::vector<uint8_t> encoded = Encode(planes, width, height, options);
        ASSERT_FALSE(encoded.empty());
        Decoded decoded =
            DecodeAs(jp2 ? Jpeg2000Format::Jp2File : Jpeg2000Format::Codestream, encoded, expected.size());
        ASSERT_TRUE(decoded.ok) << decoded.failure;
        EXPECT_GT(Psnr(decoded.picture, expected), 28.0) << "jp2 " << jp2;
    }
}

TEST(Jpeg2000Header, ReportsSizeAndColourWithoutDecoding) {
    std::vector<uint8_t> colour = EncodeRgb(33, 17, Jp2());
    std::vector<uint8_t> grey = EncodeGrey(21, 9);
    Jpeg2000PictureInfo info;
    ASSERT_TRUE(Jpeg2000ReadHeader(colour.data(), static_cast<uint32_t>(colour.size()), &info));
    EXPECT_EQ(info.width, 33);
    EXPECT_EQ(info.height, 17);
    EXPECT_EQ(info.components, 3);
    EXPECT_TRUE(info.colour);
    ASSERT_TRUE(Jpeg2000ReadHeader(grey.data(), static_cast<uint32_t>(grey.size()), &info));
    EXPECT_EQ(info.width, 21);
    EXPECT_EQ(info.height, 9);
    EXPECT_EQ(info.components, 1);
    EXPECT_FALSE(info.colour);

    // Only the main header is needed: the tile data may be missing.
    size_t firstTile = ByteView(grey.data(), grey.size()).Find("\xFF\x90");
    ASSERT_NE(firstTile, ByteView::npos);
    std::vector<uint8_t> headerOnly(grey.begin(), grey.begin() + static_cast<long>(firstTile) + 12);
    EXPECT_TRUE(Jpeg2000ReadHeader(headerOnly.data(), static_cast<uint32_t>(headerOnly.size()), &info));
}

// Recorders put their own header in front of the picture; the detecting path passes over it.
TEST(Jpeg2000Detection, FindsThePictureBehindARecorderHeader) {
    const int width = 24, height = 16;
    std::vector<uint8_t> expected = ToBgr(MakeRgbPicture(width, height));
    for (bool jp2 : {false, true}) {
        EncodeOptions options;
        options.jp2 = jp2;
        std::vector<uint8_t> encoded = EncodeRgb(width, height, options);
        std::vector<uint8_t> framed(99, 0x11);
        framed.insert(framed.end(), encoded.begin(), encoded.end());
        std::vector<uint8_t> picture(expected.size());
        ASSERT_TRUE(JasperDecode(framed.data(), static_cast<uint32_t>(framed.size()), picture.data(),
                                 static_cast<uint32_t>(picture.size())));
        EXPECT_EQ(picture, expected) << "jp2 " << jp2;
        Jpeg2000PictureInfo info;
        ASSERT_TRUE(Jpeg2000ReadHeader(framed.data(), static_cast<uint32_t>(framed.size()), &info));
        EXPECT_EQ(info.width, width);
    }
}

// A caller may hand over its whole buffer, with stale bytes behind the frame.
TEST(Jpeg2000Detection, BytesBehindTheCodestreamAreIgnored) {
    const int width = 24, height = 16;
    std::vector<uint8_t> expected = ToBgr(MakeRgbPicture(width, height));
    for (bool jp2 : {false, true}) {
        EncodeOptions options;
        options.jp2 = jp2;
        std::vector<uint8_t> encoded = EncodeRgb(width, height, options);
        encoded.resize(encoded.size() + 300, 0xEE);
        Decoded decoded =
            DecodeAs(jp2 ? Jpeg2000Format::Jp2File : Jpeg2000Format::Codestream, encoded, expected.size());
        ASSERT_TRUE(decoded.ok) << decoded.failure;
        EXPECT_EQ(decoded.picture, expected);
    }
}

TEST(Jpeg2000Failures, Jp2PathNeedsTheSignatureBox) {
    std::vector<uint8_t> codestream = EncodeRgb(16, 16);
    Decoded decoded = DecodeAs(Jpeg2000Format::Jp2File, codestream, 16 * 16 * 3);
    EXPECT_FALSE(decoded.ok);
    EXPECT_EQ(decoded.failure, Jp2SignatureMissingText);
    EXPECT_TRUE(AllUntouched(decoded.picture));

    std::vector<uint8_t> file = EncodeRgb(16, 16, Jp2());
    file[9] ^= 0xFF; // inside the signature's content
    decoded = DecodeAs(Jpeg2000Format::Jp2File, file, 16 * 16 * 3);
    EXPECT_FALSE(decoded.ok);
    EXPECT_EQ(decoded.failure, Jp2SignatureMissingText);

    std::vector<uint8_t> intact = EncodeRgb(16, 16, Jp2());
    std::vector<uint8_t> signatureOnly(intact.begin(), intact.begin() + 12);
    decoded = DecodeAs(Jpeg2000Format::Jp2File, signatureOnly, 16);
    EXPECT_EQ(decoded.failure, Jp2FileTypeMissingText);
}

TEST(Jpeg2000Failures, Jp2PathNeedsTheFileTypeBoxNext) {
    std::vector<uint8_t> file = EncodeRgb(16, 16, Jp2());
    ASSERT_EQ(std::string(file.begin() + 16, file.begin() + 20), "ftyp");
    file[16] = 'X';
    Decoded decoded = DecodeAs(Jpeg2000Format::Jp2File, file, 16 * 16 * 3);
    EXPECT_FALSE(decoded.ok);
    EXPECT_EQ(decoded.failure, Jp2FileTypeMissingText);
    EXPECT_TRUE(AllUntouched(decoded.picture));
}

TEST(Jpeg2000Failures, WrongWrappingFails) {
    std::vector<uint8_t> file = EncodeRgb(16, 16, Jp2());
    Decoded decoded = DecodeAs(Jpeg2000Format::Codestream, file, 16 * 16 * 3);
    EXPECT_FALSE(decoded.ok);
    EXPECT_NE(decoded.failure, "");
}

TEST(Jpeg2000Failures, EveryCutOfTheDataFails) {
    for (bool jp2 : {false, true}) {
        EncodeOptions options;
        options.jp2 = jp2;
        options.tileSize = 16;
        std::vector<uint8_t> encoded = EncodeRgb(32, 32, options);
        ASSERT_FALSE(encoded.empty());
        Jpeg2000Format format = jp2 ? Jpeg2000Format::Jp2File : Jpeg2000Format::Codestream;
        std::vector<size_t> cuts = {encoded.size() - 1, encoded.size() - 2};
        for (size_t cut = 0; cut < encoded.size(); cut += (cut < 200 ? 1 : 7)) {
            cuts.push_back(cut);
        }
        for (size_t cut : cuts) {
            std::vector<uint8_t> shortened(encoded.begin(), encoded.begin() + static_cast<long>(cut));
            Decoded decoded = DecodeAs(format, shortened, 32 * 32 * 3);
            EXPECT_FALSE(decoded.ok) << "jp2 " << jp2 << " cut at " << cut << " of " << encoded.size();
            EXPECT_NE(decoded.failure, "");
        }
    }
}

TEST(Jpeg2000Failures, DamagedHeaderFails) {
    std::vector<uint8_t> encoded = EncodeRgb(16, 16);
    // SIZ: marker at 2, Lsiz 4, Rsiz 6, Xsiz 8: a picture of width 0.
    std::vector<uint8_t> zeroWidth = encoded;
    std::memset(&zeroWidth[8], 0, 4);
    EXPECT_FALSE(DecodeAs(Jpeg2000Format::Codestream, zeroWidth, 16 * 16 * 3).ok);
    // Csiz (component count) 0.
    std::vector<uint8_t> noComponents = encoded;
    noComponents[40] = 0;
    noComponents[41] = 0;
    EXPECT_FALSE(DecodeAs(Jpeg2000Format::Codestream, noComponents, 16 * 16 * 3).ok);
    // A picture far beyond the library's size limit.
    std::vector<uint8_t> huge = encoded;
    huge[8] = huge[12] = 0x7F;
    Decoded decoded = DecodeAs(Jpeg2000Format::Codestream, huge, 16 * 16 * 3);
    EXPECT_FALSE(decoded.ok);
    EXPECT_TRUE(AllUntouched(decoded.picture));
}

// Damage inside the tile data must never read or write out of bounds; the result may go either way.
TEST(Jpeg2000Failures, DamagedTileDataIsSurvived) {
    std::vector<uint8_t> encoded = EncodeRgb(32, 32);
    for (size_t at = 100; at < encoded.size(); at += 3) {
        std::vector<uint8_t> damaged = encoded;
        damaged[at] ^= 0x5A;
        DecodeAs(Jpeg2000Format::Codestream, damaged, 32 * 32 * 3);
    }
}

TEST(Jpeg2000Failures, SmallOutputBufferIsNotWritten) {
    std::vector<uint8_t> encoded = EncodeRgb(16, 16);
    Decoded decoded = DecodeAs(Jpeg2000Format::Codestream, encoded, 16 * 16 * 3 - 1);
    EXPECT_FALSE(decoded.ok);
    EXPECT_EQ(decoded.failure, Jpeg2000OutputTooSmallText);
    EXPECT_TRUE(AllUntouched(decoded.picture));
    decoded = DecodeAs(Jpeg2000Format::Codestream, encoded, 16 * 16 * 3);
    EXPECT_TRUE(decoded.ok);
}

TEST(Jpeg2000Failures, EmptyAndForeignDataFail) {
    Jpeg2000Decoder decoder;
    uint8_t picture[16];
    EXPECT_FALSE(decoder.Decode(Jpeg2000Format::Codestream, nullptr, 0, picture, sizeof picture));
    EXPECT_FALSE(decoder.DecodeAnyFormat(nullptr, 0, picture, sizeof picture));
    EXPECT_STREQ(decoder.FailureText(), Jpeg2000NotFoundText);
    std::vector<uint8_t> encoded = EncodeGrey(4, 4);
    EXPECT_FALSE(decoder.Decode(Jpeg2000Format::Codestream, encoded.data(), encoded.size(), nullptr, 16));
    std::vector<uint8_t> jpeg = {0xFF, 0xD8, 0xFF, 0xE0, 0x00, 0x10, 'J', 'F', 'I', 'F', 0x00};
    EXPECT_FALSE(JasperDecode(jpeg.data(), static_cast<uint32_t>(jpeg.size()), picture, sizeof picture));
    Jpeg2000PictureInfo info;
    EXPECT_FALSE(Jpeg2000ReadHeader(jpeg.data(), static_cast<uint32_t>(jpeg.size()), &info));
}

// The failure text of one frame does not stick to the next.
TEST(Jpeg2000Failures, FailureTextIsClearedBySuccess) {
    Jpeg2000Decoder decoder;
    std::vector<uint8_t> encoded = EncodeGrey(8, 8);
    std::vector<uint8_t> picture(64);
    EXPECT_FALSE(decoder.Decode(Jpeg2000Format::Jp2File, encoded.data(), encoded.size(), picture.data(), 64));
    EXPECT_STREQ(decoder.FailureText(), Jp2SignatureMissingText);
    EXPECT_TRUE(
        decoder.Decode(Jpeg2000Format::Codestream, encoded.data(), encoded.size(), picture.data(), 64));
    EXPECT_STREQ(decoder.FailureText(), "");
}

} // namespace
