// Inputs that the fuzzers found to break a codec, rebuilt here byte by byte, with what the codec
// must do with them now.
#include "codecs/jpeg/BlockJpegDecoder.h"
#include "codecs/jpeg/JpegHeaderTemplate.h"
#include "codecs/jpeg/JpegTables.h"
#include "codecs/vfw/DibPicture.h"
#include "codecs/vfw/VFWDecoder.h"

#include <gtest/gtest.h>

#include <climits>
#include <vector>

using namespace Vorn::Vorncast::Decoders;

namespace {

using Bytes = std::vector<uint8_t>;

// Width x height x 3 is one byte above the library's bound on a picture.
constexpr int32_t OversizeWidth = 12288;
constexpr int32_t OversizeHeight = 4096;
static_assert(int64_t{OversizeWidth} * OversizeHeight * 3 == Vorn::Vorncast::MaxPictureBytes + 1);

Bytes Written(void (*write)(JpegHeaderWriter&)) {
    Bytes out(1024);
    JpegHeaderWriter writer(out.data(), static_cast<int32_t>(out.size()));
    write(writer);
    out.resize(static_cast<size_t>(writer.Length()));
    return out;
}

void Tables(JpegHeaderWriter& writer) {
    writer.QuantTables(StandardLuminanceQuantTable, StandardChrominanceQuantTable);
    writer.StandardHuffmanTables(false);
}

} // namespace

TEST(BlockJpegRegression, OversizePicturesAreRefusedWithoutAllocating) {
    BlockJpegDecoder decoder;
    // One byte above the bound, and the largest 16-bit sizes as the fuzzer gave them.
    for (const Bytes& header : {Written([](JpegHeaderWriter& writer) {
                                    writer.StartOfImage();
                                    Tables(writer);
                                    writer.FrameHeader(OversizeWidth, OversizeHeight, 3, 0x21);
                                    writer.ScanHeader(3);
                                }),
                                Written([](JpegHeaderWriter& writer) {
                                    writer.StartOfImage();
                                    writer.FrameHeader(0xFFFF, 0xFFFF, 3, 0x21);
                                })}) {
        EXPECT_FALSE(decoder.ParseHeader(header.data(), static_cast<int32_t>(header.size()), 0));
        EXPECT_EQ(decoder.Width(), 0);
    }

    // Tables without a frame header: the first frame's head sets the picture size.
    const Bytes header = Written([](JpegHeaderWriter& writer) {
        writer.StartOfImage();
        Tables(writer);
        writer.ScanHeader(3);
    });
    ASSERT_TRUE(decoder.ParseHeader(header.data(), static_cast<int32_t>(header.size()), 0));
    Bytes frame = Written([](JpegHeaderWriter& writer) {
        writer.FrameHeader(OversizeWidth, OversizeHeight, 3, 0x21);
        writer.ScanHeader(3);
    });
    ASSERT_EQ(frame.size(), static_cast<size_t>(BlockJpegDecoder::BlockDataOffset));
    frame.insert(frame.end(), {0, 0, 0xFF, 0xD9});
    const auto size = static_cast<int32_t>(frame.size());
    EXPECT_FALSE(decoder.ApplyBlocks(OversizeWidth, OversizeHeight, size, 0, false, frame.data(), size));
    EXPECT_EQ(decoder.Width(), 0);
}

TEST(VfwRegression, FormatOfTheLargestSidesIsRefusedWithoutOverflow) {
    for (int32_t side : {INT32_MIN, INT32_MAX, -0x10000}) {
        const BitmapInfoHeader header{BitmapInfoHeaderSize, side, side, 1, 24, FourCCLE("XVID")};
        uint8_t format[BitmapInfoHeaderSize];
        header.Write(format);
        uint8_t answer[BitmapInfoHeaderSize] = {};
        EXPECT_FALSE(MakeRgb24Format(format, sizeof format, answer)) << side;

        VFWDecoder decoder;
        uint8_t outFormat[VFWDecoder::CallerFormatBytes] = {};
        decoder.Initialise(FourCCLE("lkz3"), format, sizeof format, outFormat);
        EXPECT_FALSE(decoder.IsBegun()) << side;
    }
    // The largest picture within the bound still gets an answer, one line more does not.
    BitmapInfoHeader header{0, 4096, static_cast<int32_t>(Vorn::Vorncast::MaxPictureBytes / 3 / 4096)};
    uint8_t format[BitmapInfoHeaderSize];
    header.Write(format);
    uint8_t answer[BitmapInfoHeaderSize] = {};
    ASSERT_TRUE(MakeRgb24Format(format, sizeof format, answer));
    EXPECT_EQ(BitmapInfoHeader::Read(ByteView(answer, sizeof answer)).height, header.height);
    ++header.height;
    header.Write(format);
    EXPECT_FALSE(MakeRgb24Format(format, sizeof format, answer));
}
