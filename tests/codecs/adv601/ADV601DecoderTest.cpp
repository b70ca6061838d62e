#include "codecs/adv601/ADV601Decoder.h"
#include "fixtures/adv601/Adv601TestEncoder.h"
#include "fixtures/adv601/Adv601TestPictures.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <set>
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
    bool guardIntact = false;
};

// Decodes a copy of `field` into a picture buffer followed by guard bytes that must survive.
Decoded DecodeWith(ADV601Decoder& decoder, std::vector<uint8_t> field, bool tallField,
                   bool swapChroma = false) {
    auto size = static_cast<size_t>(ADV601Decoder::OutputSize(tallField));
    std::vector<uint8_t> output(size + GuardBytes, Guard);
    Decoded decoded;
    decoded.ok = decoder.Decode(tallField, swapChroma, field.data(), static_cast<int32_t>(field.size()),
                                output.data());
    decoded.error = decoder.LastError();
    decoded.guardIntact =
        std::all_of(output.begin() + size, output.end(), [](uint8_t b) { return b == Guard; });
    output.resize(size);
    decoded.picture = std::move(output);
    return decoded;
}

Decoded DecodeFresh(const std::vector<uint8_t>& field, bool tallField, bool swapChroma = false) {
    ADV601Decoder decoder;
    return DecodeWith(decoder, field, tallField, swapChroma);
}

// Pictures and their fields are built once: the encoder is slow in a sanitizer build.
const Adv601TestPicture& Bars(bool tallField) {
    static const Adv601TestPicture tall = Adv601ColourBars(true);
    static const Adv601TestPicture shortField = Adv601ColourBars(false);
    return tallField ? tall : shortField;
}

const std::vector<uint8_t>& BarsField() {
    static const std::vector<uint8_t> field = EncodeAdv601(Bars(true).bgr.data());
    return field;
}

const std::vector<uint8_t>& BarsPicture() {
    static const std::vector<uint8_t> picture = DecodeFresh(BarsField(), true).picture;
    return picture;
}

// A field of empty blocks only: every coefficient zero, which is mid grey.
Adv601Field BlankField() {
    Adv601Field field;
    for (Adv601Block& block : field.blocks) {
        block.marker = ADV601MarkerEmpty;
    }
    return field;
}

int32_t BlockValueCount(int32_t index, bool tallField = true) {
    const ADV601BlockGeometry& block = ADV601Geometry(tallField)[index];
    return block.width * block.height;
}

// The block that a field ends with, whose values the decoder leaves for inspection.
const int32_t LastIndex = ADV601StreamOrder[ADV601BlockCount - 1];

// Zero-run tokens that bring a block from `filled` values to `count`.
std::vector<Adv601Token> Padding(int32_t model, int32_t filled, int32_t count) {
    return Adv601ModelTokens(model, std::vector<int32_t>(count - filled, 0));
}

void Append(std::vector<Adv601Token>& tokens, const std::vector<Adv601Token>& more) {
    tokens.insert(tokens.end(), more.begin(), more.end());
}

std::vector<uint8_t> WithLastBlock(uint8_t marker, uint16_t scale, const std::vector<Adv601Token>& tokens) {
    Adv601Field field = BlankField();
    field.blocks[LastIndex] = {marker, scale, tokens, {}};
    return WriteAdv601Field(field);
}

} // namespace

// ---- round trips ------------------------------------------------------------------------------

TEST(ADV601RoundTrip, TestPicturesComeBackInBothFieldHeights) {
    for (bool tallField : {true, false}) {
        for (const Adv601TestPicture& picture :
             {Adv601Gradient(tallField), Adv601ColourBars(tallField), Adv601Edges(tallField)}) {
            std::vector<uint8_t> field = EncodeAdv601(picture.bgr.data(), {.tallField = tallField});
            Decoded decoded = DecodeFresh(field, tallField);
            ASSERT_TRUE(decoded.ok) << decoded.error;
            EXPECT_TRUE(decoded.guardIntact);
            EXPECT_GT(Adv601Psnr(picture.bgr, decoded.picture), 45.0) << picture.height << " lines";
            EXPECT_LE(Adv601MaxDifference(picture.bgr, decoded.picture), 8) << picture.height << " lines";
        }
    }
}

TEST(ADV601RoundTrip, EveryBlockMarkerCarriesThePicture) {
    for (uint8_t marker :
         {ADV601MarkerTable0, ADV601MarkerTable0Second, ADV601MarkerTable1, ADV601MarkerTable2}) {
        Adv601EncoderOptions options;
        options.markers = {marker};
        std::vector<uint8_t> field = EncodeAdv601(Bars(true).bgr.data(), options);
        Decoded decoded = DecodeFresh(field, true);
        ASSERT_TRUE(decoded.ok) << decoded.error;
        EXPECT_GT(Adv601Psnr(Bars(true).bgr, decoded.picture), 45.0) << "marker " << int{marker};
    }
}

TEST(ADV601RoundTrip, FineQuantiserReachesTheWidestEscapes) {
    Adv601EncoderOptions options;
    options.lowBandScale = 8; // 1/32: the lowest band's values run into the thousands
    options.detailScale = 16;
    // The lowest bands stand at odd stream positions: they get model 0.
    options.markers = {ADV601MarkerTable1, ADV601MarkerTable0};
    Adv601TestPicture picture = Adv601Edges(true);
    Adv601Field field = EncodeAdv601Field(picture.bgr.data(), options);
    std::set<int32_t> symbols;
    for (const Adv601Block& block : field.blocks) {
        for (const Adv601Token& token : block.tokens) {
            symbols.insert(Adv601ModelOf(block.marker) * 1000 + token.symbol);
        }
    }
    // The 16-bit escape of model 0 and the 14-bit escape of model 1 are in use.
    EXPECT_TRUE(symbols.count(128));
    EXPECT_TRUE(symbols.count(1000 + 254));

    Decoded decoded = DecodeFresh(WriteAdv601Field(field), true);
    ASSERT_TRUE(decoded.ok) << decoded.error;
    EXPECT_GT(Adv601Psnr(picture.bgr, decoded.picture), 50.0);
    EXPECT_LE(Adv601MaxDifference(picture.bgr, decoded.picture), 3);
}

TEST(ADV601RoundTrip, LongZeroRunsFillWholeBlocks) {
    // A flat picture with no empty blocks: the large blocks are single runs of many thousand zeros.
    Adv601TestPicture picture = Adv601Flat(true, 40, 160, 90);
    Adv601EncoderOptions options;
    options.emptyWhenZero = false;
    for (uint8_t marker : {ADV601MarkerTable0, ADV601MarkerTable1}) {
        options.markers = {marker};
        Decoded decoded = DecodeFresh(EncodeAdv601(picture.bgr.data(), options), true);
        ASSERT_TRUE(decoded.ok) << decoded.error;
        EXPECT_LE(Adv601MaxDifference(picture.bgr, decoded.picture), 1) << "marker " << int{marker};
    }
}

TEST(ADV601RoundTrip, SwappedChromaNeedsTheSwapFlag) {
    Adv601EncoderOptions options;
    options.swapChroma = true;
    std::vector<uint8_t> field = EncodeAdv601(Bars(true).bgr.data(), options);
    Decoded swapped = DecodeFresh(field, true, true);
    ASSERT_TRUE(swapped.ok) << swapped.error;
    EXPECT_EQ(swapped.picture, BarsPicture());
    Decoded plain = DecodeFresh(field, true, false);
    ASSERT_TRUE(plain.ok);
    EXPECT_LT(Adv601Psnr(Bars(true).bgr, plain.picture), 25.0);
}

TEST(ADV601RoundTrip, ReversedWordsDecodeAlikeAndAreTurnedRoundInPlace) {
    Adv601Field field = EncodeAdv601Field(Bars(true).bgr.data());
    std::vector<uint8_t> plain = WriteAdv601Field(field);
    std::vector<uint8_t> reversed = WriteAdv601Field(field, true);
    ASSERT_NE(plain, reversed);
    // Two bytes beyond the last whole word are no word and stay as they are.
    reversed.push_back(0xAB);
    reversed.push_back(0xCD);

    ADV601Decoder decoder;
    std::vector<uint8_t> output(ADV601Decoder::OutputSize(true));
    ASSERT_TRUE(
        decoder.Decode(true, false, reversed.data(), static_cast<int32_t>(reversed.size()), output.data()))
        << decoder.LastError();
    EXPECT_EQ(output, BarsPicture());
    EXPECT_TRUE(std::equal(plain.begin(), plain.end(), reversed.begin()));
    EXPECT_EQ(reversed[plain.size()], 0xAB);
    EXPECT_EQ(reversed[plain.size() + 1], 0xCD);
}

TEST(ADV601RoundTrip, HeaderDetailsAndTrailingBytesDoNotMatter) {
    Adv601Field field = EncodeAdv601Field(Bars(true).bgr.data());
    field.fieldType = ADV601FieldType2;
    for (size_t i = 0; i < field.headerBytes.size(); ++i) {
        field.headerBytes[i] = static_cast<uint8_t>(0xF0 + i);
    }
    std::vector<uint8_t> bytes = WriteAdv601Field(field);
    bytes.insert(bytes.end(), {0xFF, 0xFF, 0xFF, 0xFF, 0x12, 0x34, 0x56});
    Decoded decoded = DecodeFresh(bytes, true);
    ASSERT_TRUE(decoded.ok) << decoded.error;
    EXPECT_EQ(decoded.picture, BarsPicture());
}

TEST(ADV601RoundTrip, FieldNeedNotLieOnAWordBoundaryInMemory) {
    std::vector<uint8_t> shifted(BarsField().size() + 1);
    std::copy(BarsField().begin(), BarsField().end(), shifted.begin() + 1);
    ADV601Decoder decoder;
    std::vector<uint8_t> output(ADV601Decoder::OutputSize(true));
    ASSERT_TRUE(decoder.Decode(true, false, shifted.data() + 1, static_cast<int32_t>(BarsField().size()),
                               output.data()));
    EXPECT_EQ(output, BarsPicture());
}

TEST(ADV601RoundTrip, EmptyBlocksGiveMidGreyAndTheLastOneIsNotFollowedByADelimiter) {
    // All 42 blocks empty: the field ends with the last block's head word, and only the blocks
    // before it look for a delimiter to skip to.
    std::vector<uint8_t> field = WriteAdv601Field(BlankField());
    EXPECT_EQ(field.size(), (5 + ADV601BlockCount * 2 - 1) * 4u);
    for (bool tallField : {true, false}) {
        Decoded decoded = DecodeFresh(field, tallField);
        ASSERT_TRUE(decoded.ok) << decoded.error;
        EXPECT_TRUE(decoded.guardIntact);
        // Luma 0 is level 112 of the studio range: (112 * 1.1643835306 + 0.5) cut to 130.
        EXPECT_TRUE(
            std::all_of(decoded.picture.begin(), decoded.picture.end(), [](uint8_t b) { return b == 130; }));
    }
}

TEST(ADV601RoundTrip, AnEmptyBlockSkipsWordsUpToItsDelimiter) {
    Adv601Field field = BlankField();
    field.blocks[ADV601StreamOrder[5]].wordsBeforeDelimiter = {0, 0x12345678, 0xFFFFFFFE, 0x7FFFFFFF};
    Decoded decoded = DecodeFresh(WriteAdv601Field(field), true);
    ASSERT_TRUE(decoded.ok) << decoded.error;
    EXPECT_EQ(decoded.picture, DecodeFresh(WriteAdv601Field(BlankField()), true).picture);
}

// ---- symbol models ----------------------------------------------------------------------------

namespace {

// A token and what it stands for: a value, or (run > 0) a run of zeros.
struct ModelCase {
    Adv601Token token;
    int32_t value;
    int32_t run;
};

ModelCase Literal(uint8_t symbol, int32_t value, uint32_t extra = 0, int32_t bits = 0) {
    return {{symbol, extra, bits}, value, 0};
}

ModelCase ZeroRun(uint8_t symbol, int32_t run, uint32_t extra = 0, int32_t bits = 0) {
    return {{symbol, extra, bits}, 0, run};
}

const std::vector<ModelCase> Model0Values = {
    Literal(5, -123),
    Literal(127, -1),
    Literal(129, 1),
    Literal(251, 123),
    Literal(0, 124, 0, 8),
    Literal(0, 251, 127, 8),
    Literal(0, -251, 128, 8),
    Literal(0, -124, 255, 8),
    Literal(1, 252, 0, 12),
    Literal(1, 2299, 2047, 12),
    Literal(1, -2299, 2048, 12),
    Literal(1, -252, 4095, 12),
    Literal(128, 2300, 0, 16),
    Literal(128, 35067, 32767, 16),
    Literal(128, -35067, 32768, 16),
    Literal(128, -2300, 65535, 16),
};

const std::vector<ModelCase> Model0Runs = {
    ZeroRun(252, 1),        ZeroRun(253, 2),
    ZeroRun(254, 3),        ZeroRun(255, 4),
    ZeroRun(2, 5, 0, 4),    ZeroRun(2, 20, 15, 4),
    ZeroRun(3, 21, 0, 8),   ZeroRun(3, 276, 255, 8),
    ZeroRun(4, 277, 0, 12), ZeroRun(4, 4372, 4095, 12),
};

const std::vector<ModelCase> Model1Values = {
    Literal(0, -32),
    Literal(31, -1),
    Literal(33, 1),
    Literal(64, 32),
    Literal(255, 33, 0, 10),
    Literal(255, 544, 511, 10),
    Literal(255, -544, 512, 10),
    Literal(255, -33, 1023, 10),
    Literal(254, 545, 0, 14),
    Literal(254, 8736, 8191, 14),
    Literal(254, -8736, 8192, 14),
    Literal(254, -545, 16383, 14),
};

const std::vector<ModelCase> Model1Runs = {
    ZeroRun(65, 1),
    ZeroRun(123, 59),
    ZeroRun(250, 60, 0, 1),
    ZeroRun(250, 61, 1, 1),
    ZeroRun(249, 62, 0, 2),
    ZeroRun(249, 65, 3, 2),
    ZeroRun(248, 66, 0, 3),
    ZeroRun(248, 73, 7, 3),
    ZeroRun(247, 74, 0, 4),
    ZeroRun(247, 89, 15, 4),
    ZeroRun(246, 90, 0, 5),
    ZeroRun(246, 121, 31, 5),
    ZeroRun(245, 122, 0, 6),
    ZeroRun(245, 185, 63, 6),
    ZeroRun(244, 186, 0, 7),
    ZeroRun(244, 313, 127, 7),
    ZeroRun(243, 314, 0, 8),
    ZeroRun(243, 569, 255, 8),
    ZeroRun(242, 570, 0, 9),
    ZeroRun(242, 1081, 511, 9),
    ZeroRun(241, 1082, 0, 10),
    ZeroRun(241, 2105, 1023, 10),
    ZeroRun(240, 2106, 0, 14),
};

// Each run followed by a value, so that a run of the wrong length shifts what comes after it.
std::vector<ModelCase> Interleave(const std::vector<ModelCase>& runs, const std::vector<ModelCase>& values) {
    std::vector<ModelCase> cases;
    for (size_t i = 0; i < std::max(runs.size(), values.size()); ++i) {
        if (i < runs.size()) {
            cases.push_back(runs[i]);
        }
        cases.push_back(values[i % values.size()]);
    }
    return cases;
}

// Writes the cases into the field's last block, decodes, and walks every value of the block.
void ExpectBlockValues(uint8_t marker, uint16_t scale, const std::vector<ModelCase>& cases) {
    std::vector<Adv601Token> tokens;
    std::vector<float> expected;
    for (const ModelCase& c : cases) {
        tokens.push_back(c.token);
        if (c.run > 0) {
            expected.insert(expected.end(), c.run, 0.0f);
        } else {
            expected.push_back(static_cast<float>(c.value * (scale / 256.0)));
        }
    }
    int32_t count = BlockValueCount(LastIndex);
    ASSERT_LE(expected.size(), static_cast<size_t>(count));
    Append(tokens, Padding(Adv601ModelOf(marker), static_cast<int32_t>(expected.size()), count));
    expected.resize(count, 0.0f);

    ADV601Decoder decoder;
    Decoded decoded = DecodeWith(decoder, WithLastBlock(marker, scale, tokens), true);
    ASSERT_TRUE(decoded.ok) << decoded.error;
    const float* values = decoder.LastBlockValues();
    for (int32_t i = 0; i < count; ++i) {
        ASSERT_EQ(values[i], expected[i]) << "value " << i << " with marker " << int{marker};
    }
}

} // namespace

TEST(ADV601Models, Model0DecodesEveryValueRangeAndRunLength) {
    for (uint8_t marker : {ADV601MarkerTable0, ADV601MarkerTable0Second}) {
        ExpectBlockValues(marker, 0x0180, Interleave(Model0Runs, Model0Values));
    }
}

TEST(ADV601Models, Model1DecodesEveryValueRangeAndRunLength) {
    for (uint8_t marker : {ADV601MarkerTable1, ADV601MarkerTable2}) {
        ExpectBlockValues(marker, 0x0180, Interleave(Model1Runs, Model1Values));
        // The two longest runs, each too long to share the block with the others.
        ExpectBlockValues(marker, 0x0100, {Literal(33, 1), ZeroRun(240, 18489, 16383, 14), Literal(0, -32)});
        ExpectBlockValues(marker, 0x0100, {Literal(33, 1), ZeroRun(239, 18490, 0, 16), Literal(0, -32)});
    }
}

TEST(ADV601Models, ValuesAreScaledByTheQuantiserStepOfTheirBlock) {
    for (uint16_t scale : {0x0001, 0x0100, 0x0ABC, 0xFFFF}) {
        ExpectBlockValues(ADV601MarkerTable0, scale,
                          {Literal(129, 1), Literal(5, -123), Literal(1, 2299, 2047, 12)});
        ExpectBlockValues(ADV601MarkerTable2, scale, {Literal(64, 32), Literal(254, -8736, 8192, 14)});
    }
}

TEST(ADV601Models, ARunMayEndExactlyAtTheEndOfTheBlock) {
    int32_t count = BlockValueCount(LastIndex);
    std::vector<Adv601Token> tokens = Padding(0, 0, count - 3);
    tokens.push_back({254}); // a run of 3
    EXPECT_TRUE(DecodeFresh(WithLastBlock(ADV601MarkerTable0, 256, tokens), true).ok);

    tokens = Padding(1, 0, count - 59);
    tokens.push_back({123}); // a run of 59
    EXPECT_TRUE(DecodeFresh(WithLastBlock(ADV601MarkerTable1, 256, tokens), true).ok);
}

// ---- damaged fields ---------------------------------------------------------------------------

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

std::vector<DamagedField> DamagedFields() {
    const std::vector<uint8_t>& good = BarsField();
    std::vector<DamagedField> fields;
    fields.push_back({"empty input", {}, "No start of field delimiter"});
    fields.push_back({"first word", Changed(good, 0, 0xFE), "No start of field delimiter"});
    fields.push_back({"field type 0x42", Changed(good, 7, 0x42), "Bad start of field delimiter"});
    fields.push_back({"field type 0x42, reversed words",
                      Changed(EncodeAdv601(Bars(true).bgr.data(), {}, true), 4, 0x42),
                      "Bad start of field delimiter"});
    fields.push_back({"only the first word", Cut(good, 4), "Bad start of field delimiter"});
    fields.push_back({"marker of the first block", WithMarker(0, 0x80), "Bad marker at start of block"});
    fields.push_back({"marker in the middle", WithMarker(20, 0x90), "Bad marker at start of block"});
    fields.push_back({"marker of the last block", WithMarker(41, 0x85), "Bad marker at start of block"});

    Adv601Field extraWord = BlankField();
    int32_t first = ADV601StreamOrder[0];
    extraWord.blocks[first] = {ADV601MarkerTable0, 256, Padding(0, 0, BlockValueCount(first)), {0x12345678}};
    fields.push_back(
        {"word between block and delimiter", WriteAdv601Field(extraWord), "Failed to read start of marker"});

    fields.push_back(
        {"cut in the middle", Cut(good, good.size() / 2), "Attempt to read beyond end of input buffer"});
    // Header and the first block's head word: the empty block finds no delimiter to skip to.
    fields.push_back({"empty block without delimiter", Cut(WriteAdv601Field(BlankField()), 24),
                      "Attempt to read beyond end of input buffer"});

    int32_t count = BlockValueCount(LastIndex);
    std::vector<Adv601Token> tokens = Padding(0, 0, count - 3);
    tokens.push_back({255}); // a run of 4 where 3 values are left
    fields.push_back({"model 0 run past the end", WithLastBlock(ADV601MarkerTable0, 256, tokens),
                      "Failed in DemodelBlock0"});
    tokens = Padding(1, 0, count - 58);
    tokens.push_back({123}); // a run of 59 where 58 values are left
    fields.push_back({"model 1 run past the end", WithLastBlock(ADV601MarkerTable2, 256, tokens),
                      "Failed in DemodelBlock1 - passed block end"});
    fields.push_back({"model 1 longest run", WithLastBlock(ADV601MarkerTable1, 256, {{239, 65535, 16}}),
                      "Failed in DemodelBlock1 - passed block end"});
    fields.push_back({"model 1 symbol 253", WithLastBlock(ADV601MarkerTable1, 256, {{33}, {253}}),
                      "Failed in DemodelBlock1 - unexpected symbol"});
    fields.push_back({"model 1 symbol 253, table 2", WithLastBlock(ADV601MarkerTable2, 256, {{253}}),
                      "Failed in DemodelBlock1 - unexpected symbol"});
    return fields;
}

} // namespace

TEST(ADV601Failures, EachDamageGivesItsTextLeavesTheOutputAloneAndTheNextFieldDecodes) {
    ADV601Decoder decoder;
    for (const DamagedField& damaged : DamagedFields()) {
        Decoded bad = DecodeWith(decoder, damaged.bytes, true);
        EXPECT_FALSE(bad.ok) << damaged.what;
        EXPECT_EQ(bad.error, damaged.failure) << damaged.what;
        EXPECT_TRUE(std::all_of(bad.picture.begin(), bad.picture.end(), [](uint8_t b) { return b == Guard; }))
            << damaged.what;

        Decoded good = DecodeWith(decoder, BarsField(), true);
        ASSERT_TRUE(good.ok) << "after " << damaged.what << ": " << good.error;
        EXPECT_EQ(good.error, "");
        EXPECT_EQ(good.picture, BarsPicture()) << "after " << damaged.what;
    }
}

TEST(ADV601Failures, EveryCutOfAFieldFailsWithAKnownText) {
    const std::set<std::string> known = {"No start of field delimiter",
                                         "Bad start of field delimiter",
                                         "Bad marker at start of block",
                                         "Failed to read start of marker",
                                         "Attempt to read beyond end of input buffer",
                                         "Failed in DemodelBlock0",
                                         "Failed in DemodelBlock1 - passed block end",
                                         "Failed in DemodelBlock1 - unexpected symbol"};
    const std::vector<uint8_t>& good = BarsField();
    ADV601Decoder decoder;
    size_t step = good.size() / 89 + 1;
    for (size_t size = 0; size + 64 < good.size(); size += (size < 64 ? 1 : step)) {
        Decoded decoded = DecodeWith(decoder, Cut(good, size), true);
        EXPECT_FALSE(decoded.ok) << "cut at " << size;
        EXPECT_TRUE(known.count(decoded.error)) << "cut at " << size << ": " << decoded.error;
        EXPECT_TRUE(decoded.guardIntact);
    }
}

TEST(ADV601Failures, AFieldOfTheOtherHeightDoesNotDecode) {
    // The blocks of a 243-line field are shorter than those of a 288-line one: read with the
    // wrong height, the data of one block runs into the next.
    std::vector<uint8_t> shortField = EncodeAdv601(Bars(false).bgr.data(), {.tallField = false});
    Decoded asTall = DecodeFresh(shortField, true);
    EXPECT_FALSE(asTall.ok);
    Decoded asShort = DecodeFresh(shortField, false);
    ASSERT_TRUE(asShort.ok) << asShort.error;
    EXPECT_TRUE(asShort.guardIntact);
    EXPECT_GT(Adv601Psnr(Bars(false).bgr, asShort.picture), 45.0);
}
