#include "core/time/Ticks.h"
#include "fixtures/formats/BaxallVividWriter.h"
#include "fixtures/jpeg2000/Jpeg2000TestEncoder.h"
#include "formats/RecorderChecks.h"

namespace {

using namespace FormatTests;
using Vorn::Vorncast::Decoders::TicksFromSystemTime;

constexpr const char* BaxallGuid = "728D7516-A735-47a8-854E-E22A84DDF8D1";
constexpr int Width = 32;
constexpr int Height = 24;

// A picture of its own for each frame, so that a frame delivered in another's place shows.
std::vector<uint8_t> FramePicture(int index) {
    std::vector<uint8_t> rgb = Jpeg2000Testing::MakeRgbPicture(Width, Height);
    for (size_t at = 0; at < rgb.size(); at += 3) {
        rgb[at] = static_cast<uint8_t>(rgb[at] + index * 37);
    }
    return rgb;
}

BaxallFrame Frame(int index) {
    BaxallFrame frame{static_cast<uint8_t>(index % 2 == 0 ? 1 : 5), 2025, 3, 14, 9, 26};
    frame.second = static_cast<uint8_t>(index);
    frame.hundredths = static_cast<uint8_t>(99 - index);
    frame.codestream = Jpeg2000Testing::Encode(Jpeg2000Testing::RgbPlanes(FramePicture(index), Width, Height),
                                               Width, Height, {});
    return frame;
}

using BaxallVividTest = RecorderTest;

TEST_F(BaxallVividTest, FramesOfAllFilesMergeByTimeIntoOneStreamPerCameraAndDamageFailsTheLoad) {
    std::vector<BaxallFrame> first, second;
    for (int index = 0; index < 8; ++index) {
        (index < 3 || index == 6 ? first : second).push_back(Frame(index));
    }
    AddFile("/rec/ch_b.VDF", WriteBaxallVivid(second, Width, Height, 40).bytes);
    ASSERT_TRUE(LoadsFile(BaxallGuid, "/rec/CH_A.vdf", WriteBaxallVivid(first, Width, Height).bytes));
    ExpectWalks(TakingTurns(2, 8), [&](const Delivered& frame, size_t index) {
        const auto at = static_cast<int>(index);
        EXPECT_EQ(frame.time.recordedTime, TicksFromSystemTime(2025, 3, 14, 9, 26, at, (99 - at) * 10));
        EXPECT_EQ(frame.data, Jpeg2000Testing::ToBgr(FramePicture(at)));
    });

    const std::string tooShort = "DecodeBaxallVivid::LoadingReadComplete failed with file too short\n";
    ExpectLoadsFail(BaxallGuid, "a.vdf",
                    {{WithByte(WriteBaxallVivid(first, Width, Height).bytes, 16 + 56, 128),
                      "DecodeBaxallVivid::LoadingReadComplete failed with bad camera number\n"},
                     {WriteBaxallVivid(first, Width, Height, 600).bytes, tooShort},
                     {{16, 0, 0, 0, 1, 2, 3}, tooShort}});
}

} // namespace
