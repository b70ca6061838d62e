#include "codecs/video/IppDecoderMPEG4.h"
#include "codecs/video/VideoTestHelpers.h"

#include "model/files/FileTestSupport.h"

#include <gtest/gtest.h>

#include <algorithm>

using namespace Vorn;
using namespace Vorn::Vorncast::Decoders;
using namespace CodecTest;
using FileTesting::LogCapture;

namespace {

EncodedVideo Encode(const char* encoder, int32_t frames) {
    EncodedVideo video;
    EXPECT_TRUE(EncodeVideo({.encoder = encoder, .frames = frames}, &video)) << encoder;
    return video;
}

bool DecodeInto(IppDecoder& adapter, const EncodedFrame& frame, std::vector<uint8_t>& output) {
    return adapter.Decode(frame.data.data(), static_cast<int32_t>(frame.data.size()), output.data(),
                          static_cast<int32_t>(output.size()));
}

class Mpeg4AdapterTest : public ::testing::Test {
protected:
    static void SetUpTestSuite() { plain = new EncodedVideo(Encode("mpeg4", 1)); }
    static void TearDownTestSuite() { delete plain; }

    static inline EncodedVideo* plain = nullptr;
    IppDecoderMPEG4 adapter;
};

} // namespace

// Other sizes cut the picture or pad it with black; line doubling writes every line twice.
TEST_F(Mpeg4AdapterTest, OutputGeometryFollowsTheInitialisedSize) {
    const Picture full = ReferenceDecode(AV_CODEC_ID_MPEG4, *plain, false)[0];
    for (auto [delta, doubling] : {std::pair{-16, false}, std::pair{16, false}, std::pair{0, true}}) {
        const int32_t width = Width + delta;
        const int32_t height = Height + delta;
        IppDecoderMPEG4 sized;
        ASSERT_TRUE(sized.Initialise(width, height, 3, doubling));
        const int32_t rows = doubling ? 2 * height : height;
        std::vector<uint8_t> output(static_cast<size_t>(width) * rows * 3, 0x5A);
        ASSERT_TRUE(DecodeInto(sized, plain->frames[0], output));
        for (int32_t y = 0; y < rows; ++y) {
            const int32_t row = doubling ? y / 2 : y;
            for (int32_t x = 0; x < width * 3; ++x) {
                const uint8_t expected = (row < Height && x < Width * 3) ? full.bgr[row * Width * 3 + x] : 0;
                ASSERT_EQ(output[y * width * 3 + x], expected) << "size " << width << " at " << x << "," << y;
            }
        }
    }
}

TEST_F(Mpeg4AdapterTest, MissingInputLogsTheMediaDataTexts) {
    ASSERT_TRUE(adapter.Initialise(Width, Height, 3, false));
    std::vector<uint8_t> output(PictureBytes);
    LogCapture log;
    EXPECT_FALSE(adapter.Decode(nullptr, 100, output.data(), PictureBytes));
    EXPECT_FALSE(adapter.Decode(plain->frames[0].data.data(), 0, output.data(), PictureBytes));
    EXPECT_EQ(log.Messages(), (std::vector<std::string>{"MediaDataEx::SetBufferPointer failed\n",
                                                        "MediaDataEx::SetDataSize failed\n"}));
}

TEST_F(Mpeg4AdapterTest, BufferFormReportsOneOrZero) {
    ASSERT_TRUE(adapter.Initialise(Width, Height, 3, false));
    const auto& frame = plain->frames[0].data;
    Buffer input(static_cast<int32_t>(frame.size()));
    std::copy(frame.begin(), frame.end(), input.Data());
    Buffer output(PictureBytes);
    EXPECT_EQ(adapter.Decode(input, 0, output, 0), 1);
    const Picture reference = ReferenceDecode(AV_CODEC_ID_MPEG4, *plain, false)[0];
    EXPECT_TRUE(std::equal(reference.bgr.begin(), reference.bgr.end(), output.Data()));
    EXPECT_EQ(adapter.Decode(Buffer(), 0, output, 0), 0);
    EXPECT_EQ(adapter.Decode(input, 0, Buffer(), 0), 0);
}
