#include "core/time/Ticks.h"
#include "fixtures/codecs/CodecTestSupport.h"
#include "fixtures/formats/PelcoEnduraWriter.h"
#include "formats/RecorderChecks.h"

#include <algorithm>
#include <string_view>

namespace {

using namespace FormatTests;
using Vorn::Vorncast::Decoders::Testing::EnduraFrame;
using Vorn::Vorncast::Decoders::Testing::WritePelcoEndura;

constexpr const char* EnduraGuid = "F1532EFF-6CF0-4897-922B-AC284D95F38D";
constexpr uint32_t Width = 96;
constexpr uint32_t Height = 64;
constexpr uint32_t FirstSecond = 1700000000;

class PelcoEnduraTest : public RecorderTest {
protected:
    void SetUp() override {
        RecorderTest::SetUp();
        frames = Vorn::Vorncast::Decoders::Testing::EncodeEnduraClip(Width, Height, 12, 5);
        ASSERT_FALSE(frames.empty());
        CodecTest::EncodedVideo video;
        for (size_t index = 0; index < frames.size(); ++index) {
            video.frames.push_back({frames[index].data, frames[index].key, static_cast<int64_t>(index)});
            frames[index].seconds = FirstSecond + static_cast<uint32_t>(index / 4);
            frames[index].microseconds = static_cast<uint32_t>(index % 4) * 250000 + 17;
            frames[index].timeOffset = index < 6 ? -5 : 3600;
        }
        reference = CodecTest::ReferenceDecode(AV_CODEC_ID_MPEG4, video, false);
    }

    static int64_t TimeOf(const EnduraFrame& frame) {
        return ((int64_t{frame.seconds} + Vorn::Vorncast::Decoders::UnixEpochSeconds) * 1000000 +
                frame.microseconds) *
               10;
    }

    void ExpectFrame(const Delivered& delivered, size_t index) {
        ASSERT_EQ(delivered.status, 0) << "frame " << index;
        EXPECT_EQ(delivered.time.recordedTime, TimeOf(frames[index])) << "frame " << index;
        EXPECT_EQ(delivered.time.zoneBias >> 32, frames[index].timeOffset) << "frame " << index;
        ASSERT_EQ(delivered.data.size(), reference[index].Bytes());
        EXPECT_GE(CodecTest::Psnr(reference[index], delivered.data.data()), 40.0) << "frame " << index;
    }

    std::vector<CodecTest::Picture> reference;
    std::vector<EnduraFrame> frames;
};

// Every frame in order with the recorder's stamp to the microsecond and its time offset, the
// picture as libavcodec decodes it, the camera named by the export; then back again, and a seek
// into the middle of a group of pictures.
TEST_F(PelcoEnduraTest, FramesStepThroughAndSeekIntoAGroup) {
    AddFile("/export/cam.pef", WritePelcoEndura(frames, "Loading Bay", Width, Height).bytes);
    ASSERT_EQ(Load(EnduraGuid, "/export/cam.pef"), 0) << LastError();
    const int stream = VideoStream();
    EXPECT_EQ(StreamName(stream), "Loading Bay");
    StepThrough(stream, frames.size(),
                [&](const Delivered& frame, size_t index) { ExpectFrame(frame, index); });
    ExpectFrame(GoTo(stream, TimeOf(frames[8]) + 1), 8);
    ExpectFrame(Next(stream), 9);
}

TEST_F(PelcoEnduraTest, DamagedExportsEndTheLoadWithTheirText) {
    const std::vector<uint8_t> good = WritePelcoEndura(frames, "Gate", Width, Height).bytes;
    auto at = [&](std::string_view text) {
        return static_cast<size_t>(std::search(good.begin(), good.end(), text.begin(), text.end()) -
                                   good.begin());
    };
    const std::string prefix = "DecodePelcoEndura::LoadingReadComplete failed ";
    ExpectLoadsFail(EnduraGuid, "x.pef",
                    {{WithByte(good, 0, 'w'), prefix + "No vdat found at start\n"},
                     {CutTo(good, 300), prefix + "File too short\n"},
                     {WithByte(good, at("PLCO"), 'X'), prefix + "No PLCO user data found\n"},
                     {WithByte(good, at("PLCO") + 7, 250), prefix + "Bad PLCO user data length\n"},
                     {WithByte(good, at("Mpeg-4"), 'J'),
                      "DecodePelcoEndura::DecompressingReadComplete failed Not MPEG4 compression\n"},
                     {WithByte(good, at("siof"), 'x'), prefix + "No siof file section found\n"}});
}

} // namespace
