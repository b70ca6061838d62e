#include "codecs/video/IppDecoderMPEG2.h"
#include "codecs/video/VideoTestHelpers.h"

#include "model/files/FileTestSupport.h"

#include <gtest/gtest.h>

using namespace Vorn::Vorncast::Decoders;
using namespace CodecTest;
using FileTesting::LogCapture;

namespace {

EncodedVideo EncodeMpeg2(int32_t frames) {
    EncodedVideo video;
    EXPECT_TRUE(EncodeVideo({.encoder = "mpeg2video", .frames = frames}, &video));
    return video;
}

} // namespace

TEST(Mpeg2AdapterTest, CallerSizeStaysAndOutputIsCheckedAgainstIt) {
    EncodedVideo video = EncodeMpeg2(1);
    const auto& frame = video.frames[0].data;
    IppDecoderMPEG2 adapter;
    ASSERT_TRUE(adapter.Initialise(Width + 16, Height, 3, false));
    std::vector<uint8_t> output((Width + 16) * Height * 3);
    LogCapture log;
    EXPECT_FALSE(
        adapter.Decode(frame.data(), static_cast<int32_t>(frame.size()), output.data(), PictureBytes));
    EXPECT_EQ(log.Messages(), std::vector<std::string>{"IppDecoderMPEG2::Decode bad output buffer\n"});
    EXPECT_TRUE(adapter.Decode(frame.data(), static_cast<int32_t>(frame.size()), output.data(),
                               static_cast<int32_t>(output.size())));
    EXPECT_EQ(adapter.GetWidth(), Width + 16);
}
