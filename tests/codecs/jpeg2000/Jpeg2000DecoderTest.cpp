#include "codecs/jpeg2000/Jpeg2000Decoder.h"
#include "core/binary/ByteView.h"
#include "fixtures/jpeg2000/Jpeg2000TestEncoder.h"

#include <gtest/gtest.h>

#include <algorithm>
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

Decoded DecodeAs(bool jp2, const std::vector<uint8_t>& data, size_t outputSize) {
    Jpeg2000Decoder decoder;
    Decoded result;
    result.picture.assign(outputSize, Untouched);
    result.ok = decoder.Decode(jp2 ? Jpeg2000Format::Jp2File : Jpeg2000Format::Codestream, data.data(),
                               data.size(), result.picture.data(), outputSize, &result.info);
    result.failure = decoder.FailureText();
    return result;
}

std::vector<uint8_t> EncodeRgb(int width, int height, EncodeOptions options = {}) {
    return Encode(RgbPlanes(MakeRgbPicture(width, height), width, height), width, height, options);
}

// A lossless picture comes back exactly, in blue-first order, top row first.
TEST(Jpeg2000Lossless, DecodesTheEncodedPictureExactly) {
    struct Case {
        const char* name;
        int width;
        int height;
        bool colour;
        EncodeOptions options;
    };
    const Case cases[] = {{"colour codestream", 64, 48, true, {}},
                          {"colour JP2", 64, 48, true, {.jp2 = true}},
                          {"grey codestream", 40, 30, false, {}},
                          {"grey JP2", 40, 30, false, {.jp2 = true}},
                          {"odd-size colour", 37, 23, true, {}},
                          {"odd-size grey", 37, 23, false, {.jp2 = true}},
                          {"tiled colour", 50, 35, true, {.tileSize = 16}},
                          {"tiled grey JP2", 50, 35, false, {.jp2 = true, .tileSize = 16}},
                          {"colour transform", 48, 32, true, {.multipleComponentTransform = true}}};
    for (const Case& c : cases) {
        std::vector<uint8_t> source =
            c.colour ? MakeRgbPicture(c.width, c.height) : MakeGreyPicture(c.width, c.height);
        std::vector<uint8_t> encoded =
            Encode(c.colour ? RgbPlanes(source, c.width, c.height) : GreyPlanes(source), c.width, c.height,
                   c.options);
        std::vector<uint8_t> expected = c.colour ? ToBgr(source) : source;
        Decoded decoded = DecodeAs(c.options.jp2, encoded, expected.size());
        ASSERT_TRUE(decoded.ok) << c.name << ": " << decoded.failure;
        EXPECT_EQ(decoded.picture, expected) << c.name;
        EXPECT_EQ(std::vector<int32_t>({decoded.info.width, decoded.info.height, decoded.info.colour}),
                  std::vector<int32_t>({c.width, c.height, c.colour}))
            << c.name;
    }
}

// YCbCr with half-size chroma, as many cameras write it, comes back close to the RGB picture.
TEST(Jpeg2000Pictures, SubsampledYccPicturesStayClose) {
    const int width = 64, height = 48;
    std::vector<uint8_t> rgb = MakeRgbPicture(width, height);
    std::vector<uint8_t> expected = ToBgr(rgb);
    std::vector<Plane> ycc(3);
    ycc[1].dx = ycc[1].dy = ycc[2].dx = ycc[2].dy = 2;
    for (size_t pixel = 0; pixel < rgb.size() / 3; ++pixel) {
        const uint8_t* p = &rgb[pixel * 3];
        ycc[0].samples.push_back(int32_t(0.299 * p[0] + 0.587 * p[1] + 0.114 * p[2] + 0.5));
        if (pixel % width % 2 == 0 && pixel / width % 2 == 0) {
            ycc[1].samples.push_back(int32_t(128.5 - 0.168736 * p[0] - 0.331264 * p[1] + 0.5 * p[2]));
            ycc[2].samples.push_back(int32_t(128.5 + 0.5 * p[0] - 0.418688 * p[1] - 0.081312 * p[2]));
        }
    }
    for (bool jp2 : {false, true}) {
        Decoded decoded =
            DecodeAs(jp2, Encode(ycc, width, height, {.jp2 = jp2, .ycc = true}), expected.size());
        ASSERT_TRUE(decoded.ok) << decoded.failure;
        EXPECT_GT(Psnr(decoded.picture, expected), 28.0) << "jp2 " << jp2;
    }
}

// Samples of other precisions and signedness are brought to unsigned 8 bits; a second component
// (grey and alpha) makes a colour picture of three equal planes.
TEST(Jpeg2000Pictures, SamplesScaleToEightBits) {
    const int width = 20, height = 10, count = width * height;
    struct Case {
        int precision;
        bool isSigned;
        int32_t (*sample)(int index);
        int (*expected)(int index);
    };
    const Case cases[] = {
        {12, false, [](int i) { return (i * 37) % 4096; }, [](int i) { return ((i * 37) % 4096) >> 4; }},
        {4, false, [](int i) { return i % 16; }, [](int i) { return (i % 16) * 17; }},
        {8, true, [](int i) { return (i % 256) - 128; }, [](int i) { return i % 256; }},
        {16, true, [](int i) { return (i * 331) % 65536 - 32768; },
         [](int i) { return ((i * 331) % 65536) >> 8; }},
    };
    for (const Case& c : cases) {
        Plane plane;
        std::vector<uint8_t> expected;
        for (int i = 0; i < count; ++i) {
            plane.samples.push_back(c.sample(i));
            expected.push_back(static_cast<uint8_t>(c.expected(i)));
        }
        EncodeOptions options{.precision = c.precision, .isSigned = c.isSigned};
        Decoded decoded = DecodeAs(false, Encode({plane}, width, height, options), expected.size());
        ASSERT_TRUE(decoded.ok) << decoded.failure;
        EXPECT_EQ(decoded.picture, expected) << "precision " << c.precision << " signed " << c.isSigned;
    }
    std::vector<uint8_t> grey = MakeGreyPicture(width, height);
    std::vector<Plane> withAlpha = GreyPlanes(grey);
    withAlpha.push_back(Plane{1, 1, std::vector<int32_t>(grey.size(), 255)});
    Decoded decoded = DecodeAs(false, Encode(withAlpha, width, height, {}), grey.size() * 3);
    ASSERT_TRUE(decoded.ok) << decoded.failure;
    EXPECT_TRUE(decoded.info.colour);
    for (size_t i = 0; i < decoded.picture.size(); ++i) {
        ASSERT_EQ(decoded.picture[i], grey[i / 3]) << i;
    }
}

// The header alone, up to the first tile, gives size and colour.
TEST(Jpeg2000Pictures, HeaderBeforeTheFirstTileGivesSizeAndColour) {
    std::vector<uint8_t> grey = Encode(GreyPlanes(MakeGreyPicture(21, 9)), 21, 9, {});
    size_t firstTile = ByteView(grey.data(), grey.size()).Find("\xFF\x90");
    ASSERT_NE(firstTile, ByteView::npos);
    Jpeg2000PictureInfo info;
    ASSERT_TRUE(Jpeg2000ReadHeader(grey.data(), static_cast<uint32_t>(firstTile + 12), &info));
    EXPECT_EQ(std::vector<int32_t>({info.width, info.height, info.colour}), std::vector<int32_t>({21, 9, 0}));
}

// Damaged boxes, picture sizes and too small an output fail with their text and write nothing.
TEST(Jpeg2000Failures, DamageFailsWithItsTextWithoutWriting) {
    const std::vector<uint8_t> file = EncodeRgb(16, 16, {.jp2 = true});
    const std::vector<uint8_t> codestream = EncodeRgb(16, 16);
    auto changed = [](std::vector<uint8_t> bytes, size_t at, size_t count, uint8_t value) {
        std::fill_n(bytes.begin() + static_cast<std::ptrdiff_t>(at), count, value);
        return bytes;
    };
    struct Damage {
        const char* name;
        bool jp2;
        std::vector<uint8_t> bytes;
        const char* text; // null: any text
        size_t outputSize;
    };
    // SIZ fields of a codestream: Xsiz at 8, Ysiz at 12, Csiz at 40.
    const Damage damages[] = {
        {"codestream as JP2", true, codestream, Jp2SignatureMissingText, 768},
        {"signature", true, changed(file, 9, 1, 0x00), Jp2SignatureMissingText, 768},
        {"no file type box", true, {file.begin(), file.begin() + 12}, Jp2FileTypeMissingText, 768},
        {"file type", true, changed(file, 16, 1, 'X'), Jp2FileTypeMissingText, 768},
        {"JP2 as codestream", false, file, nullptr, 768},
        {"zero width", false, changed(codestream, 8, 4, 0), nullptr, 768},
        {"no components", false, changed(codestream, 40, 2, 0), nullptr, 768},
        {"huge", false, changed(changed(codestream, 8, 1, 0x7F), 12, 1, 0x7F), nullptr, 768},
        {"output one byte short", false, codestream, Jpeg2000OutputTooSmallText, 767},
    };
    for (const Damage& damage : damages) {
        Decoded decoded = DecodeAs(damage.jp2, damage.bytes, damage.outputSize);
        EXPECT_FALSE(decoded.ok) << damage.name;
        EXPECT_EQ(decoded.failure, damage.text ? damage.text : decoded.failure) << damage.name;
        EXPECT_EQ(decoded.picture, std::vector<uint8_t>(damage.outputSize, Untouched)) << damage.name;
    }
}

TEST(Jpeg2000Failures, EveryCutOfTheDataFails) {
    for (bool jp2 : {false, true}) {
        std::vector<uint8_t> encoded = EncodeRgb(32, 32, {.jp2 = jp2, .tileSize = 16});
        // Every cut through the headers and the last bytes, every seventh through the rest.
        for (size_t cut = 0; cut < encoded.size(); cut += (cut < 200 || cut + 9 > encoded.size() ? 1 : 7)) {
            Decoded decoded =
                DecodeAs(jp2, std::vector<uint8_t>(encoded.begin(), encoded.begin() + long(cut)), 3072);
            EXPECT_FALSE(decoded.ok) << "jp2 " << jp2 << " cut at " << cut << " of " << encoded.size();
        }
    }
}

TEST(Jpeg2000Failures, MissingInputOrOutputAndOtherPictures) {
    std::vector<uint8_t> encoded = EncodeRgb(16, 16);
    Jpeg2000Decoder decoder;
    uint8_t picture[16];
    EXPECT_FALSE(
        decoder.Decode(Jpeg2000Format::Codestream, encoded.data(), encoded.size(), nullptr, 16 * 16 * 3));
    EXPECT_FALSE(decoder.Decode(Jpeg2000Format::Codestream, nullptr, 0, picture, sizeof picture));
    EXPECT_FALSE(decoder.DecodeAnyFormat(nullptr, 0, picture, sizeof picture));
    const uint8_t jpeg[] = {0xFF, 0xD8, 0xFF, 0xE0, 0x00, 0x10, 'J', 'F', 'I', 'F', 0x00};
    EXPECT_FALSE(JasperDecode(jpeg, sizeof jpeg, picture, sizeof picture));
    Jpeg2000PictureInfo info;
    EXPECT_FALSE(Jpeg2000ReadHeader(jpeg, sizeof jpeg, &info));
}

} // namespace
