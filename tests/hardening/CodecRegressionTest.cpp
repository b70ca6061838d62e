// Inputs that the fuzzers found to break a codec, rebuilt here byte by byte, with what the codec
// must do with them now.
#include "codecs/jpeg/BlockJpegDecoder.h"
#include "codecs/jpeg/JpegHeaderTemplate.h"
#include "codecs/jpeg/JpegTables.h"

#include <gtest/gtest.h>

#include <vector>

using namespace Vorn::Vorncast::Decoders;

namespace {

using Bytes = std::vector<uint8_t>;

// Width x height x 3 is one byte above the library's bound on a picture.
constexpr int32_t OversizeWidth = 12288;
constexpr int32_t OversizeHeight = 4096;
static_assert(int64_t{OversizeWidth} * OversizeHeight * 3 == BlockJpegDecoder::MaxPictureBytes + 1);

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

TEST(BlockJpegRegression, HeaderWithAnOversizePictureIsRefusedWithoutAllocating) {
    Bytes header = Written([](JpegHeaderWriter& writer) {
        writer.StartOfImage();
        Tables(writer);
        writer.FrameHeader(OversizeWidth, OversizeHeight, 3, 0x21);
        writer.ScanHeader(3);
    });
    BlockJpegDecoder decoder;
    EXPECT_FALSE(decoder.ParseHeader(header.data(), static_cast<int32_t>(header.size()), 0));
    EXPECT_EQ(decoder.Width(), 0);
    EXPECT_EQ(decoder.Height(), 0);

    // The largest 16-bit sizes, as the fuzzer gave them.
    header = Written([](JpegHeaderWriter& writer) {
        writer.StartOfImage();
        writer.FrameHeader(0xFFFF, 0xFFFF, 3, 0x21);
    });
    EXPECT_FALSE(decoder.ParseHeader(header.data(), static_cast<int32_t>(header.size()), 0));
    EXPECT_EQ(decoder.Width(), 0);
}

TEST(BlockJpegRegression, FirstFrameWithAnOversizePictureIsRefusedWithoutAllocating) {
    // Tables without a frame header: the first frame's head sets the picture size.
    Bytes header = Written([](JpegHeaderWriter& writer) {
        writer.StartOfImage();
        Tables(writer);
        writer.ScanHeader(3);
    });
    BlockJpegDecoder decoder;
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
