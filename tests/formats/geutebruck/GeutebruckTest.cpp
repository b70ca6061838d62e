#include "fixtures/formats/GeutebruckWriter.h"
#include "formats/RecorderChecks.h"

namespace {

using namespace FormatTests;

constexpr const char* GeutebruckGuid = "A65BFAEF-6CE3-416c-B528-010339FEAD10";
constexpr int32_t Width = 704;
constexpr int32_t Height = 288;
// Milliseconds whose bytes hold 0xE3, which the packed directory must escape.
constexpr uint32_t Morning = 0x00E30010;

class GeutebruckTest : public RecorderTest {};

// Two named cameras take turns; frames of mode 0 take the header's own tables, frames of mode
// 128 the base tables scaled by it, and one entry is longer than the first directory read.
TEST_F(GeutebruckTest, DirectoryGivesEachCameraItsFramesTimesAndPictures) {
    std::vector<TestPicture> pictures = {MakeGradient(Width, Height, 3), MakeColourBars(Width, Height)};
    std::vector<GeutebruckFrame> frames;
    for (uint32_t index = 0; index < 4; ++index) {
        const bool scaled = index % 3 == 1;
        frames.push_back({index % 2 == 0 ? 3u : 7u, 738000, Morning + index * 40,
                          static_cast<uint8_t>(scaled ? 128 : 0), index == 2 ? 6000u : 100u,
                          RecorderJpegScan(pictures[index / 2], scaled ? 50 : 25)});
    }
    const GeutebruckFile good = WriteGeutebruck({{7, "Till"}, {3, "Entrance"}}, frames);
    ASSERT_TRUE(LoadsFile(GeutebruckGuid, "/g/rec.MBF", good.bytes));
    ExpectStreamNames({"Entrance", "Till"});
    ExpectWalks(TakingTurns(2, 4), [&](const Delivered& frame, size_t index) {
        EXPECT_EQ(frame.time.recordedTime,
                  (int64_t{738000 - 1} * 86400000 + frames[index].milliseconds) * 10000);
        ExpectPsnr(pictures[index / 2], frame, 30);
    });
    const size_t clusterHead = good.entryStarts[0] - 128;
    ExpectLoadsFail(
        GeutebruckGuid, "x.mbf",
        {{WithByte(good.bytes, 16, 'X'),
          "DecodeGeutebruck::LoadingReadComplete failed to find MHD0 header\n"},
         {WithByte(good.bytes, clusterHead + 36, 0x55),
          "DecodeGeutebruck::LoadingReadComplete Dir0/Clu0 header offset mismatch\n"},
         {WithByte(WithByte(good.bytes, clusterHead + 24, 0), clusterHead + 25, 0),
          "DecodeGeutebruck::LoadingReadComplete failed with framesInSequence <= 0\n"},
         {Bytes(28000, 0), "DecodeGeutebruck::LoadingOpenComplete failed because the file was too short\n"}});
}

} // namespace
