#include "core/decoder/ReadBuffer.h"
#include "core/framelists/FrameInfoList.h"
#include "formats/shared/FrameListQueries.h"

#include <gtest/gtest.h>

#include <vector>

using namespace Vorn::Vorncast::Decoders;

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
