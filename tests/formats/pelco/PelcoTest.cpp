#include "core/time/Ticks.h"
#include "fixtures/codecs/CodecTestSupport.h"
#include "fixtures/formats/PelcoEnduraWriter.h"
#include "fixtures/formats/PelcoPnsWriter.h"
#include "formats/RecorderChecks.h"

#include <algorithm>
#include <string_view>

namespace {

using namespace FormatTests;

constexpr const char* EnduraGuid = "F1532EFF-6CF0-4897-922B-AC284D95F38D";
constexpr const char* PnsGuid = "60BEC8E3-18C2-441b-875F-1316554AB394";
constexpr uint16_t Width = 96;
constexpr uint16_t Height = 64;
constexpr uint32_t FirstSecond = 1700000000;
constexpr int64_t TimeBase = 1000;

int64_t TimeOf(const EnduraFrame& frame) {
    return ((int64_t{frame.seconds} + Vorn::Vorncast::Decoders::UnixEpochSeconds) * 1000000 +
            frame.microseconds) *
           10;
}

using PelcoEnduraTest = RecorderTest;

TEST_F(PelcoEnduraTest, FramesStepThroughSeekIntoAGroupAndDamageFailsTheLoad) {
    std::vector<EnduraFrame> frames = EncodeEnduraClip(Width, Height, 12, 5);
    ASSERT_FALSE(frames.empty());
    CodecTest::EncodedVideo video;
    for (size_t index = 0; index < frames.size(); ++index) {
        video.frames.push_back({frames[index].data, frames[index].key, static_cast<int64_t>(index)});
        frames[index].seconds = FirstSecond + static_cast<uint32_t>(index / 4);
        frames[index].microseconds = static_cast<uint32_t>(index % 4) * 250000 + 17;
        frames[index].timeOffset = index < 6 ? -5 : 3600;
    }
    const std::vector<CodecTest::Picture> reference =
        CodecTest::ReferenceDecode(AV_CODEC_ID_MPEG4, video, false);
    auto expectFrame = [&](const Delivered& delivered, size_t index) {
        EXPECT_EQ(delivered.time.recordedTime, TimeOf(frames[index]));
        EXPECT_EQ(delivered.time.zoneBias >> 32, frames[index].timeOffset);
        ExpectDecoded(reference[index], delivered);
    };
    const std::vector<uint8_t> good = WritePelcoEndura(frames, "Loading Bay", Width, Height).bytes;
    ASSERT_TRUE(LoadsFile(EnduraGuid, "/export/cam.pef", good));
    const int stream = ExpectStreamNames({"Loading Bay"})[0];
    StepThrough(stream, frames.size(), expectFrame);
    expectFrame(GoTo(stream, TimeOf(frames[8]) + 1), 8);
    expectFrame(Next(stream), 9);

    auto at = [&](std::string_view text) {
        return static_cast<size_t>(std::search(good.begin(), good.end(), text.begin(), text.end()) -
                                   good.begin());
    };
    const std::string prefix = "DecodePelcoEndura::LoadingReadComplete failed ";
    ExpectLoadsFail(EnduraGuid, "x.pef",
                    {{WithByte(good, 0, 'w'), prefix + "No vdat found at start\n"},
                     {CutTo(good, 300), prefix + "File too short\n"},
                     {WithByte(good, at("PLCO"), 'X'), prefix + "No PLCO user data found\n"},
                     {WithByte(good, at("PLCO") + 7, 250), prefix + "Bad PLCO user data length\n"},
                     {WithByte(good, at("Mpeg-4"), 'J'),
                      "DecodePelcoEndura::DecompressingReadComplete failed Not MPEG4 compression\n"},
                     {WithByte(good, at("siof"), 'x'), prefix + "No siof file section found\n"}});
}

using Places = std::vector<std::pair<uint8_t, uint8_t>>;

using PelcoPnsTest = RecorderTest;

// Samples the host keeps while it steps on keep their own pictures, however the decoder goes on
// with its running picture. A seek to an update with no key frame before it shows black.
TEST_F(PelcoPnsTest, UpdatesPlaceTheirTilesWhicheverWayTheFrameIsReachedAndDamageFailsTheLoad) {
    const BgrPicture a = MakeQuadrantPicture(Width, Height, 0);
    const BgrPicture b = MakeQuadrantPicture(Width, Height, 2);
    const BgrPicture c = MakeQuadrantPicture(Width, Height, 1);
    const Places first = {{0, 0}, {5, 3}};
    const Places second = {{1, 0}};
    std::vector<PnsFrame> frames = {{true, 2000, {}, EncodeTestJpeg(a, 95)},
                                    {false, 2040, first, EncodeTestJpeg(TileStrip(b, first), 95)},
                                    {false, 2080, second, EncodeTestJpeg(TileStrip(b, second), 95)},
                                    {true, 2120, {}, EncodeTestJpeg(c, 95)},
                                    {false, 2160, second, EncodeTestJpeg(TileStrip(b, second), 95)}};
    const std::vector<BgrPicture> expected = {
        a, WithTiles(a, b, first), WithTiles(WithTiles(a, b, first), b, second), c, WithTiles(c, b, second)};
    auto expectFrame = [&](const Delivered& delivered, size_t index) {
        ASSERT_EQ(delivered.status, 0);
        EXPECT_EQ(delivered.time.recordedTime, (frames[index].milliseconds - TimeBase) * 10000);
        ExpectNear(expected[index], delivered);
    };
    ASSERT_TRUE(LoadsFile(PnsGuid, "/cam.pns", WritePelcoPns(frames, Width, Height, 0x20, TimeBase).bytes));
    const int stream = VideoStream();
    const std::vector<Delivered> walked = StepThrough(stream, frames.size(), expectFrame);
    ASSERT_EQ(walked.size(), frames.size());
    expectFrame(GoTo(stream, walked[2].time.streamTime), 2);

    ASSERT_EQ(GoTo(stream, walked[0].time.streamTime).status, 0);
    VcSampleRequest request{};
    request.abort = [] { return 0; };
    request.wantData = 1;
    std::vector<VcSample> held(frames.size() - 1);
    for (VcSample& sample : held) {
        ASSERT_EQ(Stream_GetNextSample(stream, request, &sample), 0);
    }
    for (size_t index = 0; index < held.size(); ++index) {
        EXPECT_LT(CompareBgr(expected[index + 1], held[index].uncompressedData, Width * 3).meanAbsolute, 3.0)
            << index;
        Stream_ReleaseSample(stream, held[index]);
    }
    expectFrame(Previous(stream), frames.size() - 2);

    PnsFile good = WritePelcoPns(frames, Width, Height, 1, TimeBase);
    const std::string prefix = "DecodePelco::LoadingReadComplete ";
    ExpectLoadsFail(PnsGuid, "x.pns",
                    {{WithByte(good.bytes, 0, 0), prefix + "not a pelco file\n"},
                     {WithByte(good.bytes, 80, 0), prefix + "silly image count\n"},
                     {WithByte(good.bytes, 99, 0x7F), prefix + "bad first image position\n"},
                     {WithByte(good.bytes, 91, 0x7F), prefix + "bad index position\n"},
                     {WithByte(good.bytes, good.blockStarts[1] + 32, 17), prefix + "bad image sizes\n"},
                     {CutTo(good.bytes, 200), "DecodePelco::LoadingOpenComplete file too small\n"}});
    frames.erase(frames.begin());
    ASSERT_TRUE(LoadsFile(PnsGuid, "/cut.pns", WritePelcoPns(frames, Width, Height, 0, TimeBase).bytes));
    const std::vector<Delivered> cut = WalkForward(VideoStream());
    ASSERT_EQ(cut.size(), frames.size());
    const Delivered update = GoTo(VideoStream(), cut[1].time.streamTime);
    ASSERT_EQ(update.status, 0);
    EXPECT_TRUE(IsBlack(update));
}

} // namespace
