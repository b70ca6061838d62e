#include "core/decoder/ReadBuffer.h"
#include "core/framelists/FrameInfoList.h"
#include "formats/shared/FrameListQueries.h"
#include "formats/shared/JpegStartScan.h"

#include <gtest/gtest.h>

#include <vector>

using namespace Vorn::Vorncast::Decoders;

namespace {

std::vector<uint64_t> Starts(const std::vector<uint8_t>& block, uint64_t blockOffset) {
    std::vector<uint64_t> found;
    ScanJpegStarts(ByteView(block.data(), block.size()), blockOffset,
                   [&](uint64_t offset) { found.push_back(offset); });
    return found;
}

void AppendStarts(FrameInfoList& list, const std::vector<uint64_t>& offsets) {
    for (uint64_t offset : offsets) {
        FrameInfo frame{};
        frame.offset = offset;
        list.Append(frame);
    }
}

} // namespace

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

TEST(JpegStartScanTest, EveryStartPairCountsAtTheOffsetOfItsLastFF) {
    EXPECT_EQ(Starts({0xFF, 0xD8, 0x00, 0xFF, 0xD8}, 0), (std::vector<uint64_t>{0, 3}));
    EXPECT_EQ(Starts({0x11, 0xFF, 0xFF, 0xD8}, 4096), (std::vector<uint64_t>{4098}));
    EXPECT_EQ(Starts({0xFF, 0x00, 0xD8, 0xFF, 0xD9, 0xD8}, 0), (std::vector<uint64_t>{}))
        << "a byte other than 0xFF behind 0xFF clears the pair";
    EXPECT_EQ(Starts({0xD8, 0xFF}, 0), (std::vector<uint64_t>{}));
}

TEST(JpegStartScanTest, APairSplitBetweenTwoBlocksIsNotSeen) {
    std::vector<uint8_t> first(4096, 0x20);
    first[4095] = 0xFF;
    std::vector<uint8_t> second(4096, 0x20);
    second[0] = 0xD8;
    EXPECT_TRUE(Starts(first, 0).empty());
    EXPECT_TRUE(Starts(second, 4096).empty());
}

TEST(JpegStartScanTest, FramesReachToTheNextStartAndTheLastToTheEndOfTheFile) {
    FrameInfoList list;
    AppendStarts(list, {10, 110, 1110});
    SizeJpegFrames(list, 5000);
    EXPECT_EQ(list.GetAt(0).size, 100u);
    EXPECT_EQ(list.GetAt(1).size, 1000u);
    EXPECT_EQ(list.GetAt(2).size, 3890u);
    EXPECT_EQ(list.MaxFrameSize(), 3890u);

    FrameInfoList lone;
    AppendStarts(lone, {100});
    SizeJpegFrames(lone, 5000);
    EXPECT_EQ(lone.GetAt(0).size, 5000u) << "a lone frame takes the whole file wherever it starts";

    FrameInfoList beyond;
    AppendStarts(beyond, {0, 6096});
    SizeJpegFrames(beyond, 4196);
    EXPECT_EQ(beyond.GetAt(1).size, static_cast<uint32_t>(4196 - 6096)) << "a start past the end wraps";
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
