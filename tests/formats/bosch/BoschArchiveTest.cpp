#include "core/time/Ticks.h"
#include "fixtures/codecs/CodecTestSupport.h"
#include "fixtures/formats/BoschArchiveWriter.h"
#include "formats/RecordingFixture.h"

namespace {

using namespace FormatTests;
using namespace Vorn::Vorncast::Decoders::Testing;
using Vorn::Vorncast::Decoders::TicksFromSystemTime;

constexpr const char* BoschGuid = "E1211BCF-C494-4b02-8C21-48F131069DF3";
constexpr int32_t Width = 64;
constexpr int32_t Height = 48;

int64_t TimeOf(const BoschFrame& frame) {
    return TicksFromSystemTime(frame.year, frame.month, frame.day, frame.hour, frame.minute, frame.second,
                               frame.milliseconds);
}

class BoschArchiveTest : public RecordingTest {
protected:
    void AddArchive(const BoschFiles& archive) {
        for (const auto& [path, bytes] : archive) {
            AddFile(path, bytes);
        }
    }
    void ExpectFrame(const Delivered& delivered, const BoschFrame& frame, const CodecTest::Picture& picture) {
        ASSERT_EQ(delivered.status, 0);
        EXPECT_EQ(delivered.time.recordedTime, TimeOf(frame));
        ASSERT_EQ(delivered.data.size(), picture.Bytes());
        EXPECT_GE(CodecTest::Psnr(picture, delivered.data.data()), 40.0);
    }
};

// Two backups, one a camera each, whose frames interleave in time; the second stream has no
// configuration of its own and decodes with the archive's header. Each camera walks forward and
// back with its own pictures, and a seek lands inside a group of pictures.
TEST_F(BoschArchiveTest, BackupsMergeByTimeAndEachCameraDecodesItsOwnStream) {
    std::vector<BoschFrame> gate = EncodeBoschClip(Width, Height, 10, 4, true);
    std::vector<BoschFrame> yard = EncodeBoschClip(Width, Height, 10, 4, false);
    ASSERT_FALSE(gate.empty());
    CodecTest::EncodedVideo video;
    for (const BoschFrame& frame : gate) {
        video.frames.push_back({frame.data, frame.key, 0});
    }
    std::vector<CodecTest::Picture> reference = CodecTest::ReferenceDecode(AV_CODEC_ID_MPEG4, video, false);
    for (BoschFrame& frame : yard) {
        frame.milliseconds += 20;
    }
    AddArchive(WriteBoschArchive(
        "/disk", "Export",
        {{"Backup_1", "Gate", "", {{"0001", gate}}}, {"Backup_2", "Yard", "", {{"0001", yard}}}}, Width,
        Height));
    ASSERT_EQ(Load(BoschGuid, "/disk/Export.info"), 0) << LastError();
    std::vector<int> streams = VideoStreams();
    ASSERT_EQ(streams.size(), 2u);
    EXPECT_EQ(StreamName(streams[0]), "Gate");
    EXPECT_EQ(StreamName(streams[1]), "Yard");
    for (size_t camera = 0; camera < 2; ++camera) {
        const std::vector<BoschFrame>& clip = camera == 0 ? gate : yard;
        std::vector<Delivered> walked = WalkForward(streams[camera]);
        ASSERT_EQ(walked.size(), clip.size());
        for (size_t index = 0; index < clip.size(); ++index) {
            ExpectFrame(walked[index], clip[index], reference[index]);
        }
        for (size_t index = clip.size(); index-- > 0;) {
            ExpectFrame(Previous(streams[camera]), clip[index], reference[index]);
        }
        ExpectFrame(GoTo(streams[camera], TimeOf(clip[6])), clip[6], reference[6]);
    }
}

TEST_F(BoschArchiveTest, ArchivesThatCannotLoadSayWhy) {
    AddFile("/a/Export.txt", {1});
    EXPECT_NE(Load(BoschGuid, "/a/Export.txt"), 0);
    EXPECT_TRUE(WasLogged("DecodeBoschArchive::LoadingCore Cannot handle filename [/a/Export.txt]\n"));
    AddFile("/b/Export.info", {1});
    AddFile("/b/Export/readme.txt", {1});
    EXPECT_NE(Load(BoschGuid, "/b/Export.info"), 0);
    EXPECT_TRUE(WasLogged("DecodeBoschArchive LoadingFileListComplete failed with empty list\n"));
}

// A field that is no number is logged and the frame kept with what was read.
TEST_F(BoschArchiveTest, ARecordFieldThatIsNoNumberIsLoggedAndTheFrameKept) {
    std::vector<BoschFrame> clip = EncodeBoschClip(Width, Height, 3, 3, true);
    BoschFiles archive = WriteBoschArchive("/c", "E", {{"B", "Cam", "", {{"T", clip}}}}, Width, Height);
    std::vector<uint8_t>& table = archive[2].second;
    std::memcpy(table.data() + 64 + 425 + 22, "XX24", 4);
    AddArchive(archive);
    ASSERT_EQ(Load(BoschGuid, "/c/E.info"), 0) << LastError();
    EXPECT_TRUE(WasLogged("DecodeBoschArchive::ParseDBFRecord failed to parse year XX24\n"));
    EXPECT_EQ(WalkForward(VideoStreams()[0]).size(), 3u);
}

} // namespace
