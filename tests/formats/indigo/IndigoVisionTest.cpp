#include "core/time/Ticks.h"
#include "fixtures/codecs/CodecTestSupport.h"
#include "fixtures/formats/IndigoVisionWriter.h"
#include "formats/RecorderChecks.h"

namespace {

using namespace FormatTests;
using Vorn::Vorncast::Decoders::TicksFromUnixMilliseconds;

constexpr const char* IndigoGuid = "CF20DCA0-3A9A-497f-8CB0-8A765E4CD802";
constexpr uint64_t Start = 1700000000000;

Bytes AsBytes(const std::string& text) {
    return Bytes(text.begin(), text.end());
}

class IndigoVisionTest : public RecorderTest {
protected:
    void ExpectChannel(int stream, const std::vector<IndigoFrame>& clip, AVCodecID codec) {
        CodecTest::EncodedVideo video;
        for (const IndigoFrame& frame : clip) {
            video.frames.push_back({frame.data, frame.key, 0});
        }
        const std::vector<CodecTest::Picture> reference = CodecTest::ReferenceDecode(codec, video, false);
        const std::vector<Delivered> walked = WalkForward(stream);
        ASSERT_EQ(walked.size(), clip.size());
        for (size_t index = 0; index < walked.size(); ++index) {
            EXPECT_EQ(walked[index].time.recordedTime, TicksFromUnixMilliseconds(clip[index].milliseconds));
            ExpectDecoded(reference[index], walked[index]);
        }
        ExpectDecoded(reference[7], GoTo(stream, TicksFromUnixMilliseconds(clip[7].milliseconds)));
        ExpectDecoded(reference[8], Next(stream));
    }
};

// An incident: its camera list names the channels by the beginning of their file names; an MPEG-4
// and an H.264 channel interleave in time and each keeps its own pictures, times and zone. A file
// with no incident above it loads alone, named by its file.
TEST_F(IndigoVisionTest, IncidentChannelsTakeTheirCamerasAndDecodeEachItsOwnCodecAndDamageFailsTheLoad) {
    const std::vector<IndigoFrame> gate = EncodeIndigoClip("mpeg4", 64, 48, 10, 5, Start);
    const std::vector<IndigoFrame> yard = EncodeIndigoClip("libx264", 64, 48, 10, 5, Start + 20);
    ASSERT_FALSE(gate.empty());
    ASSERT_FALSE(yard.empty()) << "libx264 is needed";
    Vorn::Vorncast::Decoders::TimeZoneInformation zone{};
    zone.Bias = -60;
    AddFile("/case/incident.ivi", AsBytes(IndigoIncident("db", "Footage")));
    AddFile("/case/db/sites.vdb", AsBytes(IndigoSites({{3, "Gate"}, {7, "local:Yard"}, {200, "Gate"}})));
    AddFile("/case/Footage/Gate_01.vmf", WriteIndigoFootage(gate, &zone).bytes);
    AddFile("/case/Footage/notes.txt", AsBytes("not footage"));
    ASSERT_TRUE(
        LoadsFile(IndigoGuid, "/case/Footage/Yard.vmf", WriteIndigoFootage(yard, nullptr, 0x20).bytes));
    const std::vector<int> streams = ExpectStreamNames({"Gate", "Yard"});
    ExpectChannel(streams[0], gate, AV_CODEC_ID_MPEG4);
    ExpectChannel(streams[1], yard, AV_CODEC_ID_H264);
    EXPECT_EQ(GoTo(streams[0], TicksFromUnixMilliseconds(Start)).time.zoneKnown, 1);

    ASSERT_TRUE(LoadsFile(IndigoGuid, "/loose/Lobby.vmf", WriteIndigoFootage(gate, nullptr).bytes));
    ExpectChannel(ExpectStreamNames({"Lobby"})[0], gate, AV_CODEC_ID_MPEG4);

    EXPECT_TRUE(FileFailsWith(IndigoGuid, "/a/x.mp4", WriteIndigoFootage(gate, nullptr, 0x30).bytes,
                              "DecodeIndigoVision::LoadingReadComplete cannot handle MP4 files without VSES "
                              "tag at 0x10 or 0x20\n"));
    EXPECT_TRUE(FileFailsWith(
        IndigoGuid, "/b/i.ivi", AsBytes("just one line\r\n"),
        "DecodeIndigoVision::LoadingReadComplete failing with incorrect number a fields, parsing ivi\n"));
    AddFile("/c/i.ivi", AsBytes(IndigoIncident("db", "F")));
    AddFile("/c/db/sites.vdb", AsBytes("<Site/>"));
    AddFile("/c/F/readme.txt", AsBytes("x"));
    EXPECT_TRUE(
        LoadFailsWith(IndigoGuid, "/c/i.ivi",
                      "DecodeIndigoVision LoadingFileListComplete failing due to list of footage files "
                      "with no mp4 or vmf files\n"));
    EXPECT_TRUE(
        FileFailsWith(IndigoGuid, "/d/empty.vmf", WriteIndigoFootage({}, nullptr).bytes,
                      "DecodeIndigoVisoin::LoadingReadComplete failed to identify compression type\n"));
}

} // namespace
