#include "core/time/Ticks.h"
#include "fixtures/formats/IRecordWriter.h"
#include "formats/RecorderChecks.h"

namespace {

using namespace FormatTests;

constexpr const char* IRecordGuid = "DE9516BB-A5F9-48EA-A5A6-0AA591418975";

class IRecordTest : public RecorderTest {};

// A file whose name is no time of recording is passed over.
TEST_F(IRecordTest, PicturesOfTheFolderFollowTheirFilesAndLines) {
    std::vector<BgrPicture> pictures;
    std::vector<IRecordFrame> first, second;
    for (int index = 0; index < 6; ++index) {
        pictures.push_back(MakeQuadrantPicture(64, 48, index));
        IRecordFrame frame{"202403141526" + std::to_string(10 + index) + "250",
                           EncodeTestJpeg(pictures.back())};
        (index < 4 ? first : second).push_back(frame);
    }
    AddFile("/ir/202403141527.mjp", WriteIRecord(second));
    AddFile("/ir/2024031415.mjp", WriteIRecord(second));
    ASSERT_TRUE(LoadsFile(IRecordGuid, "/ir/202403141526.mjp", WriteIRecord(first)));
    ExpectWalks(TakingTurns(1, 6), [&](const Delivered& frame, size_t index) {
        EXPECT_EQ(frame.time.recordedTime, Vorn::Vorncast::Decoders::TicksFromSystemTime(
                                               2024, 3, 14, 15, 26, 10 + static_cast<int>(index), 250));
        ExpectNear(pictures[index], frame);
    });
    const Bytes good = WriteIRecord(first);
    first[0].stamp[13] = 'X';
    ExpectLoadsFail(
        IRecordGuid, "202403141526.mjp",
        {{CutTo(good, good.size() - 10), "DecodeIRecord::LoadingReadComplete failed with bad image size\n"},
         {WriteIRecord(first), "DecodeIRecord::LoadingReadComplete failed with bad image header\n"}});
}

} // namespace
