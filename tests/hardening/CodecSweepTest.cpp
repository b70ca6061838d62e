// The damage sweep over recordings that carry the frames of each codec, read by the tests' own
// format decoder and decoded through the library's codecs; and the checks that the sweep itself
// catches a decoder that never ends.
#include "MissingTool.h"
#include "fixtures/SmallRecordings.h"
#include "fixtures/jpeg/JpegTestSupport.h"
#include "hardening/DamageSweep.h"

#include <gtest/gtest.h>

using namespace Hardening;
using namespace Vorn::Vorncast::Decoders;
using namespace Vorn::Vorncast::Decoders::Testing;

namespace {

// A row of the table that none of the sweeps' decoders belong to; the sweep puts the tests'
// decoder there for its duration.
constexpr int32_t SweepRow = 3;

SweepRecording SweepOf(const CodecRecording& recording) {
    SweepRecording sweep;
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
    ExpectDecoderSurvivesDamage(SweepRow, SweepOf(recording), &decoder);
}

INSTANTIATE_TEST_SUITE_P(CodecSweep, CodecSweep, ::testing::ValuesIn(SmallCodecRows()),
                         [](const auto& info) { return std::string(info.param.name); });

// A decoder that stalls on an empty frame is reported; the action limit that ends its loads leaves it
// usable, and the same decoder run honestly is reported for nothing (the empty frame loads but gives no
// picture).
TEST(DamageSweepChecks, ReportsALoadThatNeverEndsAndNothingElse) {
    CodecRecording withEmptyFrame{RecordedCodec::Jpeg, 16, 8};
    withEmptyFrame.frames = {EncodeJpeg(MakeGradient(16, 8, 3)), {}, EncodeJpeg(MakeGradient(16, 8, 3))};
    const SweepRecording sweep = SweepOf(withEmptyFrame);
    CodecRecordingDecoder decoder;
    decoder.stallOnEmptyFrame = true;
    const SweepOptions options{.maxCutsPerFile = 8, .maxDamagePerFile = 8};
    SweepReport report = SweepDamage(SweepRow, sweep, options, &decoder);
    EXPECT_EQ(report.intactFrames, -1);
    ASSERT_FALSE(report.faults.empty());
    EXPECT_EQ(report.faults.front().rfind("intact recording: Load did not end within", 0), 0u)
        << report.faults.front();

    decoder.stallOnEmptyFrame = false;
    report = SweepDamage(SweepRow, sweep, options, &decoder);
    EXPECT_EQ(report.intactFrames, 3);
    EXPECT_EQ(report.intactDecoded, 2);
    // Some damage stops the load, some leaves frames to show.
    EXPECT_GT(report.loads, 0);
    EXPECT_LT(report.loads, report.runs);
    EXPECT_GT(report.framesDecoded, 0);
    EXPECT_TRUE(report.faults.empty()) << report.faults.front();
}
