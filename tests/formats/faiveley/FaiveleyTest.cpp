#include "core/time/Ticks.h"
#include "fixtures/formats/FaiveleyWriter.h"
#include "formats/RecorderChecks.h"

namespace {

using namespace FormatTests;
using Vorn::Vorncast::Decoders::TicksFromSystemTime;

constexpr const char* FaiveleyGuid = "04E98296-F0E7-4a49-9044-9FACC53E9FF3";
constexpr int32_t Width = 352;
constexpr int32_t Height = 288;

struct Variant {
    bool swapped;
    uint8_t compression;
    int32_t quality;
};

class FaiveleyTest : public RecorderTest, public testing::WithParamInterface<Variant> {};

TEST_P(FaiveleyTest, FramesOfTwoCamerasWithTheirNamesTimesAndPictures) {
    const Variant variant = GetParam();
    std::vector<TestPicture> pictures;
    std::vector<FaiveleyFrame> frames;
    for (int32_t index = 0; index < 4; ++index) {
        pictures.push_back(index % 2 == 0 ? MakeGradient(Width, Height, 3) : MakeColourBars(Width, Height));
        frames.push_back({static_cast<uint8_t>(index % 2 + 1), 2024, 3, 14, 15, 26, index, index * 7,
                          variant.compression, 1, RecorderJpegScan(pictures.back(), variant.quality)});
    }
    ASSERT_TRUE(LoadsFile(
        FaiveleyGuid, "/f/train.arc",
        WriteFaiveley("North  Depot", {{1, "Cab"}, {2, "Platform"}}, frames, variant.swapped).bytes));
    ExpectStreamNames({"North Depot - Cab", "North Depot - Platform"});
    ExpectWalks(TakingTurns(2, 4), [&](const Delivered& frame, size_t index) {
        EXPECT_EQ(frame.time.recordedTime, TicksFromSystemTime(2024, 3, 14, 15, 26, frames[index].second,
                                                               frames[index].hundredths * 10));
        ExpectPsnr(pictures[index], frame, 25);
    });
}

INSTANTIATE_TEST_SUITE_P(Storage, FaiveleyTest,
                         testing::Values(Variant{false, 0, 24}, Variant{true, 'P', 60}));

class FaiveleyDamageTest : public RecorderTest {};

TEST_F(FaiveleyDamageTest, DamagedFilesEndTheLoadWithTheirText) {
    std::vector<FaiveleyFrame> frames(
        3, {1, 2024, 3, 14, 15, 26, 0, 0, 0, 1, RecorderJpegScan(MakeGradient(Width, Height, 3), 24)});
    const FaiveleyFile good = WriteFaiveley("Depot", {{1, "Cab"}}, frames, false);
    ExpectLoadsFail(
        FaiveleyGuid, "x.arc",
        {{WithByte(good.bytes, 104, 0), "DecodeFaiveley LoadingReadComplete failing due to invalid id's\n"},
         {WithByte(good.bytes, 196 + 8 + 3, 0x10),
          "DecodeFaiveley LoadingReadComplete failing due to file header parameter offset errors\n"},
         {WithByte(good.bytes, 472 + 8 + 2, 0x7F),
          "DecodeFaively LoadingReadComplete failing when reading FirstImageHeader\n"},
         {WithByte(good.bytes, good.frameStarts.back() + 40, 3),
          "DecodeFaiveley::LoadingReadComplete unknown image type\n"},
         {Bytes(1000, 0),
          "DecodeFaiveley LoadingOpenComplete failing due to file being too small to contain headers\n"}});
    // A frame whose sector lost its magic is passed over; its data joins the frame before.
    ASSERT_TRUE(LoadsFile(FaiveleyGuid, "/lost/x.arc", WithByte(good.bytes, good.frameStarts[1], 0)));
    EXPECT_EQ(WalkForward(VideoStream()).size(), 2u);
    EXPECT_TRUE(
        FileFailsWith(FaiveleyGuid, "/bad.arx", good.bytes,
                      "DecodeFaiveley::LoadingGetOpenName failed due to extension not being \"arc\"\n"));
}

} // namespace
