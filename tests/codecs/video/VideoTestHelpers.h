#pragma once

#include "codecs/video/IppDecoder.h"
#include "fixtures/codecs/CodecTestSupport.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <vector>

namespace CodecTest {

// The size of the test clips the adapters decode.
constexpr int32_t Width = 176;
constexpr int32_t Height = 144;
constexpr int32_t PictureBytes = Width * Height * 3;

// What feeding a run of access units through an adapter gave.
struct AdapterRun {
    std::vector<Picture> pictures; // one for each call that wrote a picture, in call order
    std::vector<int32_t> types;    // GetFrameType after each such call
    int32_t heldBack = 0;          // calls that succeeded without a picture
    int32_t failures = 0;
};

inline AdapterRun DecodeAll(Vorn::Vorncast::Decoders::IppDecoder& adapter,
                            const std::vector<EncodedFrame>& frames, int32_t width, int32_t height,
                            size_t first = 0, size_t count = SIZE_MAX) {
    AdapterRun run;
    std::vector<uint8_t> output(static_cast<size_t>(width) * height * 3, 0x5A);
    for (size_t index = first; index < frames.size() && index - first < count; ++index) {
        const auto& data = frames[index].data;
        if (!adapter.Decode(data.data(), static_cast<int32_t>(data.size()), output.data(),
                            static_cast<int32_t>(output.size()))) {
            ++run.failures;
        } else if (adapter.HasNewPicture()) {
            run.pictures.push_back({width, height, output});
            run.types.push_back(adapter.GetFrameType());
        } else {
            ++run.heldBack;
        }
    }
    return run;
}

// The bound a decoded picture must reach against the picture that was encoded: well above what a
// swapped channel, a flipped picture or a wrong stride would give.
constexpr double SourcePsnrBound = 30.0;

inline void ExpectSamePictures(const std::vector<Picture>& actual, const std::vector<Picture>& expected) {
    ASSERT_EQ(actual.size(), expected.size());
    for (size_t index = 0; index < actual.size(); ++index) {
        EXPECT_TRUE(actual[index].bgr == expected[index].bgr) << "picture " << index;
    }
}

// Decoding `frame` into a picture buffer of `pictureBytes` fails.
inline void ExpectRefused(Vorn::Vorncast::Decoders::IppDecoder& adapter, const std::vector<uint8_t>& frame,
                          int32_t pictureBytes) {
    std::vector<uint8_t> output(static_cast<size_t>(pictureBytes));
    EXPECT_FALSE(
        adapter.Decode(frame.data(), static_cast<int32_t>(frame.size()), output.data(), pictureBytes));
}

// One frame foreign to the adapter of `codec`: MPEG-4 part 2, or MPEG-2 for the MPEG-4 adapter.
inline std::vector<uint8_t> ForeignFrame(AVCodecID codec = AV_CODEC_ID_NONE) {
    EncodedVideo foreign;
    EXPECT_TRUE(
        EncodeVideo({.encoder = codec == AV_CODEC_ID_MPEG4 ? "mpeg2video" : "mpeg4", .frames = 1}, &foreign));
    return foreign.frames.empty() ? std::vector<uint8_t>{} : foreign.frames[0].data;
}

} // namespace CodecTest
