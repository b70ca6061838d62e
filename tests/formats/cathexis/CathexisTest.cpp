#include "core/time/Ticks.h"
#include "fixtures/formats/CathexisWriter.h"
#include "formats/RecorderChecks.h"

namespace {

using namespace FormatTests;

constexpr const char* CathexisGuid = "E1FFF4E6-C217-4289-BF0C-11B146D0481A";

using CathexisTest = RecorderTest;

TEST_F(CathexisTest, FramesOfAFolderSortByTimeIntoOneStreamPerCameraAndDamageFailsTheLoad) {
    std::vector<BgrPicture> pictures;
    std::vector<CathexisFrame> first, second;
    for (uint32_t index = 0; index < 8; ++index) {
        pictures.push_back(MakeQuadrantPicture(64, 48, static_cast<int32_t>(index)));
        const auto camera = static_cast<uint16_t>(3 + index % 2 * 4);
        (index % 3 == 0 ? second : first)
            .push_back({camera, 1700000000 + index, 4, 64, 48, EncodeTestJpeg(pictures.back())});
    }
    AddFile("/site/b.sjpg", WriteCathexis(second).bytes);
    ASSERT_TRUE(LoadsFile(CathexisGuid, "/site/a.sjpg", WriteCathexis(first).bytes));
    ExpectWalks(TakingTurns(2, 8), [&](const Delivered& frame, size_t index) {
        EXPECT_EQ(frame.time.recordedTime,
                  (1700000000 + int64_t(index) + Vorn::Vorncast::Decoders::UnixEpochSeconds) * 10000000);
        ExpectNear(pictures[index], frame);
    });

    const Bytes good = WriteCathexis(first).bytes;
    ExpectLoadsFail(
        CathexisGuid, "x.sjpg",
        {{WithByte(good, 0, 0),
          "DecodeCathexis expected 000000000000000000000000feedbeed as first word in .vid file, found "
          "000000000000000000000000feedbe00\n"},
         {WithByte(good, 1024 + 128, 0),
          "DecodeCathexis expected 000000000000000000000000e0ffd8ff as first word in .image data, found "
          "000000000000000000000000e0ffd800\n"},
         {Bytes(100, 0),
          "DecodeCathexis LoadingOpenComplete failed because fileSize was too small for an index entry\n"}});
    // A block length that carries the next block past 4 GB ends the chain instead of turning it back.
    ASSERT_TRUE(LoadsFile(CathexisGuid, "/huge/x.sjpg", WithWord(good, 1024 + 24, 0xFFFFFC00)));
    EXPECT_EQ(WalkForward(VideoStreams()[0]).size(), 1u);
}

} // namespace
