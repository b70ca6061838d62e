#include "fixtures/formats/FaiveleyWriter.h"
#include "fixtures/formats/GeutebruckWriter.h"
#include "fixtures/formats/SanyoWriter.h"
#include "fixtures/formats/TestJpegPictures.h"
#include "fixtures/formats/ViconNetWriter.h"
#include "formats/RecordingFixture.h"

namespace {

using namespace FormatTests;
using namespace Vorn::Vorncast::Decoders::Testing;

using JpegRecorderAutodetectTest = RecordingTest;

// Each recording is found by its extension, also where other decoders claim the same one.
TEST_F(JpegRecorderAutodetectTest, EachRecordingFindsItsDecoder) {
    const std::vector<uint8_t> scan = [] {
        std::vector<uint8_t> jpeg =
            EncodeJpeg(MakeGradient(352, 288, 3), {.sampling = Sampling::S422, .recorderQuality = 24});
        return std::vector<uint8_t>(jpeg.begin() + static_cast<long>(ScanDataOffset(jpeg)), jpeg.end());
    }();
    AddFile("/a/train.arc",
            WriteFaiveley("Depot", {}, {{1, 2024, 3, 14, 15, 26, 0, 0, 0, 1, scan}}, false).bytes);
    AddFile("/a/rec.mbf", WriteGeutebruck({}, {{1, 738000, 0, 0, 100, scan}}).bytes);
    for (const auto& [path, bytes] :
         WriteSanyo("/a/SANYO", "00001", {}, {{765000000, 0, 1, EncodeTestJpeg(MakeQuadrantPicture(32, 16))}},
                    false)) {
        AddFile(path, bytes);
    }
    ViconNetArchive archive;
    archive.slices = {
        {1, {{"cam_01", {ViconNetKeyFrame(BlockJpegWriter(32, 16, 50), MakeGradient(32, 16, 3), 0)}}}}};
    for (const auto& [path, bytes] : WriteViconNet(archive)) {
        AddFile(path, bytes);
    }
    EXPECT_EQ(Autodetected("/a/train.arc"), "Faiveley X Track");
    EXPECT_EQ(Autodetected("/a/rec.mbf"), "Geutebruck");
    EXPECT_EQ(Autodetected("/a/SANYO/00001/IMG00001/00000001.jpg"), "Sanyo");
    EXPECT_EQ(Autodetected("/site/Archive 24-03-14 15.26.00/Video1/cam_01.2"), "ViconNet");
}

} // namespace
