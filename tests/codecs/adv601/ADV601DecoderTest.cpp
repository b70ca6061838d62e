#include "codecs/adv601/ADV601Decoder.h"
#include "fixtures/adv601/Adv601TestEncoder.h"
#include "fixtures/adv601/Adv601TestPictures.h"
#include "fixtures/jpeg/JpegTestSupport.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <string>
#include <vector>

using namespace Vorn::Vorncast::Decoders;
using namespace Vorn::Vorncast::Decoders::Testing;

namespace {

constexpr uint8_t Guard = 0xA5;
constexpr size_t GuardBytes = 64;

struct Decoded {
    bool ok = false;
    std::string error;
    std::vector<uint8_t> picture;
};

// Decodes a copy of `field` into a picture buffer followed by guard bytes, which must survive.
Decoded DecodeWith(ADV601Decoder& decoder, std::vector<uint8_t> field, bool tallField,
                   bool swapChroma = false) {
    auto size = static_cast<size_t>(ADV601Decoder::OutputSize(tallField));
    std::vector<uint8_t> output(size + GuardBytes, Guard);
    Decoded decoded;
    decoded.ok = decoder.Decode(tallField, swapChroma, field.data(), static_cast<int32_t>(field.size()),
                                output.data());
    decoded.error = decoder.LastError();
    EXPECT_TRUE(std::all_of(output.begin() + size, output.end(), [](uint8_t b) { return b == Guard; }));
    output.resize(size);
    decoded.picture = std::move(output);
    return decoded;
}

Decoded DecodeFresh(const std::vector<uint8_t>& field, bool tallField, bool swapChroma = false) {
    ADV601Decoder decoder;
    return DecodeWith(decoder, field, tallField, swapChroma);
}

PictureError Compare(const Adv601TestPicture& expected, const std::vector<uint8_t>& decoded) {
    return ComparePicture({ADV601FieldWidth, expected.height, 3, expected.bgr}, decoded.data(),
                          ADV601FieldWidth * 3);
}

// Pictures and their fields are built once: the encoder is slow in a sanitizer build.
struct BarsFixture {
    Adv601TestPicture picture = Adv601ColourBars(true);
    std::vector<uint8_t> field = EncodeAdv601(picture.bgr.data());
    std::vector<uint8_t> decoded = DecodeFresh(field, true).picture;
};

const BarsFixture& Bars() {
    static const BarsFixture bars;
    return bars;
}

// A field of empty blocks only: every coefficient zero, which is mid grey.
Adv601Field BlankField() {
    Adv601Field field;
    for (Adv601Block& block : field.blocks) {
        block.marker = ADV601MarkerEmpty;
    }
    return field;
}

// The block that a field ends with, whose values the decoder leaves for inspection.
const int32_t LastIndex = ADV601StreamOrder[ADV601BlockCount - 1];

int32_t BlockValueCount(int32_t index) {
    const ADV601BlockGeometry& block = ADV601Geometry(true)[index];
    return block.width * block.height;
}

std::vector<Adv601Token> Zeros(int32_t model, int32_t count) {
    return Adv601ModelTokens(model, std::vector<int32_t>(count, 0));
}

std::vector<uint8_t> WithLastBlock(uint8_t marker, uint16_t scale, const std::vector<Adv601Token>& tokens) {
    Adv601Field field = BlankField();
    field.blocks[LastIndex] = {marker, scale, tokens, {}};
    return WriteAdv601Field(field);
}

} // namespace

TEST(ADV601RoundTrip, TestPicturesComeBackInBothFieldHeights) {
    for (bool tallField : {true, false}) {
        for (const Adv601TestPicture& picture :
             {Adv601Gradient(tallField), Adv601ColourBars(tallField), Adv601Edges(tallField)}) {
            Decoded decoded =
                DecodeFresh(EncodeAdv601(picture.bgr.data(), {.tallField = tallField}), tallField);
            ASSERT_TRUE(decoded.ok) << decoded.error;
            PictureError error = Compare(picture, decoded.picture);
            EXPECT_GT(error.psnr, 45.0) << picture.height << " lines";
            EXPECT_LE(error.maximum, 8) << picture.height << " lines";
        }
    }
}

// Swapped chroma with the swap flag, another field type, header bytes and trailing bytes, and words
// stored the other way round at a start off a word boundary in memory all give the plain field's
// picture; the reversed words are turned round in place.
TEST(ADV601RoundTrip, VariantsOfAFieldDecodeToThePlainPicture) {
    Adv601Field field = EncodeAdv601Field(Bars().picture.bgr.data());
    std::vector<uint8_t> plain = WriteAdv601Field(field);
    std::vector<uint8_t> reversed = WriteAdv601Field(field, true);
    field.fieldType = ADV601FieldType2;
    for (size_t i = 0; i < field.headerBytes.size(); ++i) {
        field.headerBytes[i] = static_cast<uint8_t>(0xF0 + i);
    }
    std::vector<uint8_t> trailing = WriteAdv601Field(field);
    trailing.insert(trailing.end(), {0xFF, 0xFF, 0xFF, 0xFF, 0x12, 0x34, 0x56});
    const std::vector<uint8_t> swappedField = EncodeAdv601(Bars().picture.bgr.data(), {.swapChroma = true});
    for (const Decoded& decoded : {DecodeFresh(swappedField, true, true), DecodeFresh(trailing, true)}) {
        ASSERT_TRUE(decoded.ok) << decoded.error;
        EXPECT_EQ(decoded.picture, Bars().decoded);
    }
    EXPECT_LT(Compare(Bars().picture, DecodeFresh(swappedField, true).picture).psnr, 25.0);

    // Two bytes beyond the last whole word are no word and stay as they are.
    ASSERT_NE(plain, reversed);
    reversed.insert(reversed.begin(), 0x00);
    reversed.insert(reversed.end(), {0xAB, 0xCD});
    plain.insert(plain.begin(), 0x00);
    plain.insert(plain.end(), {0xAB, 0xCD});
    std::vector<uint8_t> output(ADV601Decoder::OutputSize(true));
    ADV601Decoder decoder;
    ASSERT_TRUE(decoder.Decode(true, false, reversed.data() + 1, static_cast<int32_t>(reversed.size() - 1),
                               output.data()))
        << decoder.LastError();
    EXPECT_EQ(output, Bars().decoded);
    EXPECT_EQ(reversed, plain);
}

TEST(ADV601RoundTrip, EmptyBlocksGiveMidGreyAndOnlyThoseBeforeTheLastSkipToADelimiter) {
    // All 42 blocks empty: the field ends with the last block's head word, with no delimiter to
    // skip to behind it.
    std::vector<uint8_t> field = WriteAdv601Field(BlankField());
    Adv601Field skipping = BlankField();
    skipping.blocks[ADV601StreamOrder[5]].wordsBeforeDelimiter = {0, 0x12345678, 0xFFFFFFFE, 0x7FFFFFFF};
    for (bool tallField : {true, false}) {
        for (const std::vector<uint8_t>& bytes : {field, WriteAdv601Field(skipping)}) {
            Decoded decoded = DecodeFresh(bytes, tallField);
            ASSERT_TRUE(decoded.ok) << decoded.error;
            // Luma 0 is level 112 of the studio range: (112 * 1.1643835306 + 0.5) cut to 130.
            EXPECT_TRUE(std::all_of(decoded.picture.begin(), decoded.picture.end(),
                                    [](uint8_t b) { return b == 130; }));
        }
    }
}

namespace {

// Each run of zeros followed by a value, so that a run of the wrong length shifts what comes
// after it.
std::vector<int32_t> RunsAndValues(const std::vector<int32_t>& runs, const std::vector<int32_t>& values) {
    std::vector<int32_t> block;
    for (size_t i = 0; i < std::max(runs.size(), values.size()); ++i) {
        if (i < runs.size()) {
            block.insert(block.end(), runs[i], 0);
        }
        block.push_back(values[i % values.size()]);
    }
    return block;
}

// Encodes `values`, padded with a run of zeros that ends at the end of the block, as the field's
// last block, decodes, and compares every value of the block.
void ExpectBlockValues(uint8_t marker, uint16_t scale, std::vector<int32_t> values) {
    ASSERT_LE(values.size(), static_cast<size_t>(BlockValueCount(LastIndex)));
    values.resize(BlockValueCount(LastIndex), 0);
    ADV601Decoder decoder;
    Decoded decoded = DecodeWith(
        decoder, WithLastBlock(marker, scale, Adv601ModelTokens(Adv601ModelOf(marker), values)), true);
    ASSERT_TRUE(decoded.ok) << decoded.error;
    for (size_t i = 0; i < values.size(); ++i) {
        ASSERT_EQ(decoder.LastBlockValues()[i], static_cast<float>(values[i] * (scale / 256.0)))
            << "value " << i << " with marker " << int{marker} << ", scale " << scale;
    }
}

} // namespace

// Both ends of every direct and escaped value range and of every run length, at the smallest and
// the largest quantiser step.
TEST(ADV601Models, EveryValueRangeAndRunLengthDecodes) {
    const std::vector<int32_t> values0 = {1,   -1,   123,  -123,  124,  -124,  251,   -251,
                                          252, -252, 2299, -2299, 2300, -2300, 35067, -35067};
    const std::vector<int32_t> runs0 = {1, 2, 3, 4, 5, 20, 21, 276, 277, 4372};
    const std::vector<int32_t> values1 = {1, -1, 32, -32, 33, -33, 544, -544, 545, -545, 8736, -8736};
    const std::vector<int32_t> runs1 = {1,   59,  60,  61,  62,  65,  66,  73,   74,   89,   90,  121,
                                        122, 185, 186, 313, 314, 569, 570, 1081, 1082, 2105, 2106};
    ExpectBlockValues(ADV601MarkerTable0, 0x0001, RunsAndValues(runs0, values0));
    ExpectBlockValues(ADV601MarkerTable0Second, 0xFFFF, RunsAndValues(runs0, values0));
    for (auto [marker, scale] :
         {std::pair{ADV601MarkerTable1, 0x0001}, std::pair{ADV601MarkerTable2, 0xFFFF}}) {
        ExpectBlockValues(marker, scale, RunsAndValues(runs1, values1));
        // The two longest runs, each too long to share the block with the others.
        ExpectBlockValues(marker, scale, RunsAndValues({0, 18489}, {1, -32}));
        ExpectBlockValues(marker, scale, RunsAndValues({0, 18490}, {1, -32}));
    }
}

namespace {

struct DamagedField {
    const char* what;
    std::vector<uint8_t> bytes;
    const char* failure;
};

std::vector<uint8_t> Changed(std::vector<uint8_t> bytes, size_t at, uint8_t value) {
    bytes[at] = value;
    return bytes;
}

std::vector<uint8_t> Cut(const std::vector<uint8_t>& bytes, size_t size) {
    return {bytes.begin(), bytes.begin() + static_cast<std::ptrdiff_t>(size)};
}

std::vector<uint8_t> WithMarker(int32_t streamPosition, uint8_t marker) {
    Adv601Field field = BlankField();
    field.blocks[ADV601StreamOrder[streamPosition]].marker = marker;
    return WriteAdv601Field(field);
}

} // namespace

TEST(ADV601Failures, EachDamageGivesItsTextLeavesTheOutputAloneAndTheNextFieldDecodes) {
    const std::vector<uint8_t>& good = Bars().field;
    const int32_t count = BlockValueCount(LastIndex);
    std::vector<Adv601Token> run0 = Zeros(0, count - 3);
    run0.push_back({255}); // a run of 4 where 3 values are left
    std::vector<Adv601Token> run1 = Zeros(1, count - 58);
    run1.push_back({123}); // a run of 59 where 58 values are left
    Adv601Field extraWord = BlankField();
    const int32_t first = ADV601StreamOrder[0];
    extraWord.blocks[first] = {ADV601MarkerTable0, 256, Zeros(0, BlockValueCount(first)), {0x12345678}};
    const DamagedField damages[] = {
        {"empty input", {}, "No start of field delimiter"},
        {"first word", Changed(good, 0, 0xFE), "No start of field delimiter"},
        {"field type 0x42", Changed(good, 7, 0x42), "Bad start of field delimiter"},
        {"field type 0x42, reversed words",
         Changed(EncodeAdv601(Bars().picture.bgr.data(), {}, true), 4, 0x42), "Bad start of field delimiter"},
        {"only the first word", Cut(good, 4), "Bad start of field delimiter"},
        {"marker of the first block", WithMarker(0, 0x80), "Bad marker at start of block"},
        {"marker in the middle", WithMarker(20, 0x90), "Bad marker at start of block"},
        {"marker of the last block", WithMarker(41, 0x85), "Bad marker at start of block"},
        {"word between block and delimiter", WriteAdv601Field(extraWord), "Failed to read start of marker"},
        {"cut in the middle", Cut(good, good.size() / 2), "Attempt to read beyond end of input buffer"},
        // Header and the first block's head word: the empty block finds no delimiter to skip to.
        {"empty block without delimiter", Cut(WriteAdv601Field(BlankField()), 24),
         "Attempt to read beyond end of input buffer"},
        {"model 0 run past the end", WithLastBlock(ADV601MarkerTable0, 256, run0), "Failed in DemodelBlock0"},
        {"model 1 run past the end", WithLastBlock(ADV601MarkerTable2, 256, run1),
         "Failed in DemodelBlock1 - passed block end"},
        {"model 1 longest run", WithLastBlock(ADV601MarkerTable1, 256, {{239, 65535, 16}}),
         "Failed in DemodelBlock1 - passed block end"},
        {"model 1 symbol 253", WithLastBlock(ADV601MarkerTable1, 256, {{33}, {253}}),
         "Failed in DemodelBlock1 - unexpected symbol"},
        {"model 1 symbol 253, table 2", WithLastBlock(ADV601MarkerTable2, 256, {{253}}),
         "Failed in DemodelBlock1 - unexpected symbol"},
    };
    ADV601Decoder decoder;
    for (const DamagedField& damaged : damages) {
        Decoded bad = DecodeWith(decoder, damaged.bytes, true);
        EXPECT_FALSE(bad.ok) << damaged.what;
        EXPECT_EQ(bad.error, damaged.failure) << damaged.what;
        EXPECT_TRUE(std::all_of(bad.picture.begin(), bad.picture.end(), [](uint8_t b) { return b == Guard; }))
            << damaged.what;

        Decoded good = DecodeWith(decoder, Bars().field, true);
        ASSERT_TRUE(good.ok) << "after " << damaged.what << ": " << good.error;
        EXPECT_EQ(good.picture, Bars().decoded) << "after " << damaged.what;
    }
}

// The test encoder takes its block geometry from the decoder's tables, so the round trips cannot
// see a wrong rounding there; a 243-line field halves to 122, 61, 31 and 16 lines.
TEST(ADV601Geometry, ShortFieldHalvesItsHeightRoundingUp) {
    using Row = std::array<int32_t, 6>; // index, plane, x, y, width, height
    const Row expected[] = {{0, ADV601PlaneY, 360, 0, 360, 243}, {3, ADV601PlaneY, 180, 122, 180, 121},
                            {6, ADV601PlaneY, 180, 0, 180, 122}, {13, ADV601PlaneU, 45, 61, 45, 61},
                            {26, ADV601PlaneV, 23, 0, 22, 31},   {27, ADV601PlaneY, 0, 31, 45, 30},
                            {30, ADV601PlaneY, 23, 16, 22, 15},  {41, ADV601PlaneV, 0, 0, 12, 16}};
    for (const Row& row : expected) {
        const ADV601BlockGeometry& block = ADV601Geometry(false)[row[0]];
        EXPECT_EQ((Row{row[0], block.plane, block.x, block.y, block.width, block.height}), row);
    }
}
