// The damage sweep over recordings that carry the frames of each codec, read by the tests' own
// format decoder and decoded through the library's codecs; and the checks that the sweep itself
// catches a decoder that never ends.
#include "MissingTool.h"
#include "core/client/DecoderTable.h"
#include "core/client/FileClient.h"
#include "fixtures/SmallRecordings.h"
#include "fixtures/jpeg/JpegTestSupport.h"
#include "hardening/DamageSweep.h"
#include "model/files/MemoryFileSource.h"

#include <gtest/gtest.h>

using namespace Hardening;
using namespace Vorn::Vorncast::Decoders;
using namespace Vorn::Vorncast::Decoders::Testing;

namespace {

// A row of the table that none of the sweeps' decoders belong to; the sweep puts the tests'
// decoder there for its duration.
constexpr int32_t SweepRow = 3;

SweepRecording SweepOf(const CodecRecording& recording, size_t maxRunsPerFile = 0) {
    SweepRecording sweep;
    sweep.maxRunsPerFile = maxRunsPerFile;
    sweep.frameStarts.resize(1);
    sweep.files = {{"clip.vcr", recording.Bytes(&sweep.frameStarts[0])}};
    // The frame count and the configuration size in the header.
    sweep.damagePlaces = {{0, 12}, {0, 16}};
    return sweep;
}

} // namespace

class CodecSweep : public ::testing::TestWithParam<SmallCodecRow> {};

TEST_P(CodecSweep, SurvivesDamage) {
    const CodecRecording recording = GetParam().make();
    if (recording.frames.empty()) {
        SKIP_OR_FAIL_FOR_MISSING(std::string("an encoder for ") + GetParam().name);
    }
    CodecRecordingDecoder decoder;
    ExpectDecoderSurvivesDamage(SweepRow, SweepOf(recording, GetParam().maxRunsPerFile), {}, &decoder);
}

INSTANTIATE_TEST_SUITE_P(CodecSweep, CodecSweep, ::testing::ValuesIn(SmallCodecRows()),
                         [](const auto& info) { return std::string(info.param.name); });

// ---- the sweep's own checks ----

namespace {

CodecRecording WithEmptyFrame() {
    CodecRecording recording{RecordedCodec::Jpeg, 16, 8};
    recording.frames = {EncodeJpeg(MakeGradient(16, 8, 3)), {}, EncodeJpeg(MakeGradient(16, 8, 3))};
    return recording;
}

} // namespace

// An empty frame is no fault of an honest decoder; a decoder that stalls on it is reported.
TEST(DamageSweepChecks, ReportsALoadThatNeverEndsAndNothingElse) {
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

    decoder.stallOnEmptyFrame = true;
    report = SweepDamage(SweepRow, SweepOf(WithEmptyFrame()), options, &decoder);
    EXPECT_EQ(report.intactFrames, -1);
    ASSERT_FALSE(report.faults.empty());
    EXPECT_EQ(report.faults.front().rfind("intact recording: Load did not end within", 0), 0u)
        << report.faults.front();
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
