// The damage sweep over recordings that carry the frames of each codec, read by the tests' own
// format decoder and decoded through the library's codecs; and the checks that the sweep itself
// catches a decoder that never ends.
#include "MissingTool.h"
#include "core/client/DecoderTable.h"
#include "core/client/FileClient.h"
#include "fixtures/adv601/Adv601TestEncoder.h"
#include "fixtures/adv601/Adv601TestPictures.h"
#include "fixtures/codecs/CodecRecording.h"
#include "fixtures/codecs/CodecTestSupport.h"
#include "fixtures/jpeg/JpegTestSupport.h"
#include "fixtures/jpeg/LosslessJpegWriter.h"
#include "fixtures/jpeg2000/Jpeg2000TestEncoder.h"
#include "fixtures/mpeg2ps/ProgramStreamWriter.h"
#include "hardening/DamageSweep.h"
#include "model/files/MemoryFileSource.h"

#include <gtest/gtest.h>

#include <algorithm>

using namespace Hardening;
using namespace Vorn::Vorncast::Decoders;
using namespace Vorn::Vorncast::Decoders::Testing;

namespace {

// A row of the table that none of the sweeps' decoders belong to; the sweep puts the tests'
// decoder there for its duration.
constexpr int32_t SweepRow = 3;

SweepRecording SweepOf(const CodecRecording& recording) {
    SweepRecording sweep;
    sweep.files = {{"clip.vcr", recording.Bytes()}};
    sweep.frameStarts = {recording.FrameStarts()};
    // The frame count and the configuration size in the header.
    sweep.damagePlaces = {{0, 12}, {0, 16}};
    return sweep;
}

void ExpectCodecSurvivesDamage(const CodecRecording& recording) {
    ASSERT_FALSE(recording.frames.empty());
    CodecRecordingDecoder decoder;
    ExpectDecoderSurvivesDamage(SweepRow, SweepOf(recording), {}, &decoder);
}

CodecRecording FromEncodedVideo(RecordedCodec codec, const char* encoder, int32_t width, int32_t height,
                                bool globalHeader) {
    CodecTest::VideoSettings settings;
    settings.encoder = encoder;
    settings.width = width;
    settings.height = height;
    settings.frames = 4;
    settings.gop = 2;
    settings.globalHeader = globalHeader;
    CodecTest::EncodedVideo video;
    CodecRecording recording{codec, width, height};
    if (!CodecTest::HasEncoder(encoder) || !CodecTest::EncodeVideo(settings, &video)) {
        return recording;
    }
    recording.config = video.extradata;
    for (const CodecTest::EncodedFrame& frame : video.frames) {
        recording.frames.push_back(frame.data);
    }
    return recording;
}

} // namespace

TEST(CodecSweep, Jpeg) {
    CodecRecording recording{RecordedCodec::Jpeg, 64, 32};
    recording.frames = {
        EncodeJpeg(MakeColourBars(64, 32)),
        EncodeJpeg(MakeGradient(64, 32, 3), {.sampling = Sampling::S420, .restartInterval = 2}),
        EncodeJpeg(MakeColourBars(64, 32), {.progressive = true})};
    ExpectCodecSurvivesDamage(recording);
}

TEST(CodecSweep, LosslessJpeg) {
    CodecRecording recording{RecordedCodec::LosslessJpeg, 24, 16};
    recording.frames = {EncodeLosslessJpeg(MakeGradient(24, 16, 3)),
                        EncodeLosslessJpeg(MakeGradient(24, 16, 3), {.predictor = 6, .restartLines = 4})};
    ExpectCodecSurvivesDamage(recording);
}

TEST(CodecSweep, Adv601) {
    CodecRecording recording{RecordedCodec::Adv601, ADV601FieldWidth, ADV601TallFieldHeight};
    for (const Adv601TestPicture& picture : {Adv601ColourBars(true), Adv601Edges(true)}) {
        Adv601EncoderOptions options;
        options.detailScale = 512;
        recording.frames.push_back(EncodeAdv601(picture.bgr.data(), options));
    }
    SweepOptions options;
    options.maxCutsPerFile = 16;
    options.maxDamagePerFile = 16;
    CodecRecordingDecoder decoder;
    ExpectDecoderSurvivesDamage(SweepRow, SweepOf(recording), options, &decoder);
}

TEST(CodecSweep, Mpeg4) {
    ExpectCodecSurvivesDamage(FromEncodedVideo(RecordedCodec::Mpeg4, "mpeg4", 64, 48, true));
}

TEST(CodecSweep, H263) {
    ExpectCodecSurvivesDamage(FromEncodedVideo(RecordedCodec::H263, "h263", 128, 96, false));
}

TEST(CodecSweep, H264) {
    CodecRecording recording = FromEncodedVideo(RecordedCodec::H264, "libx264", 64, 48, true);
    if (recording.frames.empty()) {
        SKIP_OR_FAIL_FOR_MISSING("the libx264 encoder");
    }
    ExpectCodecSurvivesDamage(recording);
}

TEST(CodecSweep, Mpeg2ProgramStream) {
    CodecRecording recording =
        FromEncodedVideo(RecordedCodec::Mpeg2ProgramStream, "mpeg2video", 64, 48, false);
    for (std::vector<uint8_t>& frame : recording.frames) {
        frame = CodecTest::WrapInProgramStream(frame, 0xE0, 200);
    }
    ExpectCodecSurvivesDamage(recording);
}

TEST(CodecSweep, Jpeg2000BothWrappings) {
    CodecRecording recording{RecordedCodec::Jpeg2000, 24, 16};
    const auto planes = Jpeg2000Testing::RgbPlanes(Jpeg2000Testing::MakeRgbPicture(24, 16), 24, 16);
    Jpeg2000Testing::EncodeOptions codestream;
    Jpeg2000Testing::EncodeOptions jp2;
    jp2.jp2 = true;
    jp2.lossless = false;
    recording.frames = {Jpeg2000Testing::Encode(planes, 24, 16, codestream),
                        Jpeg2000Testing::Encode(planes, 24, 16, jp2)};
    ExpectCodecSurvivesDamage(recording);
}

// ---- the sweep's own checks ----

namespace {

CodecRecording WithEmptyFrame() {
    CodecRecording recording{RecordedCodec::Jpeg, 16, 8};
    recording.frames = {EncodeJpeg(MakeGradient(16, 8, 3)), {}, EncodeJpeg(MakeGradient(16, 8, 3))};
    return recording;
}

} // namespace

TEST(DamageSweepChecks, ReportsALoadThatNeverEnds) {
    CodecRecordingDecoder decoder;
    decoder.stallOnEmptyFrame = true;
    SweepOptions options;
    options.maxCutsPerFile = 4;
    options.maxDamagePerFile = 4;
    SweepReport report = SweepDamage(SweepRow, SweepOf(WithEmptyFrame()), options, &decoder);
    EXPECT_EQ(report.intactFrames, -1);
    ASSERT_FALSE(report.faults.empty());
    EXPECT_EQ(report.faults.front().rfind("intact recording: Load did not end within", 0), 0u)
        << report.faults.front();
}

TEST(DamageSweepChecks, AnEmptyFrameIsNoFaultOfAnHonestDecoder) {
    CodecRecordingDecoder decoder;
    SweepOptions options;
    options.maxCutsPerFile = 8;
    options.maxDamagePerFile = 8;
    SweepReport report = SweepDamage(SweepRow, SweepOf(WithEmptyFrame()), options, &decoder);
    EXPECT_EQ(report.intactFrames, 3);
    // The empty frame loads but gives no picture.
    EXPECT_EQ(report.intactDecoded, 2);
    EXPECT_EQ(report.runs, 18);
    // Some damage stops the load, some leaves frames to show.
    EXPECT_GT(report.loads, 0);
    EXPECT_LT(report.loads, report.runs);
    EXPECT_GT(report.framesDecoded, 0);
    EXPECT_TRUE(report.faults.empty()) << report.faults.front();
}

TEST(DamageSweepChecks, ActionLimitFailsTheLoadAndLeavesTheDecoderUsable) {
    CodecRecordingDecoder decoder;
    decoder.stallOnEmptyFrame = true;
    BaseDecoder* previous = DecoderTable::Swap(SweepRow, &decoder);
    Vorn::MemoryFileSource files;
    files.AddFile("/rec/clip.vcr", WithEmptyFrame().Bytes());
    Vorn::FileSource::SetCurrent(&files);
    Vorn::Guid guid;
    Vorn::ParseGuid(std::string("{") + CodecRecordingDecoder::Guid + "}", &guid);

    FileClient client;
    client.SetActionLimit(100);
    ImageInfo image{};
    AudioInfo audio{};
    TrackTimes span{};
    int32_t frames = 0, audioFrames = 0;
    int64_t duration = 0;
    bool hasAudio = false;
    auto load = [&] {
        return client.OpenForLoad(guid, -1, "/rec/clip.vcr", &image, &audio, &span, &frames, &audioFrames,
                                  &duration, &hasAudio);
    };
    EXPECT_EQ(load(), FCR_CATASTROPHIC);
    EXPECT_TRUE(client.ActionLimitReached());
    EXPECT_EQ(client.OpenFileCount(), 0);
    EXPECT_EQ(decoder.GetState(), DDS_IDLE);

    decoder.stallOnEmptyFrame = false;
    EXPECT_EQ(load(), FCR_SUCCESS);
    EXPECT_FALSE(client.ActionLimitReached());
    EXPECT_EQ(frames, 3);
    const int64_t needed = client.LastActionCount();
    EXPECT_GT(needed, 3);

    // A loop that needs more actions than the limit allows fails; without a limit it runs on.
    EXPECT_TRUE(client.Close());
    client.SetActionLimit(needed - 1);
    EXPECT_EQ(load(), FCR_CATASTROPHIC);
    client.SetActionLimit(0);
    EXPECT_EQ(load(), FCR_SUCCESS);
    EXPECT_TRUE(client.Close());

    Vorn::FileSource::SetCurrent(nullptr);
    DecoderTable::Swap(SweepRow, previous);
}
