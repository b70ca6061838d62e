#include "MissingTool.h"
#include "core/time/Ticks.h"
#include "fixtures/codecs/CodecTestSupport.h"
#include "fixtures/formats/VigilantMpeg2Writer.h"
#include "formats/RecorderChecks.h"

#include <algorithm>

namespace {

using namespace FormatTests;

constexpr const char* VigilantGuid = "616F9C4E-4A26-4bf7-A728-027B16FD954D";
constexpr int32_t Width = 64;
constexpr int32_t FrameCount = 14;

int64_t Ticks(uint32_t seconds) {
    return (int64_t{seconds} + Vorn::Vorncast::Decoders::UnixEpochSeconds) * 10000000;
}

class VigilantMpeg2Test : public RecorderTest {
protected:
    void SetUp() override {
        RecorderTest::SetUp();
        if (!CodecTest::HasEncoder("mpeg2video")) {
            SKIP_OR_FAIL_FOR_MISSING("the mpeg2video encoder");
        }
    }

    Bytes Encode(int32_t height, int32_t frames = FrameCount) {
        CodecTest::EncodedVideo video;
        EXPECT_TRUE(CodecTest::EncodeVideo({.encoder = "mpeg2video",
                                            .width = Width,
                                            .height = height,
                                            .frames = frames,
                                            .bFrames = 2,
                                            .gop = 6},
                                           &video));
        reference = CodecTest::ReferenceDecode(AV_CODEC_ID_MPEG2VIDEO, video, false);
        Bytes stream;
        for (const CodecTest::EncodedFrame& frame : video.frames) {
            stream.insert(stream.end(), frame.data.begin(), frame.data.end());
        }
        return stream;
    }

    static std::vector<int64_t> DisplayTimes(std::vector<VigilantMpeg2Picture> pictures) {
        std::stable_sort(pictures.begin(), pictures.end(), [](const auto& a, const auto& b) {
            return a.group != b.group ? a.group < b.group : a.temporalReference < b.temporalReference;
        });
        std::vector<int64_t> times;
        for (const auto& picture : pictures) {
            times.push_back(Ticks(picture.groupSeconds));
        }
        return times;
    }

    std::vector<CodecTest::Picture> reference;
};

// A stream cut short inside its last group loads what it holds. A name too long for a camera tag
// keeps the second text run alone.
TEST_F(VigilantMpeg2Test, PlaysInDisplayOrderBothWaysSeeksIntoGroupsAndSurvivesCuts) {
    const Bytes elementary = Encode(16);
    VigilantMpeg2File file =
        WriteVigilantMpeg2(elementary, {"Depot", "Gate", 60, {1700000000, 1700000001, 1700000003}});
    ASSERT_TRUE(LoadsFile(VigilantGuid, "/export/clip.mpg", file.bytes));
    const int stream = ExpectStreamNames({"Depot - Gate"})[0];
    const std::vector<int64_t> times = DisplayTimes(file.pictures);
    ASSERT_EQ(times.size(), reference.size());
    const std::vector<Delivered> walked =
        StepThrough(stream, reference.size(), [&](const Delivered& frame, size_t index) {
            ExpectDecoded(reference.at(index), frame);
            EXPECT_EQ(frame.time.recordedTime, times[index]);
            EXPECT_EQ(frame.time.zoneBias >> 32, -60);
        });
    ASSERT_EQ(walked.size(), reference.size());
    for (size_t frame = walked.size(); frame-- > 0;) {
        const int64_t time = walked[frame].time.streamTime;
        EXPECT_TRUE(frame == 0 || walked[frame - 1].time.streamTime <= time) << frame;
        if ((frame == 0 || walked[frame - 1].time.streamTime < time) &&
            (frame + 1 == walked.size() || walked[frame + 1].time.streamTime > time)) {
            ExpectDecoded(reference.at(frame), GoTo(stream, time));
        }
    }

    file = WriteVigilantMpeg2(elementary, {std::string(40, 'S'), std::string(30, 'C'), 0, {}});
    ASSERT_TRUE(
        LoadsFile(VigilantGuid, "/export/cut.mpg", CutTo(file.bytes, file.pictures.back().offset + 20)));
    const std::vector<Delivered> cut = WalkForward(ExpectStreamNames({std::string(30, 'C')})[0]);
    ASSERT_EQ(cut.size(), reference.size());
    for (size_t frame = 0; frame + 1 < cut.size(); ++frame) {
        ExpectDecoded(reference.at(frame), cut[frame]);
    }

    ExpectLoadsFail(VigilantGuid, "x.mpg",
                    {{WriteVigilantMpeg2(elementary, {.omitGroupTimes = true}).bytes,
                      "DecodeVigilantMpeg2 MS_USER_DATA_EXPECTED\n"},
                     {WithByte(WriteVigilantMpeg2(elementary, {}).bytes, 3, 0xB8),
                      "DecodeVigilantMpeg2 MS_SEQUENCE_HEADER_EXPECTED\n"},
                     {Bytes(100, 0xFF), "DecodeVigilantMpeg2 No frames or bad image size\n"},
                     // Two slices a picture: a picture 32 lines high.
                     {WriteVigilantMpeg2(Encode(32, 4), {}).bytes,
                      "DecodeVigilantMpeg2 MS_GROUP_OR_PICTURE_START_EXPECTED\n"}});
}

} // namespace
