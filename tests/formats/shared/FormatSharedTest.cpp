#include "core/decoder/ReadBuffer.h"
#include "core/framelists/FrameInfoList.h"
#include "formats/riff/RiffChunks.h"
#include "formats/riff/RiffHeaders.h"
#include "formats/shared/FrameListQueries.h"

#include <gtest/gtest.h>

#include <vector>

using namespace Vorn::Vorncast::Decoders;

TEST(ReadBufferTest, GrowsToExactSizesOnlyAndFreesOnZero) {
    ReadBuffer buffer;
    EXPECT_EQ(buffer.Data(), nullptr);
    ASSERT_TRUE(buffer.Resize(100));
    EXPECT_EQ(buffer.Capacity(), 100u);
    buffer.Data()[99] = 7;
    const uint8_t* block = buffer.Data();

    ASSERT_TRUE(buffer.Resize(40));
    EXPECT_EQ(buffer.Capacity(), 100u) << "a smaller request keeps the block and its bytes";
    EXPECT_EQ(buffer.Data(), block);
    EXPECT_EQ(buffer.Data()[99], 7);

    ASSERT_TRUE(buffer.Resize(101));
    EXPECT_EQ(buffer.Capacity(), 101u);
    EXPECT_EQ(buffer.Data()[99], 0) << "growing loses the old contents";

    ASSERT_TRUE(buffer.Resize(0));
    EXPECT_EQ(buffer.Capacity(), 0u);
    EXPECT_EQ(buffer.Data(), nullptr);
}

TEST(ReadBufferTest, AnImplausibleSizeLeavesTheBufferEmpty) {
    ReadBuffer buffer;
    ASSERT_TRUE(buffer.Resize(64));
    EXPECT_FALSE(buffer.Resize(ReadBuffer::MaxCapacity + 1));
    EXPECT_EQ(buffer.Capacity(), 0u);
    EXPECT_EQ(buffer.Data(), nullptr);
    EXPECT_TRUE(buffer.Resize(64)) << "a plausible size afterwards is served again";
}

TEST(FrameListQueriesTest, CameraMaskHasABitForEachCameraUpTo127) {
    FrameInfoList list;
    for (uint16_t number : {0, 9, 9, 127, 128, 300}) {
        FrameInfo frame{};
        frame.camera.number = number;
        list.Append(frame);
    }
    uint8_t mask[CameraMaskBytes];
    std::fill(std::begin(mask), std::end(mask), 0xEE);
    MarkFrameCameras(list, mask);
    uint8_t expected[CameraMaskBytes] = {};
    expected[0] = 0x01;
    expected[1] = 0x02;
    expected[15] = 0x80;
    EXPECT_TRUE(std::equal(std::begin(mask), std::end(mask), std::begin(expected)));
}

namespace {

// Chunks are walked with their odd sizes padded, and one that claims more than remains fails.
TEST(RiffChunksTest, WalkPadsOddChunksAndRefusesOneThatRunsPastTheEnd) {
    const uint8_t chunks[] = {'a', 'b', 'c', 'd', 3, 0, 0, 0, 1, 2, 3, 0, 'e', 'f', 'g', 'h', 1, 0, 0, 0, 9};
    std::vector<uint32_t> codes;
    std::vector<size_t> sizes;
    EXPECT_TRUE(WalkRiffChunks(ByteView(chunks, sizeof chunks), [&](uint32_t code, ByteView body) {
        codes.push_back(code);
        sizes.push_back(body.Size());
        return RiffStep::Next;
    }));
    EXPECT_EQ(codes, (std::vector<uint32_t>{FourCCLE("abcd"), FourCCLE("efgh")}));
    EXPECT_EQ(sizes, (std::vector<size_t>{3, 1}));
    EXPECT_FALSE(WalkRiffChunks(ByteView(chunks, sizeof chunks - 1),
                                [](uint32_t, ByteView) { return RiffStep::Next; }));
}

TEST(RiffHeadersTest, WaveFormatGivesItsCodecBytesAndRefusesAShortForm) {
    const uint8_t format[] = {0x55, 0, 2, 0, 0x44, 0xAC, 0, 0, 0x10, 0xB1, 2, 0, 4, 0, 16, 0, 2, 0, 7, 8};
    WaveFormatEx wave;
    ASSERT_TRUE(WaveFormatEx::Read(ByteView(format, sizeof format), &wave));
    EXPECT_EQ(wave.formatTag, 0x55);
    EXPECT_EQ(wave.samplesPerSecond, 44100u);
    EXPECT_EQ(std::vector<uint8_t>(wave.extra.begin(), wave.extra.end()), (std::vector<uint8_t>{7, 8}));
    EXPECT_FALSE(WaveFormatEx::Read(ByteView(format, 15), &wave));
}

} // namespace
