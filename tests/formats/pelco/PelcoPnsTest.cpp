#include "fixtures/formats/PelcoPnsWriter.h"
#include "formats/RecorderChecks.h"

namespace {

using namespace FormatTests;
using namespace Vorn::Vorncast::Decoders::Testing;

constexpr const char* PnsGuid = "60BEC8E3-18C2-441b-875F-1316554AB394";
constexpr uint16_t Width = 96;
constexpr uint16_t Height = 64;
constexpr int64_t TimeBase = 1000;

using Places = std::vector<std::pair<uint8_t, uint8_t>>;

class PelcoPnsTest : public RecorderTest {
protected:
    // Key frames of pictures A and C, updates of tiles of B between them; `expected` is what each
    // frame shows.
    void SetUp() override {
        RecorderTest::SetUp();
        const BgrPicture a = MakeQuadrantPicture(Width, Height, 0);
        const BgrPicture b = MakeQuadrantPicture(Width, Height, 2);
        const BgrPicture c = MakeQuadrantPicture(Width, Height, 1);
        const Places first = {{0, 0}, {5, 3}};
        const Places second = {{1, 0}};
        frames = {{true, 2000, {}, EncodeTestJpeg(a, 95)},
                  {false, 2040, first, EncodeTestJpeg(TileStrip(b, first), 95)},
                  {false, 2080, second, EncodeTestJpeg(TileStrip(b, second), 95)},
                  {true, 2120, {}, EncodeTestJpeg(c, 95)},
                  {false, 2160, second, EncodeTestJpeg(TileStrip(b, second), 95)}};
        expected = {a, WithTiles(a, b, first), WithTiles(WithTiles(a, b, first), b, second), c,
                    WithTiles(c, b, second)};
    }

    void ExpectFrame(const Delivered& delivered, size_t index) {
        ASSERT_EQ(delivered.status, 0) << index;
        EXPECT_EQ(delivered.time.recordedTime, (frames[index].milliseconds - TimeBase) * 10000) << index;
        ExpectNear(expected[index], delivered);
    }

    std::vector<PnsFrame> frames;
    std::vector<BgrPicture> expected;
};

// Updates put their tiles into the picture of the key frame before them, stepping forward, back
// and by seeking into the middle of a run of updates. Samples the host keeps while it steps on keep
// their own pictures, however the decoder goes on with its running picture.
TEST_F(PelcoPnsTest, UpdatesPlaceTheirTilesWhicheverWayTheFrameIsReached) {
    AddFile("/cam.pns", WritePelcoPns(frames, Width, Height, 0x20, TimeBase).bytes);
    ASSERT_EQ(Load(PnsGuid, "/cam.pns"), 0) << LastError();
    const int stream = VideoStream();
    const std::vector<Delivered> walked = StepThrough(
        stream, frames.size(), [&](const Delivered& frame, size_t index) { ExpectFrame(frame, index); });
    ASSERT_EQ(walked.size(), frames.size());
    ExpectFrame(GoTo(stream, walked[2].time.streamTime), 2);

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
    ExpectFrame(Previous(stream), frames.size() - 2);
}

// Damage ends the load with its text. A seek to an update with no key frame before it has no
// picture to go on: it shows black.
TEST_F(PelcoPnsTest, DamagedFilesEndTheLoadWithTheirText) {
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
    AddFile("/cut.pns", WritePelcoPns(frames, Width, Height, 0, TimeBase).bytes);
    ASSERT_EQ(Load(PnsGuid, "/cut.pns"), 0) << LastError();
    const std::vector<Delivered> walked = WalkForward(VideoStream());
    ASSERT_EQ(walked.size(), frames.size());
    const Delivered second = GoTo(VideoStream(), walked[1].time.streamTime);
    ASSERT_EQ(second.status, 0);
    EXPECT_TRUE(IsBlack(second));
}

} // namespace
