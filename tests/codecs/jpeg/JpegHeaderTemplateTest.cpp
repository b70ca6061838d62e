#include "codecs/jpeg/JpegHeaderTemplate.h"

#include "codecs/jpeg/JpegCodec.h"
#include "codecs/jpeg/JpegMarkers.h"
#include "codecs/jpeg/JpegOutput.h"

#include "codecs/jpeg/JpegTestSupport.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <vector>

using namespace Vorn::Vorncast::Decoders;
using namespace Vorn::Vorncast::Decoders::Testing;

namespace {

constexpr uint8_t Sampling422 = 0x21;
constexpr uint8_t Sampling420 = 0x22;

struct RecorderFrame {
    TestPicture picture;
    std::vector<uint8_t> jpeg;
    // The scan data alone, behind the header libjpeg wrote.
    std::vector<uint8_t> scan;
};

// A frame as a recorder that leaves out the header would store it.
RecorderFrame MakeRecorderFrame(const TestPicture& picture, Sampling sampling, int32_t quality) {
    RecorderFrame frame{picture, {}, {}};
    EncodeOptions options;
    options.sampling = sampling;
    options.recorderQuality = quality;
    frame.jpeg = EncodeJpeg(frame.picture, options);
    size_t sos = FindMarker(frame.jpeg, 0xDA);
    frame.scan.assign(frame.jpeg.begin() + static_cast<std::ptrdiff_t>(sos) + 14, frame.jpeg.end() - 2);
    return frame;
}

TEST(StandardJpegHeader, EqualsTheHeaderLibjpegWritesWithTheSameTables) {
    for (int32_t quality : {50, 24, 60, 1, 255}) {
        for (Sampling sampling : {Sampling::S422, Sampling::S420}) {
            RecorderFrame frame = MakeRecorderFrame(MakeColourBars(48, 32), sampling, quality);
            uint8_t header[StandardJpegHeader::Size];
            // Written for another picture first, then patched as the formats do.
            StandardJpegHeader::Write(header, 720, 288, Sampling422);
            StandardJpegHeader::SetSize(header, 48, 32);
            StandardJpegHeader::SetLumaSampling(header,
                                                sampling == Sampling::S420 ? Sampling420 : Sampling422);
            ASSERT_TRUE(StandardJpegHeader::SetQuality(header, quality));
            ASSERT_GE(frame.jpeg.size(), sizeof(header));
            EXPECT_EQ(std::vector<uint8_t>(header, header + sizeof(header)),
                      std::vector<uint8_t>(frame.jpeg.begin(), frame.jpeg.begin() + sizeof(header)))
                << "quality " << quality;
        }
    }
}

TEST(StandardJpegHeader, BareScanDataDecodesBehindIt) {
    RecorderFrame frame = MakeRecorderFrame(MakeGradient(64, 40, 3), Sampling::S420, 30);
    std::vector<uint8_t> rebuilt(StandardJpegHeader::Size);
    StandardJpegHeader::Write(rebuilt.data(), 64, 40, Sampling420);
    StandardJpegHeader::SetQuality(rebuilt.data(), 30);
    rebuilt.insert(rebuilt.end(), frame.scan.begin(), frame.scan.end());
    rebuilt.insert(rebuilt.end(), {0xFF, 0xD9});

    std::vector<uint8_t> output(JpegLineStep(64, 3) * 40);
    ASSERT_TRUE(JpegDecodeToBuffer(rebuilt.data(), static_cast<int32_t>(rebuilt.size()), output.data(),
                                   static_cast<int32_t>(output.size())));
    EXPECT_GE(ComparePicture(frame.picture, output.data(), JpegLineStep(64, 3)).psnr, 30);

    // Wrong tables give a visibly different picture: the quality matters.
    StandardJpegHeader::SetQuality(rebuilt.data(), 90);
    std::vector<uint8_t> wrong(output.size());
    ASSERT_TRUE(JpegDecodeToBuffer(rebuilt.data(), static_cast<int32_t>(rebuilt.size()), wrong.data(),
                                   static_cast<int32_t>(wrong.size())));
    EXPECT_LT(ComparePicture(frame.picture, wrong.data(), JpegLineStep(64, 3)).psnr, 15);
}

TEST(StandardJpegHeader, QualityOutsideItsRangeLeavesTheTables) {
    uint8_t header[StandardJpegHeader::Size];
    StandardJpegHeader::Write(header, 16, 16, Sampling422);
    ASSERT_TRUE(StandardJpegHeader::SetQuality(header, 7));
    std::vector<uint8_t> before(header, header + sizeof(header));
    EXPECT_FALSE(StandardJpegHeader::SetQuality(header, 0));
    EXPECT_FALSE(StandardJpegHeader::SetQuality(header, 256));
    EXPECT_EQ(before, std::vector<uint8_t>(header, header + sizeof(header)));
    // Low qualities clamp at 1, high ones at 255.
    EXPECT_EQ(header[StandardJpegHeader::LuminanceTableOffset], (16 * 7 + 25) / 50);
    StandardJpegHeader::SetQuality(header, 1);
    EXPECT_EQ(header[StandardJpegHeader::LuminanceTableOffset + 1], 1);
    StandardJpegHeader::SetQuality(header, 255);
    EXPECT_EQ(header[StandardJpegHeader::ChrominanceTableOffset + 63], 255);
}

TEST(JpegHeaderWriter, SingleSegmentsHoldAllTablesAndStillDecode) {
    RecorderFrame frame = MakeRecorderFrame(MakeGradient(32, 16, 3), Sampling::S422, 50);
    std::vector<uint8_t> header(640);
    JpegHeaderWriter writer(header.data(), static_cast<int32_t>(header.size()));
    writer.StartOfImage();
    writer.Jfif();
    writer.QuantTables(StandardLuminanceQuantTable, StandardChrominanceQuantTable);
    writer.FrameHeader(352, 288, 3, Sampling422);
    writer.StandardHuffmanTables(true);
    writer.ScanHeader(3);
    ASSERT_TRUE(writer.Ok());
    // SOI 2, JFIF 18, DQT 134, SOF0 19, DHT 420, SOS 14.
    EXPECT_EQ(writer.Length(), 2 + 18 + 134 + 19 + 420 + 14);
    EXPECT_EQ(header[20 + 2], 0);
    EXPECT_EQ(header[20 + 3], 132);
    size_t dht = 2 + 18 + 134 + 19;
    EXPECT_EQ(header[dht + 1], 0xC4);
    EXPECT_EQ((header[dht + 2] << 8) | header[dht + 3], 418);

    header.resize(static_cast<size_t>(writer.Length()));
    ASSERT_TRUE(PatchJpegFrameSize(header.data(), static_cast<int32_t>(header.size()), 32, 16));
    header.insert(header.end(), frame.scan.begin(), frame.scan.end());
    header.insert(header.end(), {0xFF, 0xD9});
    std::vector<uint8_t> output(JpegLineStep(32, 3) * 16);
    ASSERT_TRUE(JpegDecodeToBuffer(header.data(), static_cast<int32_t>(header.size()), output.data(),
                                   static_cast<int32_t>(output.size())));
    EXPECT_GE(ComparePicture(frame.picture, output.data(), JpegLineStep(32, 3)).psnr, 28);
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

TEST(PatchJpegFrameSize, FailsWithoutAFrameHeaderBeforeTheScan) {
    std::vector<uint8_t> header(200);
    JpegHeaderWriter writer(header.data(), static_cast<int32_t>(header.size()));
    writer.StartOfImage();
    writer.QuantTable(0, StandardLuminanceQuantTable);
    writer.ScanHeader(1);
    EXPECT_FALSE(PatchJpegFrameSize(header.data(), writer.Length(), 10, 10));
    EXPECT_FALSE(PatchJpegFrameSize(header.data(), 0, 10, 10));
    // A header cut inside the frame header's size fields.
    JpegHeaderWriter second(header.data(), static_cast<int32_t>(header.size()));
    second.StartOfImage();
    second.FrameHeader(16, 16, 1, 0x11);
    EXPECT_FALSE(PatchJpegFrameSize(header.data(), 2 + 6, 10, 10));
    EXPECT_TRUE(PatchJpegFrameSize(header.data(), 2 + 9, 10, 20));
    EXPECT_EQ(header[2 + 5], 0);
    EXPECT_EQ(header[2 + 6], 20);
    EXPECT_EQ(header[2 + 8], 10);
}

} // namespace
