#include "MissingTool.h"
#include "core/time/Ticks.h"
#include "fixtures/formats/SyneticsWriter.h"
#include "formats/RecorderChecks.h"

namespace {

using namespace FormatTests;
using Vorn::SystemTime;
using Vorn::Vorncast::Decoders::TicksFromSystemTime;

constexpr const char* SyneticsGuid = "A5D90B4D-A2C7-481b-922D-A1E9A2133188";
constexpr int32_t Width = 64;
constexpr int32_t Height = 48;
constexpr SystemTime Start{2024, 3, 0, 12, 9, 30, 0, 0};

struct Camera {
    std::vector<SyneticsPicture> pictures; // decoding order
    std::vector<int64_t> times;            // display order
    std::vector<CodecTest::Picture> reference;
};

class SyneticsTest : public RecorderTest {
protected:
    // A camera's clip: `frames` pictures with two B frames between references and a key frame every
    // `gop`, stamped 40 ms apart from `offsetMs` after the start.
    bool MakeCamera(int32_t frames, int32_t gop, int32_t offsetMs, Camera* camera) {
        CodecTest::EncodedVideo video;
        if (!EncodeSyneticsVideo(Width, Height, frames, gop, &video)) {
            return false;
        }
        SystemTime start = Start;
        start.wMilliseconds = static_cast<uint16_t>(offsetMs);
        camera->pictures = SyneticsPictures(video, start, 40);
        camera->reference = CodecTest::ReferenceDecode(AV_CODEC_ID_MPEG2VIDEO, video, false);
        for (int32_t index = 0; index < frames; ++index) {
            camera->times.push_back(TicksFromSystemTime(start) + index * 40 * 10000);
        }
        return true;
    }
    void AddPair(const std::string& stem, const SyneticsPair& pair) {
        AddFile(stem + "_1.dat", pair.iFrames);
        AddFile(stem + "_2.dat", pair.otherFrames);
    }
    static void ExpectFrame(const Delivered& delivered, const Camera& camera, size_t index) {
        EXPECT_EQ(delivered.time.recordedTime, camera.times[index]) << "frame " << index;
        ExpectDecoded(camera.reference[index], delivered);
    }
};

// Each camera walks in display order over an open group whose B frames lean on the next key frame.
TEST_F(SyneticsTest, CamerasOfSiblingFoldersStepBothWaysInDisplayOrder) {
    Camera gate, yard;
    if (!MakeCamera(14, 6, 0, &gate) || !MakeCamera(9, 6, 20, &yard)) {
        SKIP_OR_FAIL_FOR_MISSING("the mpeg2video encoder");
    }
    AddPair("/rec/Cam01/mpeg2_0001", WriteSyneticsPair("Gate", gate.pictures));
    AddPair("/rec/Cam02/mpeg2_0001", WriteSyneticsPair("Yard", yard.pictures));
    ASSERT_EQ(Load(SyneticsGuid, "/rec/Cam02/mpeg2_0001_1.dat"), 0) << LastError();
    std::vector<int> streams = ExpectStreamNames({"Gate", "Yard"});
    StepThrough(streams[1], yard.times.size(),
                [&](const Delivered& frame, size_t index) { ExpectFrame(frame, yard, index); });
    const std::vector<Delivered> stamps =
        StepThrough(streams[0], gate.times.size(),
                    [&](const Delivered& frame, size_t index) { ExpectFrame(frame, gate, index); });
    ASSERT_EQ(stamps.size(), gate.times.size());
    for (size_t frame : {4u, 10u, 7u, 11u}) {
        ExpectFrame(GoTo(streams[0], stamps[frame].time.streamTime), gate, frame);
    }
}

// An I frame file without its partner plays its I frames. Damage found while fetching fails the
// frames that need it, black at their own times: an index record that points into the other file
// of its pair fails its group up to the next key frame, and a group cut short its last picture.
TEST_F(SyneticsTest, DamagedPairsSayWhyOrFailTheFramesThatNeedTheDamage) {
    Camera clip;
    if (!MakeCamera(8, 4, 0, &clip)) {
        SKIP_OR_FAIL_FOR_MISSING("the mpeg2video encoder");
    }
    SyneticsPair pair = WriteSyneticsPair("Gate", clip.pictures);
    const Bytes intra = pair.iFrames;
    ExpectLoadsFail(
        SyneticsGuid, "mpeg2_0001_1.dat",
        {{CutTo(intra, 2287), "Synetics File too small\n"},
         {WithByte(intra, 4, 1), "Synetics Bad start to file header\n"},
         {WithByte(intra, 40, static_cast<uint8_t>(intra[40] ^ 1)),
          "Synetics Index size inconsistent in file header\n"},
         {WriteSyneticsPair("Gate", {}).iFrames, "Synetics Zero frame count give in file header\n"}});
    AddPair("/yard/mpeg2_0001", {intra, WriteSyneticsPair("Yard", clip.pictures).otherFrames});
    EXPECT_TRUE(LoadFailsWith(SyneticsGuid, "/yard/mpeg2_0001_1.dat",
                              "Synetics I frames and P/B frames not from same camera\n"));
    EXPECT_TRUE(LoadFailsWith(SyneticsGuid, "/yard/x_1.avi",
                              "DecodeSynetics::LoadingCore File has no .dat extension\n"));
    EXPECT_TRUE(
        LoadFailsWith(SyneticsGuid, "/yard/m_1.dat", "DecodeSynetics::LoadingCore File name too short\n"));

    ASSERT_TRUE(LoadsFile(SyneticsGuid, "/alone/mpeg2_0001_1.dat", intra));
    std::vector<Delivered> walked = WalkForward(VideoStream());
    ASSERT_EQ(walked.size(), 2u);
    ExpectFrame(walked[0], clip, 0);
    ExpectFrame(walked[1], clip, 6); // decoding order I0 P3 B1 B2 I6 B4 B5 P7

    // B4 and B5 lean on the key frame after them.
    ASSERT_GT(pair.iFrames.size(), pair.otherFrames.size() + 10);
    pair.otherFrames = WithWord(pair.otherFrames, 2288, static_cast<uint32_t>(pair.otherFrames.size() + 10));
    pair.otherFrames.resize(pair.otherFrames.size() - clip.pictures.back().programStream.size());
    AddPair("/d/mpeg2_0001", pair);
    ASSERT_EQ(Load(SyneticsGuid, "/d/mpeg2_0001_1.dat"), 0) << LastError();
    walked = WalkForward(VideoStream());
    ASSERT_EQ(walked.size(), clip.times.size());
    for (size_t frame = 0; frame < walked.size(); ++frame) {
        if (frame == 0 || frame == 6) {
            ExpectFrame(walked[frame], clip, frame);
        } else {
            EXPECT_EQ(walked[frame].time.recordedTime, clip.times[frame]);
            EXPECT_TRUE(IsBlack(walked[frame])) << "frame " << frame;
        }
    }
    EXPECT_TRUE(WasLogged(
        "DecodeSynetics::SyneticsInputChannel::DecompressingReadComplete failure with invalid result\n"));
}

} // namespace
