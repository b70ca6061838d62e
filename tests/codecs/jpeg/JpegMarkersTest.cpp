#include "codecs/jpeg/JpegMarkers.h"

#include "codecs/jpeg/JpegHeaderTemplate.h"

#include "fixtures/jpeg/JpegTestSupport.h"
#include "fixtures/jpeg/LosslessJpegWriter.h"

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

JpegParseResult Parse(const std::vector<uint8_t>& bytes, JpegFrameHeader* header) {
    return ParseJpegBitStream(ByteView(bytes.data(), bytes.size()), header);
}

TEST(JpegMarkerParse, RefusesHierarchicalAndArithmeticFrames) {
    for (uint8_t code : {0xC5, 0xC6, 0xC7, 0xC9, 0xCA, 0xCB, 0xCD, 0xCE, 0xCF}) {
        std::vector<uint8_t> bytes = MakeHeader(16, 16, 0x11);
        bytes[SofOffset + 1] = code;
        JpegFrameHeader header;
        EXPECT_EQ(Parse(bytes, &header), JpegParseUnsupported) << std::hex << int(code);
    }
    for (uint8_t code : {0xC0, 0xC1, 0xC2, 0xC3}) {
        std::vector<uint8_t> bytes = MakeHeader(16, 16, 0x11);
        bytes[SofOffset + 1] = code;
        JpegFrameHeader header;
        EXPECT_EQ(Parse(bytes, &header), JpegParseOk) << std::hex << int(code);
    }
}

TEST(JpegMarkerParse, ZeroSamplingFactorIsItsOwnFailure) {
    for (uint8_t sampling : {0x01, 0x10, 0x00, 0x51}) {
        JpegFrameHeader header;
        EXPECT_EQ(Parse(MakeHeader(16, 16, sampling), &header), JpegParseBadSampling) << int(sampling);
    }
}

TEST(JpegMarkerParse, SegmentsRunningPastTheEnd) {
    std::vector<uint8_t> bytes = MakeHeader(16, 16, 0x11);
    JpegFrameHeader header;
    for (size_t cut : {size_t{3}, SofOffset + 3, SofOffset + 10, bytes.size() - 1}) {
        std::vector<uint8_t> shortened(bytes.begin(), bytes.begin() + static_cast<std::ptrdiff_t>(cut));
        EXPECT_EQ(Parse(shortened, &header), JpegParsePastEnd) << cut;
    }
    // No scan at all.
    EXPECT_EQ(Parse(MakeHeader(16, 16, 0x11, false), &header), JpegParsePastEnd);
}

TEST(JpegMarkerParse, MalformedOrder) {
    JpegFrameHeader header;
    std::vector<uint8_t> noSoi = MakeHeader(16, 16, 0x11);
    noSoi.erase(noSoi.begin(), noSoi.begin() + 2);
    EXPECT_EQ(Parse(noSoi, &header), JpegParseBadSegment);

    std::vector<uint8_t> scanFirst = {0xFF, 0xD8};
    std::vector<uint8_t> sos(14);
    JpegHeaderWriter sosWriter(sos.data(), 14);
    sosWriter.ScanHeader(3);
    scanFirst.insert(scanFirst.end(), sos.begin(), sos.end());
    EXPECT_EQ(Parse(scanFirst, &header), JpegParseBadSegment);

    EXPECT_EQ(Parse({0xFF, 0xD8, 0xFF, 0xD9}, &header), JpegParseBadSegment);

    std::vector<uint8_t> emptyPicture = MakeHeader(16, 0, 0x11);
    EXPECT_EQ(Parse(emptyPicture, &header), JpegParseBadSegment);

    std::vector<uint8_t> shortLength = MakeHeader(16, 16, 0x11);
    shortLength[SofOffset + 3] = 1;
    EXPECT_EQ(Parse(shortLength, &header), JpegParseBadSegment);
}

TEST(JpegMarkerParse, PassesOverFillBytesRestartMarkersAndUnknownSegments) {
    std::vector<uint8_t> bytes = {0x00, 0xFF, 0x00, 0xFF, 0xD8, 0xFF, 0xFF,
                                  0xD3, 0xFF, 0xE5, 0x00, 0x04, 0xFF, 0xFF};
    std::vector<uint8_t> rest = MakeHeader(40, 30, 0x22);
    bytes.insert(bytes.end(), rest.begin() + 2, rest.end());
    JpegFrameHeader header;
    ASSERT_EQ(Parse(bytes, &header), JpegParseOk);
    EXPECT_EQ(header.soiOffset, 3);
    EXPECT_EQ(header.width, 40);
    EXPECT_EQ(header.height, 30);
}

} // namespace
