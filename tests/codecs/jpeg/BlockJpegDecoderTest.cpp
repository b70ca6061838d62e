#include "codecs/jpeg/BlockJpegDecoder.h"

#include "fixtures/jpeg/BlockJpegWriter.h"
#include "fixtures/jpeg/JpegTestSupport.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <vector>

using namespace Vorn::Vorncast::Decoders;
using namespace Vorn::Vorncast::Decoders::Testing;

namespace {

constexpr int32_t Width = 64;
constexpr int32_t Height = 32;
constexpr int32_t Quality = 40;

int32_t Size(const std::vector<uint8_t>& bytes) {
    return static_cast<int32_t>(bytes.size());
}

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

TEST(BlockJpegDecoderTest, PictureOutsideTheBlockGridStaysBlack) {
    BlockJpegDecoder decoder;
    TestPicture picture = MakeGradient(40, 20, 3);
    ASSERT_TRUE(LoadKeyFrame(decoder, BlockJpegWriter(40, 20, Quality), picture));
    std::vector<uint8_t> out = ReadOut(decoder);
    TestPicture inside{32, 16, 3, {}};
    for (int32_t y = 0; y < 20; ++y) {
        if (y < 16) {
            inside.pixels.insert(inside.pixels.end(), picture.Pixel(0, y), picture.Pixel(32, y));
        }
        for (int32_t x = y < 16 ? 32 : 0; x < 40; ++x) {
            const uint8_t* pixel = &out[(static_cast<size_t>(y) * 40 + x) * 3];
            EXPECT_EQ(pixel[0] | pixel[1] | pixel[2], 0) << x << "," << y;
        }
    }
    EXPECT_GE(ComparePicture(inside, out.data(), 40 * 3).psnr, 28);
}

// Frames that do not fit the picture or its bytes are refused and leave the picture as it was;
// the last block may end right before the end marker, and not one byte later.
TEST(BlockJpegDecoderTest, RefusesFramesThatDoNotFitThePicture) {
    const BlockJpegWriter writer(Width, Height, Quality);
    BlockJpegDecoder decoder;
    ASSERT_TRUE(LoadKeyFrame(decoder, writer, MakeGradient(Width, Height, 3)));
    const std::vector<uint8_t> before = ReadOut(decoder);
    const BlockFrame frame = writer.MakeFrame(MakeColourBars(Width, Height));
    auto changed = [&](size_t at, uint8_t value) {
        std::vector<uint8_t> bytes = frame.bytes;
        bytes[at] = value;
        return bytes;
    };
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
        {"other height in the head", Width, frame.size, 0, false, changed(5, 0x01)},
        {"one component", Width, frame.size, 0, false, changed(9, 1)},
        {"other sampling", Width, frame.size, 0, false, changed(11, 0x22)},
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

TEST(BlockJpegDecoderTables, BlocksNeedTheTablesOfAKeyFrameOfTheirSize) {
    BlockJpegDecoder decoder;
    BlockFrame first = BlockJpegWriter(32, 16, Quality).MakeFrame(MakeGradient(32, 16, 3));
    EXPECT_FALSE(decoder.ApplyBlocks(32, 16, first.size, 0, false, first.bytes.data(), Size(first.bytes)));
    std::vector<uint8_t> none(32 * 16 * 3);
    EXPECT_FALSE(decoder.GetImage(none.data(), Size(none)));
    ASSERT_TRUE(LoadKeyFrame(decoder, BlockJpegWriter(32, 16, Quality), MakeGradient(32, 16, 3)));
    TestPicture picture = MakeColourBars(48, 24);
    BlockJpegWriter large(48, 24, Quality);
    // Blocks of the new size alone, without the new tables, are refused.
    BlockFrame frame = large.MakeFrame(picture);
    EXPECT_FALSE(decoder.ApplyBlocks(48, 24, frame.size, 0, false, frame.bytes.data(), Size(frame.bytes)));
    ASSERT_TRUE(LoadKeyFrame(decoder, large, picture));
    EXPECT_EQ(decoder.Width(), 48);
    std::vector<uint8_t> out = ReadOut(decoder);
    EXPECT_GE(ComparePicture(picture, out.data(), 48 * 3).psnr, 20);
    std::vector<uint8_t> tooSmall(out.size() - 1);
    EXPECT_FALSE(decoder.GetImage(tooSmall.data(), Size(tooSmall)));
}

} // namespace
