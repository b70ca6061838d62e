#include "codecs/jpeg/JpegCodec.h"
#include "codecs/jpeg/BlockJpegDecoder.h"
#include "codecs/jpeg/JpegHeaderTemplate.h"
#include "codecs/jpeg/JpegHuffman.h"
#include "codecs/jpeg/JpegOutput.h"
#include "codecs/jpeg/LosslessJpegCodec.h"
#include "core/binary/ByteView.h"

#include "fixtures/jpeg/BlockJpegWriter.h"
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

constexpr size_t SofOffset = 2;

// SOI, SOF0 and SOS of a three-component picture; the frame header starts at SofOffset.
std::vector<uint8_t> MakeHeader(int32_t width, int32_t height, uint8_t lumaSampling, bool withScan = true) {
    std::vector<uint8_t> bytes(64);
    JpegHeaderWriter writer(bytes.data(), static_cast<int32_t>(bytes.size()));
    writer.StartOfImage();
    writer.FrameHeader(width, height, 3, lumaSampling);
    if (withScan) {
        writer.ScanHeader(3);
    }
    bytes.resize(static_cast<size_t>(writer.Length()));
    return bytes;
}

std::vector<uint8_t> Changed(std::vector<uint8_t> bytes, size_t at, uint8_t value) {
    bytes[at] = value;
    return bytes;
}

TEST(JpegMarkerParse, MalformedHeadersAreRefused) {
    const std::vector<uint8_t> good = MakeHeader(16, 16, 0x11);
    // Bytes before the image, fill bytes, a restart marker and an unknown segment are passed over.
    std::vector<uint8_t> padded = {0x00, 0xFF, 0x00, 0xFF, 0xD8, 0xFF, 0xFF,
                                   0xD3, 0xFF, 0xE5, 0x00, 0x04, 0xFF, 0xFF};
    padded.insert(padded.end(), good.begin() + 2, good.end());
    std::vector<std::vector<uint8_t>> taken = {padded};
    std::vector<uint8_t> scanFirst = {0xFF, 0xD8};
    scanFirst.insert(scanFirst.end(), good.end() - 14, good.end());
    std::vector<std::vector<uint8_t>> refused = {
        MakeHeader(16, 16, 0x11, false), {good.begin() + 2, good.end()}, scanFirst,
        {0xFF, 0xD8, 0xFF, 0xD9},        MakeHeader(16, 0, 0x11),        Changed(good, SofOffset + 3, 1)};
    for (uint8_t code : {0xC0, 0xC1, 0xC2, 0xC3}) {
        taken.push_back(Changed(good, SofOffset + 1, code));
    }
    // Hierarchical and arithmetic-coded frames.
    for (uint8_t code : {0xC5, 0xC6, 0xC7, 0xC9, 0xCA, 0xCB, 0xCD, 0xCE, 0xCF}) {
        refused.push_back(Changed(good, SofOffset + 1, code));
    }
    for (uint8_t sampling : {0x01, 0x10, 0x00, 0x51}) {
        refused.push_back(MakeHeader(16, 16, sampling));
    }
    for (size_t cut : {size_t{3}, SofOffset + 3, SofOffset + 10, good.size() - 1}) {
        refused.push_back({good.begin(), good.begin() + static_cast<std::ptrdiff_t>(cut)});
    }
    for (const std::vector<uint8_t>& bytes : taken) {
        EXPECT_TRUE(JpegReadHeader(bytes.data(), Size(bytes), nullptr, nullptr, nullptr)) << bytes.size();
    }
    for (size_t i = 0; i < refused.size(); ++i) {
        EXPECT_FALSE(JpegReadHeader(refused[i].data(), Size(refused[i]), nullptr, nullptr, nullptr)) << i;
    }
    EXPECT_FALSE(JpegReadHeader(nullptr, 100, nullptr, nullptr, nullptr));
}

TEST(StandardJpegHeader, EqualsTheHeaderLibjpegWritesWithTheSameTables) {
    for (int32_t quality : {50, 24, 60, 1, 255}) {
        for (Sampling sampling : {Sampling::S422, Sampling::S420}) {
            std::vector<uint8_t> jpeg =
                EncodeJpeg(MakeColourBars(48, 32), {.sampling = sampling, .recorderQuality = quality});
            std::vector<uint8_t> header(StandardJpegHeader::Size);
            // Written for another picture first, then patched as the formats do.
            StandardJpegHeader::Write(header.data(), 720, 288, 0x21);
            StandardJpegHeader::SetSize(header.data(), 48, 32);
            StandardJpegHeader::SetLumaSampling(header.data(), sampling == Sampling::S420 ? 0x22 : 0x21);
            ASSERT_TRUE(StandardJpegHeader::SetQuality(header.data(), quality));
            ASSERT_GE(jpeg.size(), header.size());
            EXPECT_EQ(header, std::vector<uint8_t>(jpeg.begin(), jpeg.begin() + StandardJpegHeader::Size))
                << "quality " << quality;
            // A quality outside 1 to 255 is refused and leaves the tables as they were.
            EXPECT_FALSE(StandardJpegHeader::SetQuality(header.data(), 0));
            EXPECT_FALSE(StandardJpegHeader::SetQuality(header.data(), 256));
            EXPECT_EQ(header, std::vector<uint8_t>(jpeg.begin(), jpeg.begin() + StandardJpegHeader::Size));
        }
    }
}

TEST(JpegHuffmanTable, UnusedCodeIsReportedAndBadTablesAreRefused) {
    // Two codes of length 1 fill the code space: symbol 5 is "0", symbol 6 is "1".
    uint8_t full[16] = {2};
    uint8_t symbols[3] = {5, 6, 7};
    JpegHuffmanTable table;
    ASSERT_TRUE(table.Build(full, symbols, 2));
    uint8_t ones[2] = {0x80, 0x00};
    JpegBitReader bits(ones, 2);
    EXPECT_EQ(table.Decode(bits), 6);
    EXPECT_EQ(table.Decode(bits), 5);

    // One code of length 1 leaves "1..." without a code.
    uint8_t partial[16] = {1};
    ASSERT_TRUE(table.Build(partial, symbols, 1));
    uint8_t allOnes[3] = {0xFF, 0x00, 0xFF};
    JpegBitReader noCode(allOnes, 3);
    EXPECT_EQ(table.Decode(noCode), -1);

    // More codes of a length than fit, and fewer symbols than codes.
    uint8_t overfull[16] = {3};
    EXPECT_FALSE(table.Build(overfull, symbols, 3));
    EXPECT_FALSE(table.Loaded());
    uint8_t tooFewSymbols[16] = {0, 3};
    EXPECT_FALSE(table.Build(tooFewSymbols, symbols, 2));
}

TEST(JpegBitReader, DropsStuffedZerosAndCountsReadsPastTheEnd) {
    uint8_t bytes[4] = {0xFF, 0x00, 0xA5, 0xFF};
    JpegBitReader bits(bytes, sizeof(bytes));
    EXPECT_EQ(bits.Bits(8), 0xFFu);
    EXPECT_EQ(bits.Bits(4), 0xAu);
    EXPECT_EQ(bits.Bits(12), 0x5FFu);
    EXPECT_FALSE(bits.Overrun());
    EXPECT_EQ(bits.Bits(1), 0u);
    EXPECT_TRUE(bits.Overrun());
}

constexpr int32_t Quality = 40;

std::vector<uint8_t> ReadOut(const BlockJpegDecoder& decoder) {
    std::vector<uint8_t> picture(static_cast<size_t>(decoder.Width()) * decoder.Height() * 3);
    EXPECT_TRUE(decoder.GetImage(picture.data(), Size(picture)));
    return picture;
}

// A key frame as recorders store it, the frame followed by its tables, read in one piece.
bool LoadKeyFrame(BlockJpegDecoder& decoder, const BlockJpegWriter& writer, const TestPicture& picture) {
    BlockFrame frame = writer.MakeFrame(picture);
    frame.bytes.resize(static_cast<size_t>(frame.size));
    std::vector<uint8_t> tables = writer.Tables();
    frame.bytes.insert(frame.bytes.end(), tables.begin(), tables.end());
    return decoder.ParseHeader(frame.bytes.data(), Size(frame.bytes), frame.size) &&
           decoder.ApplyBlocks(picture.width, picture.height, frame.size, 0, false, frame.bytes.data(),
                               Size(frame.bytes));
}

// Frames that do not fit the picture or its bytes are refused and leave the picture as it was;
// the last block may end right before the end marker, and not one byte later.
TEST(BlockJpegDecoderTest, RefusesFramesThatDoNotFitThePicture) {
    constexpr int32_t Width = 64, Height = 32;
    const BlockJpegWriter writer(Width, Height, Quality);
    BlockJpegDecoder decoder;
    ASSERT_TRUE(LoadKeyFrame(decoder, writer, MakeGradient(Width, Height, 3)));
    const std::vector<uint8_t> before = ReadOut(decoder);
    const BlockFrame frame = writer.MakeFrame(MakeColourBars(Width, Height));
    struct Refusal {
        const char* name;
        int32_t width;
        int32_t size;
        int32_t bitmapOffset;
        bool useBitmap;
        std::vector<uint8_t> bytes;
    };
    const Refusal refusals[] = {
        {"wider picture", Width + 16, frame.size, 0, false, frame.bytes},
        {"frame too short for its head", Width, 33, 0, false, frame.bytes},
        {"bitmap behind the bytes", Width, frame.size, 1, true, frame.bytes},
        {"bitmap before the bytes", Width, frame.size, -frame.size - 1, true, frame.bytes},
        {"other height in the head", Width, frame.size, 0, false, Changed(frame.bytes, 5, 0x01)},
        {"one component", Width, frame.size, 0, false, Changed(frame.bytes, 9, 1)},
        {"other sampling", Width, frame.size, 0, false, Changed(frame.bytes, 11, 0x22)},
        {"no bytes", Width, frame.size, 0, false, {}},
    };
    for (const Refusal& refusal : refusals) {
        const int32_t total = refusal.bytes.empty() ? Size(frame.bytes) : Size(refusal.bytes);
        EXPECT_FALSE(decoder.ApplyBlocks(refusal.width, Height, refusal.size, refusal.bitmapOffset,
                                         refusal.useBitmap,
                                         refusal.bytes.empty() ? nullptr : refusal.bytes.data(), total))
            << refusal.name;
        EXPECT_TRUE(ReadOut(decoder) == before) << refusal.name;
    }
    EXPECT_TRUE(decoder.ApplyBlocks(Width, Height, frame.size, 0, false, frame.bytes.data(), frame.size));
    EXPECT_FALSE(
        decoder.ApplyBlocks(Width, Height, frame.size - 1, 0, false, frame.bytes.data(), frame.size));
}

TEST(BlockJpegDecoderTables, ParseHeaderRefusals) {
    std::vector<uint8_t> tables = BlockJpegWriter(32, 16, Quality).Tables();
    BlockJpegDecoder decoder;
    EXPECT_TRUE(decoder.ParseHeader(tables.data(), Size(tables), 0));
    EXPECT_FALSE(decoder.ParseHeader(tables.data(), Size(tables), 1));
    EXPECT_FALSE(decoder.ParseHeader(tables.data(), 1, 0));
    const std::vector<uint8_t> refused[] = {
        {0xFF, 0xD8, 0x00, 0x00, 0x00, 0x04},       // no marker
        {0xFF, 0xD8, 0xFF, 0xE0, 0x00, 0x00},       // zero length
        {0xFF, 0xD8, 0xFF, 0xE0, 0x00, 0x10, 0x00}, // segment past the end
        // A table cut short inside its segment.
        {0xFF, 0xD8, 0xFF, 0xDB, 0x00, 0x10, 0x00, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13},
    };
    for (const std::vector<uint8_t>& bytes : refused) {
        EXPECT_FALSE(decoder.ParseHeader(bytes.data(), Size(bytes), 0)) << bytes.size();
    }
    // Unknown segments are skipped, and the end of the bytes ends the tables.
    std::vector<uint8_t> skipped = {0xFF, 0xD8, 0xFF, 0xFE, 0x00, 0x04, 0xAB, 0xCD};
    EXPECT_TRUE(decoder.ParseHeader(skipped.data(), Size(skipped), 0));
}

// Blocks need the tables of a key frame of their size; a picture off the grid of 16 x 8 blocks stays
// black outside it.
TEST(BlockJpegDecoderTables, BlocksNeedTheTablesOfAKeyFrameOfTheirSize) {
    BlockJpegDecoder decoder;
    BlockFrame first = BlockJpegWriter(32, 16, Quality).MakeFrame(MakeGradient(32, 16, 3));
    EXPECT_FALSE(decoder.ApplyBlocks(32, 16, first.size, 0, false, first.bytes.data(), Size(first.bytes)));
    std::vector<uint8_t> none(32 * 16 * 3);
    EXPECT_FALSE(decoder.GetImage(none.data(), Size(none)));
    ASSERT_TRUE(LoadKeyFrame(decoder, BlockJpegWriter(32, 16, Quality), MakeGradient(32, 16, 3)));
    TestPicture picture = MakeColourBars(56, 28);
    BlockJpegWriter large(56, 28, Quality);
    // Blocks of the new size alone, without the new tables, are refused.
    BlockFrame frame = large.MakeFrame(picture);
    EXPECT_FALSE(decoder.ApplyBlocks(56, 28, frame.size, 0, false, frame.bytes.data(), Size(frame.bytes)));
    ASSERT_TRUE(LoadKeyFrame(decoder, large, picture));
    ASSERT_EQ(decoder.Width(), 56);
    std::vector<uint8_t> out = ReadOut(decoder);
    TestPicture inside{48, 24, 3, {}};
    for (int32_t y = 0; y < 28; ++y) {
        if (y < 24) {
            inside.pixels.insert(inside.pixels.end(), picture.Pixel(0, y), picture.Pixel(48, y));
        }
        for (int32_t x = y < 24 ? 48 : 0; x < 56; ++x) {
            const uint8_t* pixel = &out[(static_cast<size_t>(y) * 56 + x) * 3];
            EXPECT_EQ(pixel[0] | pixel[1] | pixel[2], 0) << x << "," << y;
        }
    }
    EXPECT_GE(ComparePicture(inside, out.data(), 56 * 3).psnr, 20);
    std::vector<uint8_t> tooSmall(out.size() - 1);
    EXPECT_FALSE(decoder.GetImage(tooSmall.data(), Size(tooSmall)));
}

} // namespace
