#include "core/time/Ticks.h"
#include "fixtures/formats/FaiveleyWriter.h"
#include "fixtures/formats/TestJpegPictures.h"
#include "fixtures/jpeg/JpegTestSupport.h"
#include "formats/RecordingFixture.h"

namespace {

using namespace FormatTests;
using namespace Vorn::Vorncast::Decoders::Testing;
using Vorn::Vorncast::Decoders::TicksFromSystemTime;

constexpr const char* FaiveleyGuid = "04E98296-F0E7-4a49-9044-9FACC53E9FF3";
constexpr int32_t Width = 352;
constexpr int32_t Height = 288;

std::vector<uint8_t> Scan(const TestPicture& picture, int32_t quality) {
    std::vector<uint8_t> jpeg = EncodeJpeg(picture, {.sampling = Sampling::S422, .recorderQuality = quality});
    return {jpeg.begin() + static_cast<long>(ScanDataOffset(jpeg)), jpeg.end()};
}

struct Variant {
    bool swapped;
    uint8_t compression;
    int32_t quality;
};

class FaiveleyTest : public RecordingTest, public testing::WithParamInterface<Variant> {};

// Two cameras take turns; their names join the site's and the camera's texts, and each picture
// decodes with the tables of the recording's compression, whether the images are swapped or not.
TEST_P(FaiveleyTest, FramesOfTwoCamerasWithTheirNamesTimesAndPictures) {
    const Variant variant = GetParam();
    std::vector<TestPicture> pictures;
    std::vector<FaiveleyFrame> frames;
    for (int32_t index = 0; index < 4; ++index) {
        pictures.push_back(index % 2 == 0 ? MakeGradient(Width, Height, 3) : MakeColourBars(Width, Height));
        frames.push_back({static_cast<uint8_t>(index % 2 + 1), 2024, 3, 14, 15, 26, index, index * 7,
                          variant.compression, 1, Scan(pictures.back(), variant.quality)});
    }
    AddFile("/f/train.arc",
            WriteFaiveley("North  Depot", {{1, "Cab"}, {2, "Platform"}}, frames, variant.swapped).bytes);
    ASSERT_EQ(Load(FaiveleyGuid, "/f/train.arc"), 0) << LastError();
    std::vector<int> streams = VideoStreams();
    ASSERT_EQ(streams.size(), 2u);
    EXPECT_EQ(StreamName(streams[0]), "North Depot - Cab");
    EXPECT_EQ(StreamName(streams[1]), "North Depot - Platform");
    for (size_t camera = 0; camera < 2; ++camera) {
        std::vector<Delivered> walked = WalkForward(streams[camera]);
        ASSERT_EQ(walked.size(), 2u);
        for (size_t at = 0; at < 2; ++at) {
            const size_t index = at * 2 + camera;
            const FaiveleyFrame& frame = frames[index];
            EXPECT_EQ(walked[at].time.recordedTime,
                      TicksFromSystemTime(2024, 3, 14, 15, 26, frame.second, frame.hundredths * 10));
            ASSERT_EQ(walked[at].data.size(), size_t{Width * Height * 3});
            EXPECT_GE(ComparePicture(pictures[index], walked[at].data.data(), Width * 3).psnr, 25) << index;
        }
    }
}

INSTANTIATE_TEST_SUITE_P(Storage, FaiveleyTest,
                         testing::Values(Variant{false, 0, 24}, Variant{true, 'P', 60}));

class FaiveleyDamageTest : public RecordingTest {};

TEST_F(FaiveleyDamageTest, DamagedFilesEndTheLoadWithTheirText) {
    std::vector<FaiveleyFrame> frames(
        3, {1, 2024, 3, 14, 15, 26, 0, 0, 0, 1, Scan(MakeGradient(Width, Height, 3), 24)});
    const FaiveleyFile good = WriteFaiveley("Depot", {{1, "Cab"}}, frames, false);
    auto changed = [&](size_t at, uint8_t value) {
        std::vector<uint8_t> bytes = good.bytes;
        bytes[at] = value;
        return bytes;
    };
    std::vector<uint8_t> lateFrames = changed(472 + 8 + 2, 0x7F);
    const std::pair<std::vector<uint8_t>, const char*> cases[] = {
        {changed(104, 0), "DecodeFaiveley LoadingReadComplete failing due to invalid id's\n"},
        {changed(196 + 8 + 3, 0x10),
         "DecodeFaiveley LoadingReadComplete failing due to file header parameter offset errors\n"},
        {lateFrames, "DecodeFaively LoadingReadComplete failing when reading FirstImageHeader\n"},
        {changed(good.frameStarts.back() + 40, 3),
         "DecodeFaiveley::LoadingReadComplete unknown image type\n"},
        {std::vector<uint8_t>(1000, 0),
         "DecodeFaiveley LoadingOpenComplete failing due to file being too small to contain headers\n"},
        // A frame whose sector lost its magic is passed over; its data joins the frame before.
        {changed(good.frameStarts[1], 0), nullptr},
    };
    int file = 0;
    for (const auto& [bytes, text] : cases) {
        const std::string path = "/bad" + std::to_string(file++) + ".arc";
        AddFile(path, bytes);
        if (text != nullptr) {
            EXPECT_TRUE(LoadFailsWith(FaiveleyGuid, path, text));
        } else {
            ASSERT_EQ(Load(FaiveleyGuid, path), 0) << LastError();
            EXPECT_EQ(WalkForward(VideoStream()).size(), 2u);
        }
    }
    AddFile("/bad.arx", good.bytes);
    EXPECT_TRUE(
        LoadFailsWith(FaiveleyGuid, "/bad.arx",
                      "DecodeFaiveley::LoadingGetOpenName failed due to extension not being \"arc\"\n"));
}

} // namespace
