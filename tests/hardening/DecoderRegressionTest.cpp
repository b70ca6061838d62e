// Inputs that the fuzzers found to break a format decoder, rebuilt here with the tests' own
// writers, and loaded and stepped through the client functions as the fuzz targets drive them.
#include "fixtures/ClientPlay.h"
#include "fixtures/iso/IsoRecordings.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

using namespace Vorn::Vorncast::Decoders;
using namespace IsoTest;

namespace {

// 2020-07-01 12:00 as a Windows file time.
constexpr uint64_t FileTime = 132380784000000000;

Vorn::Testing::ClientPlayOutcome PlayVigilant(const Bytes& file) {
    return Vorn::Testing::PlayThroughClient("ACEA0A02-8FE5-4770-BBBD-6D6745371F80", "/regression/",
                                            {{"export.mp4", std::string(file.begin(), file.end())}}, {},
                                            [](const std::string& fault, bool) { ADD_FAILURE() << fault; });
}

} // namespace

TEST(IsoDecoderRegression, MovieDurationBeyondAnyTickCountGivesTheDefaultFramePeriod) {
    VideoClip clip;
    ASSERT_TRUE(MakeMpeg4Clip(SmallClipSettings(), &clip));
    Bytes file = WriteMovieFile(VigilantMovie(clip, FileTime, {}));
    const Vorn::Testing::ClientPlayOutcome intact = PlayVigilant(file);
    ASSERT_TRUE(intact.loaded);
    ASSERT_EQ(intact.frames, 6);
    // 40 and 41 ms in turn, as the clip's deltas are.
    EXPECT_EQ(intact.firstPeriod, 405000u);

    // The movie header turned into its wide form, with a timescale of 1 and the largest duration:
    // some 10^26 ticks, which the frame period was converted from as though an integer held them.
    const size_t header = FindBox(file, "mvhd") + 8;
    file[header] = 1;
    WriteU32At(file, header + 20, 1);
    WriteU32At(file, header + 24, 0xFFFFFFFF);
    WriteU32At(file, header + 28, 0xFFFFFFFF);
    const Vorn::Testing::ClientPlayOutcome damaged = PlayVigilant(file);
    ASSERT_TRUE(damaged.loaded);
    EXPECT_EQ(damaged.decoded, 6);
    EXPECT_EQ(damaged.firstPeriod, 200000u);
    EXPECT_EQ(damaged.duration, 6 * 200000);
    EXPECT_EQ(damaged.firstPicture, intact.firstPicture);
}
