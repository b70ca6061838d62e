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

// The bytes of a 16 x 8 block of an unpadded blue-first picture.
std::vector<uint8_t> BlockOf(const std::vector<uint8_t>& picture, int32_t width, int32_t column,
                             int32_t row) {
    std::vector<uint8_t> block;
    for (int32_t y = 0; y < 8; ++y) {
        auto line = picture.begin() + ((row * 8 + y) * width + column * 16) * 3;
        block.insert(block.end(), line, line + 16 * 3);
    }
    return block;
}

// A key frame as recorders store it: the frame, then its tables, read in one piece.
struct KeyFrame {
    std::vector<uint8_t> bytes;
    int32_t imageSize;
};

KeyFrame MakeKeyFrame(const BlockJpegWriter& writer, const TestPicture& picture) {
    BlockFrame frame = writer.MakeFrame(picture);
    KeyFrame key{frame.bytes, frame.size};
    key.bytes.resize(static_cast<size_t>(frame.size));
    std::vector<uint8_t> tables = writer.Tables();
    key.bytes.insert(key.bytes.end(), tables.begin(), tables.end());
    return key;
}

class BlockJpegDecoderTest : public testing::Test {
protected:
    bool LoadKeyFrame(const TestPicture& picture) {
        KeyFrame key = MakeKeyFrame(writer, picture);
        return decoder.ParseHeader(key.bytes.data(), Size(key.bytes), key.imageSize) &&
               decoder.ApplyBlocks(Width, Height, key.imageSize, 0, false, key.bytes.data(), Size(key.bytes));
    }

    BlockJpegWriter writer{Width, Height, Quality};
    BlockJpegDecoder decoder;
    TestPicture first = MakeGradient(Width, Height, 3);
    TestPicture second = MakeColourBars(Width, Height);
};

TEST_F(BlockJpegDecoderTest, KeyFrameDecodesToTheEncodedPicture) {
    ASSERT_TRUE(LoadKeyFrame(first));
    EXPECT_EQ(decoder.Width(), Width);
    EXPECT_EQ(decoder.Height(), Height);
    std::vector<uint8_t> picture = ReadOut(decoder);
    EXPECT_GE(ComparePicture(first, picture.data(), Width * 3).psnr, 30);
}

// The same blocks in an ordinary JPEG with a restart at every MCU decode the same through libjpeg:
// entropy decoding, dequantisation, IDCT and colour conversion all agree with a reference.
TEST_F(BlockJpegDecoderTest, AgreesWithLibjpegOnTheSameBlocks) {
    for (const TestPicture& picture : {first, second}) {
        ASSERT_TRUE(LoadKeyFrame(picture));
        std::vector<uint8_t> ours = ReadOut(decoder);
        std::vector<uint8_t> reference = DecodeWithLibjpeg(writer.MakeRestartJpeg(picture));
        ASSERT_EQ(ours.size(), reference.size());
        int32_t worst = 0;
        for (size_t i = 0; i < ours.size(); ++i) {
            worst = std::max(worst, std::abs(ours[i] - reference[i]));
        }
        EXPECT_LE(worst, 2);
    }
}

TEST_F(BlockJpegDecoderTest, DeltaFrameReplacesOnlyTheBlocksOfItsBitmap) {
    ASSERT_TRUE(LoadKeyFrame(first));
    std::vector<uint8_t> before = ReadOut(decoder);
    std::vector<bool> present(static_cast<size_t>(writer.Columns() * writer.Rows()));
    for (size_t i = 0; i < present.size(); ++i) {
        present[i] = i % 3 == 1;
    }
    BlockFrame delta = writer.MakeFrame(second, &present, 7);
    ASSERT_TRUE(decoder.ApplyBlocks(Width, Height, delta.size, delta.bitmapOffset, true, delta.bytes.data(),
                                    Size(delta.bytes)));
    std::vector<uint8_t> after = ReadOut(decoder);
    std::vector<uint8_t> fresh;
    {
        BlockJpegDecoder reference;
        KeyFrame key = MakeKeyFrame(writer, second);
        ASSERT_TRUE(reference.ParseHeader(key.bytes.data(), Size(key.bytes), key.imageSize));
        ASSERT_TRUE(
            reference.ApplyBlocks(Width, Height, key.imageSize, 0, false, key.bytes.data(), Size(key.bytes)));
        fresh = ReadOut(reference);
    }
    int32_t index = 0;
    for (int32_t row = 0; row < writer.Rows(); ++row) {
        for (int32_t column = 0; column < writer.Columns(); ++column, ++index) {
            const std::vector<uint8_t>& expected = present[static_cast<size_t>(index)] ? fresh : before;
            EXPECT_EQ(BlockOf(after, Width, column, row), BlockOf(expected, Width, column, row)) << index;
        }
    }
}

TEST_F(BlockJpegDecoderTest, PictureOutsideTheBlockGridStaysBlack) {
    BlockJpegWriter oddWriter(40, 20, Quality);
    TestPicture picture = MakeGradient(40, 20, 3);
    KeyFrame key = MakeKeyFrame(oddWriter, picture);
    ASSERT_TRUE(decoder.ParseHeader(key.bytes.data(), Size(key.bytes), key.imageSize));
    ASSERT_TRUE(decoder.ApplyBlocks(40, 20, key.imageSize, 0, false, key.bytes.data(), Size(key.bytes)));
    std::vector<uint8_t> out = ReadOut(decoder);
    TestPicture inside = picture;
    for (int32_t y = 0; y < 20; ++y) {
        for (int32_t x = 0; x < 40; ++x) {
            const uint8_t* pixel = &out[(static_cast<size_t>(y) * 40 + x) * 3];
            if (x >= 32 || y >= 16) {
                EXPECT_EQ(pixel[0] | pixel[1] | pixel[2], 0) << x << "," << y;
            } else {
                std::copy(pixel, pixel + 3, inside.Pixel(x, y));
            }
        }
    }
    TestPicture expected = picture;
    for (int32_t y = 0; y < 20; ++y) {
        for (int32_t x = 32; x < 40; ++x) {
            std::fill(expected.Pixel(x, y), expected.Pixel(x, y) + 3, 0);
            std::fill(inside.Pixel(x, y), inside.Pixel(x, y) + 3, 0);
        }
    }
    expected.height = inside.height = 16;
    EXPECT_GE(ComparePicture(expected, inside.pixels.data(), 40 * 3).psnr, 28);
}

TEST_F(BlockJpegDecoderTest, BlockRunningPastTheFrameFailsAfterTheBlocksBefore) {
    ASSERT_TRUE(LoadKeyFrame(first));
    std::vector<uint8_t> before = ReadOut(decoder);
    BlockFrame frame = writer.MakeFrame(second);
    // The first block is whole; the second claims more bytes than the frame holds.
    size_t secondBlock =
        BlockJpegDecoder::BlockDataOffset + 1 + frame.bytes[BlockJpegDecoder::BlockDataOffset];
    frame.bytes[secondBlock] = 0xFF;
    int32_t size = static_cast<int32_t>(secondBlock) + 40;
    EXPECT_FALSE(decoder.ApplyBlocks(Width, Height, size, 0, false, frame.bytes.data(), Size(frame.bytes)));
    std::vector<uint8_t> after = ReadOut(decoder);
    EXPECT_NE(BlockOf(after, Width, 0, 0), BlockOf(before, Width, 0, 0));
    EXPECT_EQ(BlockOf(after, Width, 1, 0), BlockOf(before, Width, 1, 0));
    EXPECT_EQ(BlockOf(after, Width, 3, 3), BlockOf(before, Width, 3, 3));
}

TEST_F(BlockJpegDecoderTest, LastBlockMayEndRightBeforeTheEndMarker) {
    ASSERT_TRUE(LoadKeyFrame(first));
    BlockFrame frame = writer.MakeFrame(second);
    EXPECT_TRUE(decoder.ApplyBlocks(Width, Height, frame.size, 0, false, frame.bytes.data(), frame.size));
    EXPECT_FALSE(
        decoder.ApplyBlocks(Width, Height, frame.size - 1, 0, false, frame.bytes.data(), frame.size));
}

TEST_F(BlockJpegDecoderTest, RefusesFramesThatDoNotFitThePicture) {
    ASSERT_TRUE(LoadKeyFrame(first));
    std::vector<uint8_t> before = ReadOut(decoder);
    BlockFrame frame = writer.MakeFrame(second);
    int32_t total = Size(frame.bytes);
    EXPECT_FALSE(decoder.ApplyBlocks(Width + 16, Height, frame.size, 0, false, frame.bytes.data(), total));
    EXPECT_FALSE(decoder.ApplyBlocks(Width, Height, 33, 0, false, frame.bytes.data(), total));
    EXPECT_FALSE(decoder.ApplyBlocks(Width, Height, frame.size, 0, false, nullptr, total));
    // Bitmap beyond the bytes given.
    EXPECT_FALSE(decoder.ApplyBlocks(Width, Height, frame.size, 1, true, frame.bytes.data(), total));
    EXPECT_FALSE(
        decoder.ApplyBlocks(Width, Height, frame.size, -frame.size - 1, true, frame.bytes.data(), total));

    std::vector<uint8_t> otherSize = frame.bytes;
    otherSize[5] = 0x01; // height 256 + 32 in the head
    EXPECT_FALSE(decoder.ApplyBlocks(Width, Height, frame.size, 0, false, otherSize.data(), total));
    std::vector<uint8_t> oneComponent = frame.bytes;
    oneComponent[9] = 1;
    EXPECT_FALSE(decoder.ApplyBlocks(Width, Height, frame.size, 0, false, oneComponent.data(), total));
    std::vector<uint8_t> otherSampling = frame.bytes;
    otherSampling[11] = 0x22;
    EXPECT_FALSE(decoder.ApplyBlocks(Width, Height, frame.size, 0, false, otherSampling.data(), total));
    EXPECT_EQ(ReadOut(decoder), before);
}

TEST(BlockJpegDecoderTables, BlocksNeedTheTablesOfAKeyFrame) {
    BlockJpegWriter writer(32, 16, Quality);
    BlockFrame frame = writer.MakeFrame(MakeGradient(32, 16, 3));
    BlockJpegDecoder decoder;
    EXPECT_FALSE(decoder.ApplyBlocks(32, 16, frame.size, 0, false, frame.bytes.data(), Size(frame.bytes)));
    std::vector<uint8_t> picture(32 * 16 * 3);
    EXPECT_FALSE(decoder.GetImage(picture.data(), Size(picture)));
}

TEST(BlockJpegDecoderTables, ParseHeaderRefusals) {
    BlockJpegWriter writer(32, 16, Quality);
    std::vector<uint8_t> tables = writer.Tables();
    BlockJpegDecoder decoder;
    EXPECT_TRUE(decoder.ParseHeader(tables.data(), Size(tables), 0));
    EXPECT_FALSE(decoder.ParseHeader(tables.data(), Size(tables), 1));
    EXPECT_FALSE(decoder.ParseHeader(tables.data(), 1, 0));

    std::vector<uint8_t> zeroMarker = {0xFF, 0xD8, 0x00, 0x00, 0x00, 0x04};
    EXPECT_FALSE(decoder.ParseHeader(zeroMarker.data(), Size(zeroMarker), 0));
    std::vector<uint8_t> zeroLength = {0xFF, 0xD8, 0xFF, 0xE0, 0x00, 0x00};
    EXPECT_FALSE(decoder.ParseHeader(zeroLength.data(), Size(zeroLength), 0));
    std::vector<uint8_t> pastEnd = {0xFF, 0xD8, 0xFF, 0xE0, 0x00, 0x10, 0x00};
    EXPECT_FALSE(decoder.ParseHeader(pastEnd.data(), Size(pastEnd), 0));
    // A table cut short inside its segment.
    std::vector<uint8_t> shortTable = {0xFF, 0xD8, 0xFF, 0xDB, 0x00, 0x10, 0x00, 1,  2,  3,
                                       4,    5,    6,    7,    8,    9,    10,   11, 12, 13};
    EXPECT_FALSE(decoder.ParseHeader(shortTable.data(), Size(shortTable), 0));
    // Unknown segments are skipped, and the end of the bytes ends the tables.
    std::vector<uint8_t> skipped = {0xFF, 0xD8, 0xFF, 0xFE, 0x00, 0x04, 0xAB, 0xCD};
    EXPECT_TRUE(decoder.ParseHeader(skipped.data(), Size(skipped), 0));
}

TEST(BlockJpegDecoderTables, KeyFrameOfAnotherSizeStartsANewPicture) {
    BlockJpegDecoder decoder;
    BlockJpegWriter small(32, 16, Quality);
    KeyFrame key = MakeKeyFrame(small, MakeGradient(32, 16, 3));
    ASSERT_TRUE(decoder.ParseHeader(key.bytes.data(), Size(key.bytes), key.imageSize));
    ASSERT_TRUE(decoder.ApplyBlocks(32, 16, key.imageSize, 0, false, key.bytes.data(), Size(key.bytes)));
    BlockJpegWriter large(48, 24, Quality);
    TestPicture picture = MakeColourBars(48, 24);
    KeyFrame largeKey = MakeKeyFrame(large, picture);
    EXPECT_FALSE(decoder.ApplyBlocks(48, 24, largeKey.imageSize, 0, false, largeKey.bytes.data(),
                                     Size(largeKey.bytes)));
    ASSERT_TRUE(decoder.ParseHeader(largeKey.bytes.data(), Size(largeKey.bytes), largeKey.imageSize));
    EXPECT_EQ(decoder.Width(), 48);
    ASSERT_TRUE(decoder.ApplyBlocks(48, 24, largeKey.imageSize, 0, false, largeKey.bytes.data(),
                                    Size(largeKey.bytes)));
    std::vector<uint8_t> out = ReadOut(decoder);
    EXPECT_GE(ComparePicture(picture, out.data(), 48 * 3).psnr, 20);
    std::vector<uint8_t> tooSmall(out.size() - 1);
    EXPECT_FALSE(decoder.GetImage(tooSmall.data(), Size(tooSmall)));
}

} // namespace
