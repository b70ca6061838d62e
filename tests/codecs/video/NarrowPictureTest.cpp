// Pictures only a few pixels wide go into buffers of exactly their size: the converter's wide
// vector stores must not reach past the end. Those stores are assembly the sanitizer cannot see,
// so the bytes behind the picture carry a canary.
#include "codecs/video/IppDecoderMPEG4.h"
#include "fixtures/codecs/CodecTestSupport.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <vector>

using namespace Vorn::Vorncast::Decoders;
using namespace CodecTest;

namespace {

constexpr int32_t Side = 8;
constexpr size_t LineBytes = Side * 3;
constexpr size_t CanaryBytes = 256;
constexpr uint8_t Canary = 0xA5;

// Brightness averaged over one line: an eight-pixel picture loses its per-column colours to chroma
// subsampling, but every line keeps its brightness, so misplaced or torn lines still show.
int32_t LineBrightness(const uint8_t* line) {
    int32_t sum = 0;
    for (int32_t x = 0; x < Side; ++x) {
        const uint8_t* pixel = line + x * 3;
        sum += (29 * pixel[0] + 150 * pixel[1] + 77 * pixel[2]) / 256;
    }
    return sum / Side;
}

} // namespace

TEST(NarrowPicture, ExactBufferOfAnEightPixelWidePictureIsNotOverrunAndKeepsItsLines) {
    EncodedVideo video;
    ASSERT_TRUE(EncodeVideo({.encoder = "mpeg4", .width = Side, .height = Side, .frames = 3}, &video));
    IppDecoderMPEG4 adapter;
    ASSERT_TRUE(adapter.Initialise(Side, Side, 3, false));
    constexpr int32_t Bytes = Side * LineBytes;
    int32_t decoded = 0;
    for (const EncodedFrame& frame : video.frames) {
        std::vector<uint8_t> buffer(Bytes + CanaryBytes, Canary);
        const uint8_t* output = buffer.data();
        const bool delivered =
            adapter.Decode(frame.data.data(), static_cast<int32_t>(frame.data.size()), buffer.data(), Bytes);
        EXPECT_TRUE(std::all_of(buffer.begin() + Bytes, buffer.end(), [](uint8_t b) { return b == Canary; }))
            << "frame " << decoded << " written past the picture";
        if (!delivered) {
            continue;
        }
        const Picture expected = MakeTestPicture(Side, Side, decoded);
        for (int32_t y = 0; y < Side; ++y) {
            EXPECT_NEAR(LineBrightness(output + y * LineBytes),
                        LineBrightness(expected.bgr.data() + y * LineBytes), 16)
                << "frame " << decoded << " line " << y;
        }
        ++decoded;
    }
    EXPECT_GT(decoded, 0);
}
