#include "MissingTool.h"
#include "codecs/video/H264Framing.h"
#include "codecs/video/IppDecoderH264.h"
#include "codecs/video/VideoTestHelpers.h"
#include "fixtures/codecs/H264Units.h"

#include <gtest/gtest.h>

#include <algorithm>

using namespace Vorn::Vorncast::Decoders;
using namespace CodecTest;

namespace {

using Bytes = std::vector<uint8_t>;

class H264AdapterTest : public ::testing::Test {
protected:
    void SetUp() override {
        if (!HasEncoder("libx264")) {
            SKIP_OR_FAIL_FOR_MISSING("the libx264 encoder");
        }
    }

    static EncodedVideo Encode(int32_t frames, int32_t bFrames, bool globalHeader) {
        EncodedVideo video;
        EXPECT_TRUE(EncodeVideo({.encoder = "libx264",
                                 .frames = frames,
                                 .bFrames = bFrames,
                                 .globalHeader = globalHeader,
                                 .options = {{"crf", "16"}, {"preset", "veryfast"}}},
                                &video));
        return video;
    }

    IppDecoderH264 adapter;
};

} // namespace

// Access units with length prefixes of four bytes and in-band parameter sets, of two bytes with
// the sets in an AVC record, and with start codes and the sets in start-code configuration.
TEST_F(H264AdapterTest, LengthPrefixesAndParameterSetsFromConfigurationDecodeAlike) {
    for (bool globalHeader : {false, true}) {
        EncodedVideo video = Encode(4, 0, globalHeader);
        const std::vector<Picture> reference = ReferenceDecode(AV_CODEC_ID_H264, video, false);
        ASSERT_EQ(reference.size(), video.frames.size());
        const int32_t lengthSize = globalHeader ? 2 : 4;
        EncodedVideo prefixed = video;
        for (EncodedFrame& frame : prefixed.frames) {
            frame.data = LengthPrefixed(frame.data, lengthSize);
        }
        const Bytes record = globalHeader ? AvcConfiguration(video.extradata, 2) : Bytes{};
        IppDecoderH264 lengths;
        ASSERT_TRUE(lengths.Initialise(Width, Height, 3, false, record.empty() ? nullptr : record.data(),
                                       static_cast<int32_t>(record.size())));
        AdapterRun run = DecodeAll(lengths, prefixed.frames, Width, Height);
        EXPECT_EQ(run.failures, 0);
        ExpectSamePictures(run.pictures, reference);
    }
    EncodedVideo video = Encode(4, 0, true);
    ASSERT_FALSE(video.extradata.empty());
    ASSERT_TRUE(adapter.Initialise(Width, Height, 3, false, video.extradata.data(),
                                   static_cast<int32_t>(video.extradata.size())));
    ExpectSamePictures(DecodeAll(adapter, video.frames, Width, Height).pictures,
                       ReferenceDecode(AV_CODEC_ID_H264, video, false));

    // Without the parameter sets nothing can be decoded.
    IppDecoderH264 bare;
    ASSERT_TRUE(bare.Initialise(Width, Height, 3, false));
    EXPECT_TRUE(DecodeAll(bare, video.frames, Width, Height).pictures.empty());
}

TEST(H264FramingTest, LengthPrefixedUnitsMustFillTheAccessUnitExactly) {
    const Bytes twoUnits = {0, 0, 0, 2, 0x65, 0x11, 0, 0, 0, 1, 0x41};
    EXPECT_TRUE(IsLengthPrefixed(ByteView(twoUnits.data(), twoUnits.size()), 4));
    EXPECT_FALSE(IsLengthPrefixed(ByteView(twoUnits.data(), twoUnits.size() - 1), 4));
    Bytes longer = twoUnits;
    longer.push_back(0);
    EXPECT_FALSE(IsLengthPrefixed(ByteView(longer.data(), longer.size()), 4));
    const Bytes forbidden = {0, 2, 0xE5, 0x11};
    EXPECT_FALSE(IsLengthPrefixed(ByteView(forbidden.data(), forbidden.size()), 2));
    const Bytes zeroLength = {0, 0, 0x41};
    EXPECT_FALSE(IsLengthPrefixed(ByteView(zeroLength.data(), zeroLength.size()), 2));
    const Bytes oneByte = {2, 0x65, 0x11, 1, 0x41};
    EXPECT_TRUE(IsLengthPrefixed(ByteView(oneByte.data(), oneByte.size()), 1));
    EXPECT_FALSE(IsLengthPrefixed(ByteView(), 4));

    Bytes converted(StartCodeFormSize(ByteView(oneByte.data(), oneByte.size()), 1));
    WriteStartCodeForm(ByteView(oneByte.data(), oneByte.size()), 1, converted.data());
    EXPECT_EQ(converted, (Bytes{0, 0, 0, 1, 0x65, 0x11, 0, 0, 0, 1, 0x41}));
}

TEST(H264FramingTest, StartCodesAndAvcRecords) {
    const Bytes threeByte = {0, 0, 1, 0x67};
    const Bytes fourByte = {0, 0, 0, 1, 0x67};
    const Bytes neither = {0, 0, 2, 0x67};
    EXPECT_TRUE(StartsWithStartCode(ByteView(threeByte.data(), threeByte.size())));
    EXPECT_TRUE(StartsWithStartCode(ByteView(fourByte.data(), fourByte.size())));
    EXPECT_FALSE(StartsWithStartCode(ByteView(neither.data(), neither.size())));

    const Bytes record = {1, 0x42, 0xC0, 0x1E, 0xFD, 0xE1, 0, 2, 0x67, 0x42, 1, 0, 1, 0x68};
    int32_t lengthSize = 0;
    Bytes sets;
    ASSERT_TRUE(ParseAvcConfiguration(ByteView(record.data(), record.size()), &lengthSize, &sets));
    EXPECT_EQ(lengthSize, 2);
    EXPECT_EQ(sets, (Bytes{0, 0, 0, 1, 0x67, 0x42, 0, 0, 0, 1, 0x68}));
    EXPECT_FALSE(ParseAvcConfiguration(ByteView(record.data(), record.size() - 1), &lengthSize, &sets));
    Bytes wrongVersion = record;
    wrongVersion[0] = 0;
    EXPECT_FALSE(
        ParseAvcConfiguration(ByteView(wrongVersion.data(), wrongVersion.size()), &lengthSize, &sets));
}
