#include "core/binary/ByteView.h"
#include "core/time/Ticks.h"
#include "fixtures/formats/ViseumWriter.h"
#include "formats/RecorderChecks.h"

namespace {

using namespace FormatTests;

constexpr const char* ViseumGuid = "682B3443-E4A9-4709-9197-8F2AB311DA7C";
constexpr uint64_t Start = 17000000000000; // tenths of milliseconds since 1970

class ViseumTest : public RecorderTest {};

TEST_F(ViseumTest, TheIndexGivesEachCameraItsFramesAndTimes) {
    std::vector<BgrPicture> pictures;
    std::vector<ViseumFrame> frames;
    for (uint16_t index = 0; index < 6; ++index) {
        pictures.push_back(MakeQuadrantPicture(64, 48, index));
        frames.push_back({static_cast<uint16_t>(index % 2 == 0 ? 2 : 9), Start + index * 4000u + 3,
                          EncodeTestJpeg(pictures.back())});
    }
    const Bytes good = WriteViseum({{2, "Front door"}, {9, "Till"}}, frames).bytes;
    ASSERT_TRUE(LoadsFile(ViseumGuid, "/e/case.vis", good));
    ExpectStreamNames({"Front door", "Till"});
    ExpectWalks(TakingTurns(2, 6), [&](const Delivered& frame, size_t index) {
        EXPECT_EQ(frame.time.recordedTime, Vorn::Vorncast::Decoders::TicksFromUnixMilliseconds(
                                               frames[index].tenthsOfMilliseconds / 10));
        ExpectNear(pictures[index], frame);
    });
    const size_t hint = good.size() - 12;
    const size_t index = Vorn::Vorncast::Decoders::ByteView(good.data(), good.size()).U32LE(hint + 8);
    ExpectLoadsFail(
        ViseumGuid, "x.vis",
        {{WithByte(good, 0, 'W'), "DecodeViseum::LoadingReadComplete failing because file has no VIS1 tag\n"},
         {WithByte(good, hint, 'X'),
          "DecodeViseum::LoadingReadComplete failing because HINT was not found in expected location\n"},
         {WithByte(good, index + 8, 'X'),
          "DecodeViseum::LoadingReadCOmplete failing because index list's stated type is invalid\n"},
         {WithByte(good, index + 12, 'X'),
          "DecodeViseum::LoadingReadComplete failing because index list entry had invalid tag\n"}});
}

} // namespace
