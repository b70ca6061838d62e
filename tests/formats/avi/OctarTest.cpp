// Octar and Visimetrics recordings: trees of date and hour folders, times from the names or a text
// stream, camera names from a VISI header, two-field frames, JPEG 2000 pictures.
#include "core/time/Ticks.h"
#include "fixtures/formats/AviWriter.h"
#include "fixtures/formats/TestJpegPictures.h"
#include "fixtures/jpeg2000/Jpeg2000TestEncoder.h"
#include "formats/RecordingFixture.h"

#include <cstring>

namespace {

using namespace FormatTests;
using namespace Vorn::Vorncast::Decoders::Testing;
using Vorn::Vorncast::Decoders::FourCCLE;
using Vorn::Vorncast::Decoders::TicksFromSystemTime;

constexpr const char* OctarGuid = "59F17923-0F20-4c96-9948-F4ED75F162A1";
constexpr const char* VisimetricsGuid = "D9F40741-DBD1-4d22-A2C5-84BFEF3F68AD";
constexpr int32_t Width = 64;
constexpr int32_t Height = 48;
constexpr int64_t FrameTicks = 400000;

// Lines `first`, `first` + 2, ... of a picture: one of its fields.
BgrPicture Field(const BgrPicture& picture, int32_t first) {
    BgrPicture field{picture.width, picture.height / 2, {}};
    const size_t line = static_cast<size_t>(picture.width) * 3;
    for (int32_t row = first; row < picture.height; row += 2) {
        field.bgr.insert(field.bgr.end(), picture.bgr.begin() + static_cast<ptrdiff_t>(row * line),
                         picture.bgr.begin() + static_cast<ptrdiff_t>((row + 1) * line));
    }
    return field;
}

class OctarTest : public RecordingTest {
protected:
    // Four MJPEG frames, each one image or two fields; the pictures they show.
    AviStreamSpec Video(bool fields, int32_t turn) {
        AviStreamSpec video;
        video.format = AviVideoFormat(FourCCLE("MJPG"), Width, Height);
        for (int32_t frame = 0; frame < 4; ++frame) {
            pictures.push_back(MakeQuadrantPicture(Width, Height, turn + frame));
            std::vector<uint8_t> chunk = EncodeTestJpeg(fields ? Field(pictures.back(), 0) : pictures.back());
            if (fields) {
                const std::vector<uint8_t> odd = EncodeTestJpeg(Field(pictures.back(), 1));
                chunk.insert(chunk.end(), odd.begin(), odd.end());
            }
            video.chunks.push_back(chunk);
        }
        return video;
    }
    static std::vector<uint8_t> Dates(int32_t second) {
        std::vector<uint8_t> text(16, 0);
        const uint16_t words[8] = {2021, 3, 4, 4, 6, 0, static_cast<uint16_t>(second), 500};
        std::memcpy(text.data(), words, sizeof(words));
        return text;
    }
    std::vector<BgrPicture> pictures;
};

// Two files of camera 3 in one hour's folder, the first with an OpenDML index, the second of
// two-field frames, and a file of camera 4 in the next hour with its text stream and VISI header:
// every frame's time, camera and picture.
TEST_F(OctarTest, TheTreeOfAFolderGivesEachCameraItsFramesAndTimes) {
    AviLayout openDml;
    openDml.index = AviIndex::OpenDml;
    AddFile("/site/2021/03/04/05/18367_C03.avi", WriteAvi({Video(false, 0)}, openDml).bytes);
    AddFile("/site/2021/03/04/05/18400_C03.avi", WriteAvi({Video(true, 4)}).bytes);
    AviStreamSpec texts;
    texts.type = FourCCLE("txts");
    for (int32_t second = 0; second < 4; ++second) {
        texts.chunks.push_back(Dates(second));
    }
    AviLayout visi;
    visi.junk.assign(120, 0);
    std::memcpy(visi.junk.data() + 10, "VISI", 4);
    std::memcpy(visi.junk.data() + 10 + 48, "Back door", 9);
    AddFile("/site/2021/03/04/06/21600_C04.avi", WriteAvi({Video(false, 8), texts}, visi).bytes);
    ASSERT_EQ(Load(OctarGuid, "/site/2021/03/04/05/18367_C03.avi"), 0) << LastError();
    const std::vector<int> streams = VideoStreams();
    ASSERT_EQ(streams.size(), 2u);
    EXPECT_EQ(StreamName(streams[1]), "Back door");
    for (size_t camera = 0; camera < 2; ++camera) {
        const std::vector<Delivered> walked = WalkForward(streams[camera]);
        ASSERT_EQ(walked.size(), camera == 0 ? 8u : 4u);
        for (size_t frame = 0; frame < walked.size(); ++frame) {
            const size_t shown = camera * 8 + frame;
            const int64_t expected =
                camera == 1 ? TicksFromSystemTime(2021, 3, 4, 6, 0, static_cast<int32_t>(frame), 500)
                : frame < 4
                    ? TicksFromSystemTime(2021, 3, 4, 5, 6, 7, 0) + FrameTicks * static_cast<int64_t>(frame)
                    : TicksFromSystemTime(2021, 3, 4, 5, 6, 40, 0) +
                          FrameTicks * static_cast<int64_t>(frame - 4);
            EXPECT_EQ(walked[frame].time.recordedTime, expected) << camera << " frame " << frame;
            ASSERT_EQ(walked[frame].data.size(), pictures[shown].bgr.size());
            EXPECT_LT(CompareBgr(pictures[shown], walked[frame].data.data(), Width * 3).meanAbsolute, 4.0)
                << camera << " frame " << frame;
        }
    }
}

TEST_F(OctarTest, AFileOutsideTheDateTreeFailsTheLoad) {
    AddFile("/flat/18367_C03.avi", WriteAvi({Video(false, 0)}).bytes);
    EXPECT_NE(Load(OctarGuid, "/flat/18367_C03.avi"), 0);
    EXPECT_TRUE(
        WasLogged("BaseAVIDecoder: Decode Failure (FileListComplete called with filePathError == true)\n"));
}

TEST_F(OctarTest, VisimetricsPicturesAreJpeg2000) {
    const std::vector<uint8_t> rgb = Jpeg2000Testing::MakeRgbPicture(Width, Height);
    AviStreamSpec video;
    video.format = AviVideoFormat(FourCCLE("MJ2C"), Width, Height);
    for (int32_t frame = 0; frame < 3; ++frame) {
        video.chunks.push_back(
            Jpeg2000Testing::Encode(Jpeg2000Testing::RgbPlanes(rgb, Width, Height), Width, Height, {}));
    }
    AddFile("/visi/2021/03/04/05/18367_C01.avi", WriteAvi({video}).bytes);
    ASSERT_EQ(Load(VisimetricsGuid, "/visi/2021/03/04/05/18367_C01.avi"), 0) << LastError();
    const std::vector<Delivered> walked = WalkForward(VideoStream());
    ASSERT_EQ(walked.size(), 3u);
    EXPECT_EQ(walked[2].time.recordedTime, TicksFromSystemTime(2021, 3, 4, 5, 6, 7, 0) + 2 * FrameTicks);
    EXPECT_EQ(walked[2].data, Jpeg2000Testing::ToBgr(rgb));
}

} // namespace
