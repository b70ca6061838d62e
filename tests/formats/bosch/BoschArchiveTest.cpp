#include "core/time/Ticks.h"
#include "fixtures/codecs/CodecTestSupport.h"
#include "fixtures/formats/BoschArchiveWriter.h"
#include "formats/RecorderChecks.h"

#include <cstring>

namespace {

using namespace FormatTests;
using Vorn::Vorncast::Decoders::TicksFromSystemTime;

constexpr const char* BoschGuid = "E1211BCF-C494-4b02-8C21-48F131069DF3";

int64_t TimeOf(const BoschFrame& frame) {
    return TicksFromSystemTime(frame.year, frame.month, frame.day, frame.hour, frame.minute, frame.second,
                               frame.milliseconds);
}

using BoschArchiveTest = RecorderTest;

// The second stream has no configuration of its own and decodes with the archive's header.
TEST_F(BoschArchiveTest, BackupsMergeByTimeAndEachCameraDecodesItsOwnStreamOrSaysWhyNot) {
    std::vector<BoschFrame> gate = EncodeBoschClip(64, 48, 10, 4, true);
    std::vector<BoschFrame> yard = EncodeBoschClip(64, 48, 10, 4, false);
    ASSERT_FALSE(gate.empty());
    CodecTest::EncodedVideo video;
    for (const BoschFrame& frame : gate) {
        video.frames.push_back({frame.data, frame.key, 0});
    }
    const std::vector<CodecTest::Picture> reference =
        CodecTest::ReferenceDecode(AV_CODEC_ID_MPEG4, video, false);
    for (BoschFrame& frame : yard) {
        frame.milliseconds += 20;
    }
    AddFiles(WriteBoschArchive(
        "/disk", "Export",
        {{"Backup_1", "Gate", "", {{"0001", gate}}}, {"Backup_2", "Yard", "", {{"0001", yard}}}}, 64, 48));
    ASSERT_EQ(Load(BoschGuid, "/disk/Export.info"), 0) << LastError();
    const std::vector<int> streams = ExpectStreamNames({"Gate", "Yard"});
    for (size_t camera = 0; camera < 2; ++camera) {
        const std::vector<BoschFrame>& clip = camera == 0 ? gate : yard;
        auto expectFrame = [&](const Delivered& delivered, size_t index) {
            EXPECT_EQ(delivered.time.recordedTime, TimeOf(clip[index]));
            ExpectDecoded(reference[index], delivered);
        };
        StepThrough(streams[camera], clip.size(), expectFrame);
        expectFrame(GoTo(streams[camera], TimeOf(clip[6])), 6);
    }

    EXPECT_TRUE(FileFailsWith(BoschGuid, "/a/Export.txt", {1},
                              "DecodeBoschArchive::LoadingCore Cannot handle filename [/a/Export.txt]\n"));
    AddFile("/b/Export/readme.txt", {1});
    EXPECT_TRUE(FileFailsWith(BoschGuid, "/b/Export.info", {1},
                              "DecodeBoschArchive LoadingFileListComplete failed with empty list\n"));

    // A record field that is no number is logged and the frame kept with what was read.
    BoschFiles archive = WriteBoschArchive("/c", "E", {{"B", "Cam", "", {{"T", gate}}}}, 64, 48);
    std::memcpy(archive[2].second.data() + 64 + 425 + 22, "XX24", 4);
    AddFiles(archive);
    ASSERT_EQ(Load(BoschGuid, "/c/E.info"), 0) << LastError();
    EXPECT_TRUE(WasLogged("DecodeBoschArchive::ParseDBFRecord failed to parse year XX24\n"));
    EXPECT_EQ(WalkForward(VideoStreams()[0]).size(), gate.size());
}

} // namespace
