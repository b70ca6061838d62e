#include "core/time/Ticks.h"
#include "fixtures/formats/IRecordWriter.h"
#include "fixtures/formats/TestJpegPictures.h"
#include "formats/RecordingFixture.h"

namespace {

using namespace FormatTests;
using namespace Vorn::Vorncast::Decoders::Testing;

constexpr const char* IRecordGuid = "DE9516BB-A5F9-48EA-A5A6-0AA591418975";
constexpr int32_t Width = 64;
constexpr int32_t Height = 48;

class IRecordTest : public RecordingTest {};

// The files of a folder in the order of their names, each picture with the time of its line; a
// file whose name is no time of recording is passed over.
TEST_F(IRecordTest, PicturesOfTheFolderFollowTheirFilesAndLines) {
    std::vector<BgrPicture> pictures;
    std::vector<IRecordFrame> first, second;
    for (int index = 0; index < 6; ++index) {
        pictures.push_back(MakeQuadrantPicture(Width, Height, index));
        IRecordFrame frame{"202403141526" + std::to_string(10 + index) + "250",
                           EncodeTestJpeg(pictures.back())};
        (index < 4 ? first : second).push_back(frame);
    }
    AddFile("/ir/202403141527.mjp", WriteIRecord(second));
    AddFile("/ir/202403141526.mjp", WriteIRecord(first));
    AddFile("/ir/2024031415.mjp", WriteIRecord(second));
    ASSERT_EQ(Load(IRecordGuid, "/ir/202403141526.mjp"), 0) << LastError();
    std::vector<Delivered> walked = WalkForward(VideoStream());
    ASSERT_EQ(walked.size(), pictures.size());
    for (size_t index = 0; index < walked.size(); ++index) {
        EXPECT_EQ(walked[index].time.recordedTime,
                  Vorn::Vorncast::Decoders::TicksFromSystemTime(2024, 3, 14, 15, 26,
                                                                10 + static_cast<int>(index), 250));
        EXPECT_LT(CompareBgr(pictures[index], walked[index].data.data(), Width * 3).meanAbsolute, 3.0)
            << index;
    }
}

TEST_F(IRecordTest, DamagedFilesEndTheLoadWithTheirText) {
    std::vector<uint8_t> jpeg = EncodeTestJpeg(MakeQuadrantPicture(Width, Height));
    std::vector<uint8_t> longer = WriteIRecord({{"20240314152610250", jpeg}});
    longer.resize(longer.size() - 10);
    const std::pair<std::vector<uint8_t>, const char*> cases[] = {
        {longer, "DecodeIRecord::LoadingReadComplete failed with bad image size\n"},
        {WriteIRecord({{"2024031415261X250", jpeg}}),
         "DecodeIRecord::LoadingReadComplete failed with bad image header\n"},
    };
    int folder = 0;
    for (const auto& [bytes, text] : cases) {
        LoggedTexts().clear();
        const std::string path = "/bad" + std::to_string(folder++) + "/202403141526.mjp";
        AddFile(path, bytes);
        EXPECT_NE(Load(IRecordGuid, path), 0) << text;
        EXPECT_TRUE(WasLogged(text)) << text;
    }
}

} // namespace
