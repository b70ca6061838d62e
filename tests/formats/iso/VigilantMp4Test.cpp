// Vigilant exports built here from the recorder's layout: no "ftyp", a FILETIME creation time, the
// "free" box with camera texts and time zone, and the field exports of 704 x 576.
#include "core/time/TimeZoneInformation.h"
#include "formats/iso/IsoFormatFixture.h"

using namespace IsoTests;
using namespace IsoTest;
using Vorn::Vorncast::Decoders::TimeZoneInformation;

namespace {

// 2020-07-01 12:00:00 UTC, in summer time in CentralEurope().
constexpr int64_t SummerUnixSeconds = 1593604800;
constexpr uint64_t SummerFileTime = (SummerUnixSeconds + 11644473600ull) * 10000000ull;
constexpr int64_t TicksPerMinute = 600000000;

class VigilantMp4Test : public IsoClipTest {
protected:
    void SetUp() override {
        IsoClipTest::SetUp();
        ClipSettings settings;
        settings.frames = 6;
        settings.gop = 3;
        MakeClip(settings);
    }
};

// The camera texts and time zone come from a "free" box of either of the recorder's sizes; boxes the
// recorder did not write this way give no camera name, or no zone and UTC times.
TEST_F(VigilantMp4Test, CameraTextsAndTimeZoneComeFromEitherSizeOfFreeBox) {
    const TimeZoneInformation zone = CentralEurope();
    Bytes odd = VigilantFreePayload(819, "Front door", "Site 7", &zone);
    odd.push_back(0);
    odd[0] = 0x34; // 820, the payload's own size, but not one of the recorder's
    odd[1] = 0x03;
    Bytes shortened = VigilantFreePayload(819, "Front door", "Site 7", nullptr);
    shortened.pop_back(); // the size word disagrees with the payload
    TimeZoneInformation unnegatable = zone;
    unnegatable.StandardBias = INT32_MIN;
    const struct {
        Bytes payload;
        const char* name;
        int32_t bias; // minutes east of UTC in July; -1: no zone
    } cases[] = {
        {VigilantFreePayload(819, "Front door", "Site 7", &zone), "Front door - Site 7", 60},
        {VigilantFreePayload(1741, "Front door", "Site 7", &zone), "Front door - Site 7", 60},
        {odd, "", -1},
        {shortened, "", -1},
        {VigilantFreePayload(1741, "Front door", "Site 7", &unnegatable), "Front door - Site 7", -1},
    };
    for (const auto& [payload, cameraName, bias] : cases) {
        SCOPED_TRACE(payload.size());
        AddFile("free.mp4", WriteMovieFile(VigilantMovie(clip, SummerFileTime, {payload})));
        ASSERT_EQ(Load(VigilantGuid, "free.mp4"), 0) << LastError();
        const int stream = VideoStream();
        ASSERT_NE(stream, 0);
        EXPECT_EQ(StreamName(stream), cameraName);
        const int64_t local = TicksFromUnix(SummerUnixSeconds) + std::max(bias, 0) * TicksPerMinute;
        for (size_t frame = 0; frame < reference.size(); ++frame) {
            const Delivered delivered = Next(stream);
            ExpectPicture(delivered, reference[frame], frame);
            if (frame == 0) {
                // Sizes other than the field exports keep their own header and the fixed aspect.
                ExpectShape(stream, delivered, 96, 64, 352, 288);
            }
            EXPECT_EQ(delivered.time.recordedTime, local + SampleTicks(frame)) << "frame " << frame;
            EXPECT_EQ(delivered.time.streamTime, delivered.time.recordedTime);
            EXPECT_EQ(delivered.time.zoneBias, std::max(bias, 0)) << "daylight saving in July";
            EXPECT_EQ(delivered.time.zoneKnown, bias >= 0 ? 1 : 0);
        }
        // A seek by stream time goes through the zone's offset too.
        ExpectPicture(GoTo(stream, local + SampleTicks(4)), reference[4], 4);
        ExpectPicture(GoTo(stream, local + SampleTicks(2)), reference[2], 2);
        EXPECT_EQ(GoTo(stream, local - 1).status, VC_EndOfStreamBeforeStart);
    }
}

// A file type box marks a file of another recorder; the load texts name the Vigilant decoder.
TEST_F(VigilantMp4Test, DamagedOrForeignFilesFailWithTheirText) {
    MovieLayout typed = VigilantMovie(clip, SummerFileTime, {});
    typed.fileType = true;
    const Bytes plain = WriteMovieFile(VigilantMovie(clip, SummerFileTime, {}));
    ExpectLoadsFail(VigilantGuid, "damaged.mp4",
                    {{WriteMovieFile(typed), "DecodeVigilantMp4 File type box should not be present 1\n"},
                     {Join({LargeBox("ftyp", Bytes(8, 'a')), plain}),
                      "DecodeVigilantMp4 File type box should not be present 2\n"},
                     {Bytes(plain.begin(), plain.end() - 1), "DecodeVigilantMp4 Box ends after file 1\n"}});
}

// PAL and NTSC field exports: 704 x 576 and 704 x 480 shown as their fields of 704 x 288 and 704 x 240.
TEST_F(VigilantMp4Test, FieldExportsAreShownAtHalfHeightBehindTheRecordersHeader) {
    for (int32_t frameHeight : {576, 480}) {
        SCOPED_TRACE(frameHeight);
        LoggedTexts().clear();
        // The recorder stores fields coded as its own header has them (MPEG quantisation, a time
        // resolution of 9000), behind an "esds" header that claims full frames.
        ClipSettings fields;
        fields.width = 704;
        fields.height = frameHeight / 2;
        fields.frames = 4;
        fields.gop = 4;
        fields.options = {{"mpeg_quant", "1"}};
        fields.timeResolution = 9000;
        VideoClip fieldClip;
        ASSERT_TRUE(MakeMpeg4Clip(fields, &fieldClip));
        ClipSettings frames = fields;
        frames.height = frameHeight;
        frames.frames = 1;
        VideoClip frameClip;
        ASSERT_TRUE(MakeMpeg4Clip(frames, &frameClip));
        VideoClip stored = fieldClip;
        stored.track.height = static_cast<uint16_t>(frameHeight);
        stored.track.entries = frameClip.track.entries;
        const std::vector<CodecTest::Picture> expected =
            CodecTest::ReferenceDecode(AV_CODEC_ID_MPEG4, fieldClip.video, false);
        ASSERT_EQ(expected.size(), 4u);

        const std::string name = "field" + std::to_string(frameHeight) + ".mp4";
        AddFile(name, WriteMovieFile(VigilantMovie(stored, SummerFileTime, {})));
        ASSERT_EQ(Load(VigilantGuid, name), 0) << LastError();
        EXPECT_TRUE(WasLogged("DecodeVigilantMp4::SetAspectRatio\n"));
        const int stream = VideoStream();
        for (size_t frame = 0; frame < expected.size(); ++frame) {
            const Delivered delivered = Next(stream);
            ExpectPicture(delivered, expected[frame], frame);
            if (frame == 0) {
                ExpectShape(stream, delivered, 704, frameHeight / 2, 352, 288);
            }
        }
    }
}

} // namespace
