// The damage sweep over phone MP4 and 3GP files, read by their rows of the decoder table.
#include "fixtures/iso/IsoRecordings.h"
#include "hardening/DamageSweep.h"

#include <gtest/gtest.h>

using namespace Hardening;
using namespace IsoTest;

namespace {

SweepRecording PhoneRecording(const char* name) {
    VideoClip clip;
    EXPECT_TRUE(MakeMpeg4Clip(SmallClipSettings(), &clip));
    const Bytes file = WriteMovieFile(PhoneMovie(clip, 1262304000));
    SweepRecording recording;
    recording.files = {{name, std::string(file.begin(), file.end())}};
    return recording;
}

} // namespace

TEST(IsoFormatSweep, PhoneMp4) {
    SweepReport report = SweepDamage(DecoderRowIndex("DecodeISOMediaMp4"), PhoneRecording("clip.mp4"));
    EXPECT_GT(report.runs, 10) << "the sweep did not damage the file";
    EXPECT_EQ(report.intactFrames, 6);
    EXPECT_TRUE(report.faults.empty()) << report.faults.front();
}

TEST(IsoFormatSweep, Phone3gp) {
    ExpectDecoderSurvivesDamage(DecoderRowIndex("Decode3gp"), PhoneRecording("clip.3gp"));
}
