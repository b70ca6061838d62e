#include "codecs/jpeg/JpegMarkers.h"

#include "codecs/jpeg/JpegHeaderTemplate.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <vector>

using namespace Vorn::Vorncast::Decoders;

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
    for (size_t i = 0; i < cases.size(); ++i) {
        JpegFrameHeader header;
        EXPECT_EQ(ParseJpegBitStream(ByteView(cases[i].first.data(), cases[i].first.size()), &header),
                  cases[i].second)
            << "case " << i;
    }
}

TEST(JpegMarkerParse, PassesOverFillBytesRestartMarkersAndUnknownSegments) {
    std::vector<uint8_t> bytes = {0x00, 0xFF, 0x00, 0xFF, 0xD8, 0xFF, 0xFF,
                                  0xD3, 0xFF, 0xE5, 0x00, 0x04, 0xFF, 0xFF};
    std::vector<uint8_t> rest = MakeHeader(40, 30, 0x22);
    bytes.insert(bytes.end(), rest.begin() + 2, rest.end());
    JpegFrameHeader header;
    ASSERT_EQ(ParseJpegBitStream(ByteView(bytes.data(), bytes.size()), &header), JpegParseOk);
    EXPECT_EQ(header.soiOffset, 3);
    EXPECT_EQ(header.width, 40);
    EXPECT_EQ(header.height, 30);
}

} // namespace
