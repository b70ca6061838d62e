#include "core/time/Ticks.h"
#include "fixtures/formats/CathexisWriter.h"
#include "fixtures/formats/TestJpegPictures.h"
#include "formats/RecordingFixture.h"

namespace {

using namespace FormatTests;
using namespace Vorn::Vorncast::Decoders::Testing;

constexpr const char* CathexisGuid = "E1FFF4E6-C217-4289-BF0C-11B146D0481A";
constexpr uint16_t Width = 64;
constexpr uint16_t Height = 48;

CathexisFrame Frame(uint16_t camera, uint32_t seconds, const BgrPicture& picture) {
    return {camera, seconds, 4, Width, Height, EncodeTestJpeg(picture)};
}

class CathexisTest : public RecordingTest {};

// Two files whose frames interleave in time, two cameras in each: each camera's stream holds its
// frames in time order across the files, with their pictures.
TEST_F(CathexisTest, FramesOfAFolderSortByTimeIntoOneStreamPerCamera) {
    std::vector<BgrPicture> pictures;
    std::vector<CathexisFrame> first, second;
    for (uint32_t index = 0; index < 8; ++index) {
        pictures.push_back(MakeQuadrantPicture(Width, Height, static_cast<int32_t>(index)));
        CathexisFrame frame =
            Frame(static_cast<uint16_t>(3 + index % 2 * 4), 1700000000 + index, pictures.back());
        (index % 3 == 0 ? second : first).push_back(frame);
    }
    AddFile("/site/a.sjpg", WriteCathexis(first).bytes);
    AddFile("/site/b.sjpg", WriteCathexis(second).bytes);
    ASSERT_EQ(Load(CathexisGuid, "/site/a.sjpg"), 0) << LastError();
    std::vector<int> streams = VideoStreams();
    ASSERT_EQ(streams.size(), 2u);
    for (size_t camera = 0; camera < 2; ++camera) {
        std::vector<Delivered> walked = WalkForward(streams[camera]);
        ASSERT_EQ(walked.size(), 4u);
        for (size_t at = 0; at < walked.size(); ++at) {
            const uint32_t index = static_cast<uint32_t>(at * 2 + camera);
            EXPECT_EQ(walked[at].time.recordedTime,
                      (1700000000 + int64_t{index} + Vorn::Vorncast::Decoders::UnixEpochSeconds) * 10000000);
            ASSERT_EQ(walked[at].data.size(), pictures[index].bgr.size());
            EXPECT_LT(CompareBgr(pictures[index], walked[at].data.data(), Width * 3).meanAbsolute, 3.0)
                << index;
        }
    }
}

TEST_F(CathexisTest, DamagedFilesEndTheLoadWithTheirText) {
    std::vector<uint8_t> good =
        WriteCathexis({Frame(1, 1700000000, MakeQuadrantPicture(Width, Height))}).bytes;
    std::vector<uint8_t> badMark = good;
    badMark[0] = 0;
    std::vector<uint8_t> badImage = good;
    badImage[1024 + 128] = 0;
    const std::pair<std::vector<uint8_t>, const char*> cases[] = {
        {badMark,
         "DecodeCathexis expected 000000000000000000000000feedbeed as first word in .vid file, found "
         "000000000000000000000000feedbe00\n"},
        {badImage,
         "DecodeCathexis expected 000000000000000000000000e0ffd8ff as first word in .image data, found "
         "000000000000000000000000e0ffd800\n"},
        {std::vector<uint8_t>(100, 0),
         "DecodeCathexis LoadingOpenComplete failed because fileSize was too small for an index entry\n"},
    };
    int folder = 0;
    for (const auto& [bytes, text] : cases) {
        LoggedTexts().clear();
        const std::string path = "/bad" + std::to_string(folder++) + "/x.sjpg";
        AddFile(path, bytes);
        EXPECT_NE(Load(CathexisGuid, path), 0) << text;
        EXPECT_TRUE(WasLogged(text)) << text;
    }
}

// A block length that carries the next block past 4 GB ends the chain instead of turning it back.
TEST_F(CathexisTest, AHugeBlockLengthEndsTheChain) {
    std::vector<uint8_t> bytes =
        WriteCathexis({Frame(1, 1700000000, MakeQuadrantPicture(Width, Height))}).bytes;
    const uint8_t huge[] = {0x00, 0xFC, 0xFF, 0xFF};
    std::copy(std::begin(huge), std::end(huge), bytes.begin() + 1024 + 24);
    AddFile("/huge/x.sjpg", bytes);
    ASSERT_EQ(Load(CathexisGuid, "/huge/x.sjpg"), 0) << LastError();
    EXPECT_EQ(WalkForward(VideoStreams()[0]).size(), 1u);
}

} // namespace
