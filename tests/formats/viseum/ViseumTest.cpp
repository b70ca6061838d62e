#include "core/binary/ByteView.h"
#include "core/time/Ticks.h"
#include "fixtures/formats/TestJpegPictures.h"
#include "fixtures/formats/ViseumWriter.h"
#include "formats/RecordingFixture.h"

namespace {

using namespace FormatTests;
using namespace Vorn::Vorncast::Decoders::Testing;

constexpr const char* ViseumGuid = "682B3443-E4A9-4709-9197-8F2AB311DA7C";
constexpr int32_t Width = 64;
constexpr int32_t Height = 48;
constexpr uint64_t Start = 17000000000000; // tenths of milliseconds since 1970

class ViseumTest : public RecordingTest {
protected:
    void SetUp() override {
        RecordingTest::SetUp();
        for (uint16_t index = 0; index < 6; ++index) {
            pictures.push_back(MakeQuadrantPicture(Width, Height, index));
            frames.push_back({static_cast<uint16_t>(index % 2 == 0 ? 2 : 9), Start + index * 4000u + 3,
                              EncodeTestJpeg(pictures.back())});
        }
    }
    std::vector<BgrPicture> pictures;
    std::vector<ViseumFrame> frames;
};

// Two named cameras take turns; each stream holds its camera's pictures with their times.
TEST_F(ViseumTest, TheIndexGivesEachCameraItsFramesAndTimes) {
    AddFile("/e/case.vis", WriteViseum({{2, "Front door"}, {9, "Till"}}, frames).bytes);
    ASSERT_EQ(Load(ViseumGuid, "/e/case.vis"), 0) << LastError();
    std::vector<int> streams = VideoStreams();
    ASSERT_EQ(streams.size(), 2u);
    EXPECT_EQ(StreamName(streams[0]), "Front door");
    EXPECT_EQ(StreamName(streams[1]), "Till");
    for (size_t camera = 0; camera < 2; ++camera) {
        std::vector<Delivered> walked = WalkForward(streams[camera]);
        ASSERT_EQ(walked.size(), 3u);
        for (size_t at = 0; at < walked.size(); ++at) {
            const size_t index = at * 2 + camera;
            EXPECT_EQ(walked[at].time.recordedTime, Vorn::Vorncast::Decoders::TicksFromUnixMilliseconds(
                                                        frames[index].tenthsOfMilliseconds / 10));
            ASSERT_EQ(walked[at].data.size(), pictures[index].bgr.size());
            EXPECT_LT(CompareBgr(pictures[index], walked[at].data.data(), Width * 3).meanAbsolute, 3.0)
                << index;
        }
    }
}

TEST_F(ViseumTest, DamagedFilesEndTheLoadWithTheirText) {
    ViseumFile good = WriteViseum({{2, "Front door"}}, frames);
    auto changed = [&](size_t at, uint8_t value) {
        std::vector<uint8_t> bytes = good.bytes;
        bytes[at] = value;
        return bytes;
    };
    const size_t hint = good.bytes.size() - 12;
    const size_t index =
        Vorn::Vorncast::Decoders::ByteView(good.bytes.data(), good.bytes.size()).U32LE(hint + 8);
    const std::pair<std::vector<uint8_t>, const char*> cases[] = {
        {changed(0, 'W'), "DecodeViseum::LoadingReadComplete failing because file has no VIS1 tag\n"},
        {changed(hint, 'X'),
         "DecodeViseum::LoadingReadComplete failing because HINT was not found in expected location\n"},
        {changed(index + 8, 'X'),
         "DecodeViseum::LoadingReadCOmplete failing because index list's stated type is invalid\n"},
        {changed(index + 12, 'X'),
         "DecodeViseum::LoadingReadComplete failing because index list entry had invalid tag\n"},
    };
    int file = 0;
    for (const auto& [bytes, text] : cases) {
        LoggedTexts().clear();
        const std::string path = "/bad" + std::to_string(file++) + ".vis";
        AddFile(path, bytes);
        EXPECT_NE(Load(ViseumGuid, path), 0) << text;
        EXPECT_TRUE(WasLogged(text)) << text;
    }
}

} // namespace
