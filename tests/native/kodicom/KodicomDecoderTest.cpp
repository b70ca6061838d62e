// Kodicom folders of two spans of two interleaved cameras, key pictures and block updates, compared
// with the pictures that were encoded.
#include "fixtures/ByteWriter.h"
#include "fixtures/formats/KodicomWriter.h"
#include "formats/RecordingFixture.h"

#include <map>

using namespace Vorn::Vorncast::Decoders::Testing;
using FormatTests::Delivered;

namespace {

constexpr const char* KodicomGuid = "760D2C01-30F2-40c1-BF16-529CA2FBC5E0";
constexpr int64_t Start = 63840000000LL * 10000000; // 2024, on a whole hundredth

class KodicomTest : public FormatTests::RecordingTest {
protected:
    // Spans of `count` steps each, 10 a second, the second span a minute after the first. Camera 1's
    // picture shrinks at the second span's fifth step.
    void Serve(int32_t spans, int32_t count, int32_t keyInterval) {
        for (int32_t span = 0; span < spans; ++span) {
            std::vector<KodicomFrame> frames =
                KodicomFrames(2, count, Start + span * 600000000LL, 10, keyInterval);
            for (size_t index = 8; span == 1 && index < frames.size(); index += 2) {
                frames[index].picture = KodicomScene(32, 24, static_cast<int32_t>(index / 2), 1);
            }
            Put(span, WriteKodicomSpan(frames));
            for (const KodicomFrame& frame : frames) {
                expected[frame.channel].push_back(frame);
            }
        }
    }
    void Put(int32_t index, const KodicomSpan& span) {
        files.AddFile("/rec/KD" + std::to_string(index) + ".bix", span.bix);
        files.AddFile("/rec/KD" + std::to_string(index) + ".box", span.box);
    }
    int StreamOf(int32_t channel) { return VideoStreams().at(static_cast<size_t>(channel - 1)); }
    void ExpectFrame(int stream, const Delivered& delivered, const KodicomFrame& frame,
                     const std::string& where) {
        ASSERT_EQ(delivered.status, 0) << where << ": " << LastError();
        EXPECT_EQ(VideoDescription(stream, delivered).width, frame.picture.width) << where;
        EXPECT_EQ(delivered.time.recordedTime, frame.time) << where;
        EXPECT_EQ(delivered.time.streamTime, frame.time) << where;
        ASSERT_EQ(delivered.data.size(), frame.picture.pixels.size()) << where;
        EXPECT_GE(ComparePicture(frame.picture, delivered.data.data(), frame.picture.width * 3).psnr, 32.0)
            << where;
    }

    std::map<int32_t, std::vector<KodicomFrame>> expected; // by channel
};

// Going forward the host keeps every sample while it steps on: each keeps its own picture, however the
// running picture it was lent goes on, across key pictures and the span boundary.
TEST_F(KodicomTest, WalksBothCamerasBothWaysHoldingTheSamplesAndSeeksToEveryFrame) {
    Serve(2, 10, 4);
    ASSERT_EQ(Load(KodicomGuid, "/rec/KD0.bix"), 0) << LastError();
    ASSERT_EQ(StreamCount(), 2);
    const VcSampleRequest request{FormatTests::NeverAbort, {}, 1, 0};
    for (int32_t channel = 1; channel <= 2; ++channel) {
        const int stream = StreamOf(channel);
        EXPECT_EQ(StreamName(stream), "Camera " + std::to_string(channel));
        const std::vector<KodicomFrame>& frames = expected[channel];
        std::vector<VcSample> held(frames.size());
        for (VcSample& sample : held) {
            ASSERT_EQ(Stream_GetNextSample(stream, request, &sample), 0) << LastError();
        }
        for (size_t index = 0; index < held.size(); ++index) {
            const VcSample& sample = held[index];
            const uint8_t* data = sample.uncompressedData;
            ExpectFrame(stream,
                        {0, {data, data + sample.uncompressedSize}, sample.time, sample.descriptionHandle},
                        frames[index], "held " + std::to_string(index));
            Stream_ReleaseSample(stream, sample);
        }
        EXPECT_EQ(Next(stream).status, VC_EndOfStreamAfterEnd);
        for (size_t index = frames.size(); index-- > 0;) {
            ExpectFrame(stream, Previous(stream), frames[index], "back " + std::to_string(index));
        }
        EXPECT_EQ(Previous(stream).status, VC_EndOfStreamBeforeStart);
        ExpectFrame(stream, Next(stream), frames.front(), "first again");
    }
    // A seek to any frame's time, or to a time just after it, gives that frame, decoded from its key
    // picture whatever the accumulator held; a step from there gives the neighbours.
    const int stream = StreamOf(2);
    const std::vector<KodicomFrame>& frames = expected[2];
    for (size_t step = 0; step < frames.size(); ++step) {
        // Alternately from the end and from the start, so that the accumulator stands far away.
        const size_t index = step % 2 == 0 ? frames.size() - 1 - step / 2 : step / 2;
        // A time after a span's last frame is refused, so only the others are sought between frames.
        const int64_t after = index % 10 == 9 ? 0 : 30000;
        ExpectFrame(stream, GoTo(stream, frames[index].time + after), frames[index],
                    "seek " + std::to_string(index));
        if (index + 1 < frames.size()) {
            ExpectFrame(stream, Next(stream), frames[index + 1], "after seek " + std::to_string(index));
        }
    }
    EXPECT_EQ(GoTo(stream, frames.front().time - 1).status, VC_EndOfStreamBeforeStart);
    EXPECT_EQ(LastError().rfind("User seeked to time before start of this BixBoxFile", 0), 0u) << LastError();
    ExpectFrame(stream, Next(stream), frames.front(), "after a seek before the start");
    // Between the spans and after the last one the span before is chosen, which refuses the target.
    EXPECT_EQ(GoTo(stream, frames[9].time + 10000000).status, VC_GeneralFailure);
    EXPECT_EQ(LastError().rfind("User seeked to time after end of this BixBoxFile, which isn't allowed.", 0),
              0u);
    ExpectFrame(stream, Next(stream), frames[10], "after a seek between spans");
}

struct DamageCase {
    const char* name;
    void (*damage)(KodicomSpan& span, std::vector<KodicomFrame>& frames);
    int loadStatus;
    int stepStatus; // of the first step
    const char* text;
};

const DamageCase DamageCases[] = {
    {"BadMagic", [](KodicomSpan& span, std::vector<KodicomFrame>&) { span.bix[0] = 'X'; }, VC_GeneralFailure,
     0, "BixBoxFile: Bix file /rec/KD0.bix has bad magic number"},
    {"ZeroCount", [](KodicomSpan& span, std::vector<KodicomFrame>&) { PutAt<uint32_t>(span.bix, 28, 0); },
     VC_GeneralFailure, 0, "BixBoxFile: Bix file header has zero index size"},
    {"RecordPastTheBox",
     [](KodicomSpan& span, std::vector<KodicomFrame>&) {
         PutAt<uint32_t>(span.bix, 1116 + 44, static_cast<uint32_t>(span.box.size()));
     },
     0, VC_GeneralFailure, "Problem reading compressed jpeg data"},
    {"PartialWithoutKey",
     [](KodicomSpan& span, std::vector<KodicomFrame>& frames) {
         span.bix.erase(1116, 60);
         PutAt<uint32_t>(span.bix, 28, static_cast<uint32_t>(frames.size() - 1));
         frames.erase(frames.begin());
     },
     0, VC_GeneralFailure, "BixBoxFile: Partial picture at 0x"},
};

class KodicomDamageTest : public KodicomTest, public ::testing::WithParamInterface<DamageCase> {};

// Damage gives its status and text; the steps after a frame that fails go on to the next key.
TEST_P(KodicomDamageTest, GivesTheStatusAndText) {
    std::vector<KodicomFrame> frames = KodicomFrames(1, 8, Start, 5, 4);
    KodicomSpan span = WriteKodicomSpan(frames);
    GetParam().damage(span, frames);
    Put(0, span);
    ASSERT_EQ(Load(KodicomGuid, "/rec/KD0.bix"), GetParam().loadStatus);
    if (GetParam().loadStatus != 0) {
        EXPECT_EQ(LastError().rfind(GetParam().text, 0), 0u) << LastError();
        return;
    }
    const int stream = StreamOf(1);
    EXPECT_EQ(Next(stream).status, GetParam().stepStatus);
    EXPECT_EQ(LastError().rfind(GetParam().text, 0), 0u) << LastError();
    size_t index = 1;
    for (; index < frames.size() && !frames[index].key; ++index) {
        Next(stream);
    }
    ExpectFrame(stream, Next(stream), frames[index], "the key after the damage");
}

INSTANTIATE_TEST_SUITE_P(Kodicom, KodicomDamageTest, ::testing::ValuesIn(DamageCases),
                         [](const ::testing::TestParamInfo<DamageCase>& info) { return info.param.name; });

} // namespace
