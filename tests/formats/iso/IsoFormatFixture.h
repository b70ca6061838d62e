#pragma once

#include "fixtures/iso/IsoBoxWriter.h"
#include "fixtures/iso/IsoRecordings.h"
#include "formats/RecorderChecks.h"

#include <algorithm>

namespace IsoTests {

using FormatTests::Delivered;
using FormatTests::LoggedTexts;
using IsoTest::Bytes;

constexpr const char* PhoneMp4Guid = "4A53EA3D-0A11-4dec-B9BD-E0EAF808EB31";
constexpr const char* Phone3gpGuid = "CEABCACD-5446-41f9-94A2-3391B2C9F578";
constexpr const char* VigilantGuid = "ACEA0A02-8FE5-4770-BBBD-6D6745371F80";

// Recordings of one MPEG-4 clip encoded at test time, with the codec's own decoding of each frame.
class IsoClipTest : public FormatTests::RecorderTest {
protected:
    void MakeClip(const IsoTest::ClipSettings& settings) {
        ASSERT_TRUE(IsoTest::MakeMpeg4Clip(settings, &clip));
        reference = CodecTest::ReferenceDecode(AV_CODEC_ID_MPEG4, clip.video, false);
        ASSERT_EQ(reference.size(), clip.video.frames.size());
    }

    // Ticks from the first sample to sample `frame`: the deltas before it.
    int64_t SampleTicks(size_t frame) const {
        uint64_t units = 0;
        for (size_t before = 0; before < frame; ++before) {
            units += clip.track.deltas[before];
        }
        return static_cast<int64_t>(units * 10000000 / clip.track.timescale);
    }

    static void ExpectPicture(const Delivered& delivered, const CodecTest::Picture& expected, size_t frame) {
        ASSERT_EQ(delivered.status, 0) << "frame " << frame << ": " << LastError();
        ASSERT_EQ(delivered.data.size(), expected.Bytes());
        EXPECT_GE(CodecTest::Psnr(expected, delivered.data.data()), 40.0) << "frame " << frame;
    }

    // The size and aspect of the frame's description.
    void ExpectShape(int stream, const Delivered& frame, int width, int height, int aspectX, int aspectY) {
        const VcPublicVideoDescription description = VideoDescription(stream, frame);
        EXPECT_EQ(description.width, width);
        EXPECT_EQ(description.height, height);
        EXPECT_EQ(description.aspectNumerator, aspectX);
        EXPECT_EQ(description.aspectDenominator, aspectY);
    }

    static bool IsBlack(const Bytes& picture) {
        return !picture.empty() &&
               std::all_of(picture.begin(), picture.end(), [](uint8_t byte) { return byte == 0; });
    }

    IsoTest::VideoClip clip;
    std::vector<CodecTest::Picture> reference;
};

} // namespace IsoTests
