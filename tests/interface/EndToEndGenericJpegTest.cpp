// A recording of concatenated JPEGs read the way a player reads it: only exported functions, the
// manual-only decoder created by its GUID, every frame stepped both ways and compared with the
// picture that was encoded, a damaged frame delivered black at its own place.
#include "fixtures/formats/GenericRecordings.h"
#include "fixtures/formats/TestJpegPictures.h"
#include "model/files/MemoryFileSource.h"

#include <gtest/gtest.h>

#include <vorncast/VorncastDecoders.h>

#include <cstring>
#include <string>
#include <vector>

using namespace Vorn::Vorncast::Decoders::Testing;

namespace {

constexpr int Width = 64;
constexpr int Height = 48;
constexpr int Frames = 6;
constexpr int DamagedFrame = 3;
const VcGuid GenericJpeg = {0x8923E98A, 0xF163, 0x4ae9, {0x81, 0x5A, 0xFF, 0xB2, 0xD3, 0xFF, 0xF9, 0x34}};

int NeverAbort() {
    return 0;
}

class EndToEndGenericJpeg : public ::testing::Test {
protected:
    void SetUp() override {
        std::vector<std::vector<uint8_t>> jpegs;
        for (int frame = 0; frame < Frames; ++frame) {
            pictures.push_back(MakeQuadrantPicture(Width, Height, frame));
            jpegs.push_back(EncodeTestJpeg(pictures.back()));
        }
        jpegs[DamagedFrame] = BreakJpegScan(jpegs[DamagedFrame]);
        ConcatenatedFile file = Concatenate(jpegs, 0, 4096);
        files.AddFile("/evidence/camera.jpg", file.bytes.data(), file.bytes.size());
        Vorn::FileSource::SetCurrent(&files);

        VcInitRecord init{};
        ASSERT_EQ(InitVorncastDecoders(init), 0);
        ASSERT_EQ(DecoderCollection_Create(nullptr, &collection), 0);
        ASSERT_EQ(Decoder_Create(collection, GenericJpeg, -1, -1, &decoder), 0);
        const std::string url = "/evidence/camera.jpg";
        VcQueryResult query{};
        ASSERT_EQ(Decoder_Query(decoder, static_cast<int>(url.size()), url.c_str(), 1, &query), 0);
        EXPECT_NE(query.canLoad, 0);
        int resources = 0;
        ASSERT_EQ(Decoder_Load(decoder, static_cast<int>(url.size()), url.c_str(), nullptr, nullptr,
                               NeverAbort, &resources),
                  0);
        int track = 0;
        ASSERT_EQ(Decoder_GetTrack(decoder, 0, &track), 0);
        ASSERT_EQ(Track_GetStream(track, 0, &stream), 0);
        request.abort = NeverAbort;
        request.wantData = 1;
    }
    void TearDown() override {
        Decoder_Close(decoder);
        EXPECT_EQ(Decoder_Release(decoder), 0);
        DecoderCollection_Release(collection);
        Vorn::FileSource::SetCurrent(nullptr);
    }

    // Checks one delivered sample against frame `frame` and releases it.
    void ExpectFrame(VcSample& sample, int frame) {
        ASSERT_NE(sample.uncompressedData, nullptr);
        ASSERT_EQ(sample.uncompressedSize, static_cast<uint32_t>(Width * Height * 3));
        VcPublicVideoDescription description{};
        ASSERT_EQ(Stream_GetVideoSampleDescription(stream, sample.descriptionHandle, &description), 0);
        EXPECT_EQ(description.width, Width);
        EXPECT_EQ(description.height, Height);
        if (frame == DamagedFrame) {
            std::vector<uint8_t> black(sample.uncompressedSize, 0);
            EXPECT_EQ(std::memcmp(sample.uncompressedData, black.data(), black.size()), 0);
        } else {
            PictureDifference difference =
                CompareBgr(pictures[static_cast<size_t>(frame)], sample.uncompressedData, Width * 3);
            EXPECT_GT(difference.psnr, 30.0) << "frame " << frame;
        }
        EXPECT_EQ(Stream_ReleaseSample(stream, sample), 0);
    }

    Vorn::MemoryFileSource files;
    std::vector<BgrPicture> pictures;
    int collection = 0;
    int decoder = 0;
    int stream = 0;
    VcSampleRequest request{};
};

} // namespace

TEST_F(EndToEndGenericJpeg, EveryFrameForwardAndBackMatchesWhatWasEncoded) {
    VcSample sample{};
    for (int frame = 0; frame < Frames; ++frame) {
        ASSERT_EQ(Stream_GetNextSample(stream, request, &sample), 0) << frame;
        ExpectFrame(sample, frame);
    }
    EXPECT_EQ(Stream_GetNextSample(stream, request, &sample), VC_EndOfStreamAfterEnd);
    EXPECT_EQ(sample.uncompressedData, nullptr);
    EXPECT_EQ(Stream_GetNextSample(stream, request, &sample), VC_EndOfStreamAfterEnd);
    for (int frame = Frames - 1; frame >= 0; --frame) {
        ASSERT_EQ(Stream_GetPreviousSample(stream, request, &sample), 0) << frame;
        ExpectFrame(sample, frame);
    }
    EXPECT_EQ(Stream_GetPreviousSample(stream, request, &sample), VC_EndOfStreamBeforeStart);
}

TEST_F(EndToEndGenericJpeg, TimesOnlyStepsAndANullAbortIsRefused) {
    VcSampleRequest timesOnly = request;
    timesOnly.wantData = 0;
    VcSample sample{};
    int delivered = 0;
    while (Stream_GetNextSample(stream, timesOnly, &sample) == 0) {
        EXPECT_EQ(sample.uncompressedData, nullptr);
        ++delivered;
    }
    EXPECT_EQ(delivered, Frames);
    VcSampleRequest noAbort = request;
    noAbort.abort = nullptr;
    EXPECT_EQ(Stream_GetPreviousSample(stream, noAbort, &sample), VC_InvalidArgument);
}
