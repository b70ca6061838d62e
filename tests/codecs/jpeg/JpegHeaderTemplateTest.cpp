#include "codecs/jpeg/JpegHeaderTemplate.h"

#include "codecs/jpeg/JpegMarkers.h"

#include "fixtures/jpeg/JpegTestSupport.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <vector>

using namespace Vorn::Vorncast::Decoders;
using namespace Vorn::Vorncast::Decoders::Testing;

namespace {

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

} // namespace
