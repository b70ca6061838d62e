#include "codecs/jpeg/JpegMarkers.h"
#include "codecs/jpeg/JpegCodec.h"
#include "codecs/jpeg/JpegHeaderTemplate.h"
#include "codecs/jpeg/JpegHuffman.h"
#include "codecs/jpeg/JpegTables.h"

#include "fixtures/jpeg/JpegTestSupport.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <vector>

using namespace Vorn::Vorncast::Decoders;
using namespace Vorn::Vorncast::Decoders::Testing;

namespace {

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

TEST(JpegMarkerParse, EachMalformedHeaderGivesItsResult) {
    const std::vector<uint8_t> good = MakeHeader(16, 16, 0x11);
    std::vector<std::pair<std::vector<uint8_t>, JpegParseResult>> cases;
    for (uint8_t code : {0xC0, 0xC1, 0xC2, 0xC3}) {
        cases.push_back({Changed(good, SofOffset + 1, code), JpegParseOk});
    }
    // Hierarchical and arithmetic-coded frames.
    for (uint8_t code : {0xC5, 0xC6, 0xC7, 0xC9, 0xCA, 0xCB, 0xCD, 0xCE, 0xCF}) {
        cases.push_back({Changed(good, SofOffset + 1, code), JpegParseUnsupported});
    }
    for (uint8_t sampling : {0x01, 0x10, 0x00, 0x51}) {
        cases.push_back({MakeHeader(16, 16, sampling), JpegParseBadSampling});
    }
    for (size_t cut : {size_t{3}, SofOffset + 3, SofOffset + 10, good.size() - 1}) {
        cases.push_back({{good.begin(), good.begin() + static_cast<std::ptrdiff_t>(cut)}, JpegParsePastEnd});
    }
    cases.push_back({MakeHeader(16, 16, 0x11, false), JpegParsePastEnd});
    cases.push_back({{good.begin() + 2, good.end()}, JpegParseBadSegment});
    std::vector<uint8_t> scanFirst = {0xFF, 0xD8};
    scanFirst.insert(scanFirst.end(), good.end() - 14, good.end());
    cases.push_back({scanFirst, JpegParseBadSegment});
    cases.push_back({{0xFF, 0xD8, 0xFF, 0xD9}, JpegParseBadSegment});
    cases.push_back({MakeHeader(16, 0, 0x11), JpegParseBadSegment});
    cases.push_back({Changed(good, SofOffset + 3, 1), JpegParseBadSegment});
    // Bytes before the image, fill bytes, a restart marker and an unknown segment are passed over.
    std::vector<uint8_t> padded = {0x00, 0xFF, 0x00, 0xFF, 0xD8, 0xFF, 0xFF,
                                   0xD3, 0xFF, 0xE5, 0x00, 0x04, 0xFF, 0xFF};
    padded.insert(padded.end(), good.begin() + 2, good.end());
    cases.push_back({padded, JpegParseOk});
    // The codec's header reader takes what the parser takes.
    for (size_t i = 0; i < cases.size(); ++i) {
        const std::vector<uint8_t>& bytes = cases[i].first;
        JpegFrameHeader header;
        EXPECT_EQ(ParseJpegBitStream(ByteView(bytes.data(), bytes.size()), &header), cases[i].second) << i;
        EXPECT_EQ(JpegReadHeader(bytes.data(), static_cast<int32_t>(bytes.size()), nullptr, nullptr, nullptr),
                  cases[i].second == JpegParseOk)
            << i;
    }
    EXPECT_FALSE(JpegReadHeader(nullptr, 100, nullptr, nullptr, nullptr));
}

constexpr uint8_t Sampling422 = 0x21;
constexpr uint8_t Sampling420 = 0x22;

TEST(StandardJpegHeader, EqualsTheHeaderLibjpegWritesWithTheSameTables) {
    for (int32_t quality : {50, 24, 60, 1, 255}) {
        for (Sampling sampling : {Sampling::S422, Sampling::S420}) {
            std::vector<uint8_t> jpeg =
                EncodeJpeg(MakeColourBars(48, 32), {.sampling = sampling, .recorderQuality = quality});
            std::vector<uint8_t> header(StandardJpegHeader::Size);
            // Written for another picture first, then patched as the formats do.
            StandardJpegHeader::Write(header.data(), 720, 288, Sampling422);
            StandardJpegHeader::SetSize(header.data(), 48, 32);
            StandardJpegHeader::SetLumaSampling(header.data(),
                                                sampling == Sampling::S420 ? Sampling420 : Sampling422);
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

TEST(JpegHeaderWriter, StopsAtTheFirstSegmentThatDoesNotFit) {
    std::vector<uint8_t> out(30, 0xEE);
    JpegHeaderWriter writer(out.data(), 25);
    writer.StartOfImage();
    writer.Jfif();
    EXPECT_TRUE(writer.Ok());
    writer.QuantTable(0, StandardLuminanceQuantTable);
    EXPECT_FALSE(writer.Ok());
    writer.EndOfImage();
    EXPECT_FALSE(writer.Ok());
    EXPECT_LE(writer.Length(), 25);
    EXPECT_EQ(out[25], 0xEE);
}

TEST(PatchJpegFrameSize, NeedsTheWholeFrameHeaderBeforeTheScan) {
    std::vector<uint8_t> header(200);
    JpegHeaderWriter writer(header.data(), static_cast<int32_t>(header.size()));
    writer.StartOfImage();
    writer.QuantTable(0, StandardLuminanceQuantTable);
    writer.ScanHeader(1);
    EXPECT_FALSE(PatchJpegFrameSize(header.data(), writer.Length(), 10, 10));
    EXPECT_FALSE(PatchJpegFrameSize(header.data(), 0, 10, 10));
    JpegHeaderWriter second(header.data(), static_cast<int32_t>(header.size()));
    second.StartOfImage();
    second.FrameHeader(16, 16, 1, 0x11);
    // Cut inside the size fields, and right behind them.
    EXPECT_FALSE(PatchJpegFrameSize(header.data(), 2 + 6, 10, 10));
    EXPECT_TRUE(PatchJpegFrameSize(header.data(), 2 + 9, 10, 20));
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

} // namespace
