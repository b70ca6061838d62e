// A recording of the tests' own format found by autodetection and read back through the C interface
// alone: every picture of every camera, forward and back, compared with what was written.
#include "interface/LibraryFrame.h"
#include "legacy/LegacyFixture.h"

#include <algorithm>
#include <cstring>

using namespace LegacyTests;
using namespace Vorn::Vorncast;

namespace {

constexpr const char* ExportUrl = "Export/Day1/clip.tfr";

std::vector<std::string> tried;
int SeeCandidate(VcPublicDecoderInfo info, int, int) {
    tried.emplace_back(info.name != nullptr ? info.name : "");
    return 0;
}

// Three cameras at an uneven pace, one damaged picture, a picture of 8 x 6.
TinyRecording ThreeCameras() {
    TinyRecording recording;
    recording.width = 8;
    recording.height = 6;
    const uint16_t cameras[] = {1, 5, 1, 7, 7, 1, 5, 1, 7, 1, 1, 5};
    for (int32_t step = 0; step < 12; ++step) {
        recording.records.push_back({PictureRecord, 0, cameras[step], TimeAt(step * 3), step == 6});
    }
    return recording;
}

class LegacyEndToEndTest : public LegacyFixture {
protected:
    // Checks one delivered picture: its pixels are the record's, or black for a damaged record.
    void ExpectRecord(int stream, const VcSample& sample, size_t record) {
        const TinyRecord& written = recording.records[record];
        std::vector<uint8_t> expected = recording.Payload(record);
        if (written.damaged) {
            std::fill(expected.begin(), expected.end(), 0);
        }
        ASSERT_EQ(sample.uncompressedSize, expected.size());
        EXPECT_TRUE(std::equal(expected.begin(), expected.end(), sample.uncompressedData))
            << "record " << record;
        EXPECT_EQ(sample.time.recordedTime, written.time);
        VcPublicVideoDescription description{};
        ASSERT_EQ(Stream_GetVideoSampleDescription(stream, sample.descriptionHandle, &description), 0);
        EXPECT_EQ(description.width, 8);
        EXPECT_EQ(description.height, 6);
        EXPECT_EQ(Stream_ReleaseSample(stream, sample), 0);
    }

    TinyRecording recording = ThreeCameras();
};

} // namespace

TEST_F(LegacyEndToEndTest, AutodetectedRecordingGivesBackEveryPictureOfEveryCamera) {
    AddRecording(recording, ExportUrl);
    int autodetect = 0;
    ASSERT_EQ(DecoderCollection_GetAutodetectCollection(collection, ExportUrl, &autodetect), 0);
    tried.clear();
    int found = 0;
    int resources = -1;
    VcDecoderInfoValue info{};
    VcQueryResult query{};
    ASSERT_EQ(DecoderCollection_Autodetect(autodetect, static_cast<int>(std::strlen(ExportUrl)), ExportUrl,
                                           SeeCandidate, nullptr, nullptr, NeverAbort, &found, &info, &query,
                                           &resources),
              0)
        << LastError();
    decoderHandle = found;
    EXPECT_EQ(tried, std::vector<std::string>{"Tiny Recording"});
    EXPECT_STREQ(info.name, "Tiny Recording");
    EXPECT_EQ(query.canLoad, 1);
    EXPECT_EQ(query.frameCountLow, 12u);
    EXPECT_EQ(resources, 0);
    EXPECT_EQ(DecoderCollection_Release(autodetect), 0);

    int count = 0;
    ASSERT_EQ(Decoder_GetTrackCount(decoderHandle, &count), 0);
    ASSERT_EQ(count, 1);
    ASSERT_EQ(Decoder_GetTrack(decoderHandle, 0, &track), 0);
    VcTrackInfo trackInfo{};
    ASSERT_EQ(Track_GetInfo(track, &trackInfo), 0);
    ASSERT_EQ(trackInfo.streamCount, 3);
    const int cameras[] = {1, 5, 7};
    for (int index = 0; index < 3; ++index) {
        int stream = StreamOf(track, index);
        ASSERT_EQ(InfoOf(stream).streamNumber, cameras[index]);
        std::vector<size_t> own = PicturesOf(recording, cameras[index]);

        VcSample sample{};
        ASSERT_EQ(Stream_GoToTime(stream, SeekTo(recording.records[own.front()].time), &sample), 0);
        ExpectRecord(stream, sample, own.front());
        for (size_t next = 1; next < own.size(); ++next) {
            ASSERT_EQ(Stream_GetNextSample(stream, Request(), &sample), 0) << LastError();
            ExpectRecord(stream, sample, own[next]);
        }
        EXPECT_EQ(Stream_GetNextSample(stream, Request(), &sample), EndOfStreamAfterEnd);
        EXPECT_EQ(Stream_GetNextSample(stream, Request(), &sample), EndOfStreamAfterEnd);
        for (size_t back = own.size(); back-- > 0;) {
            ASSERT_EQ(Stream_GetPreviousSample(stream, Request(), &sample), 0) << LastError();
            ExpectRecord(stream, sample, own[back]);
        }
        EXPECT_EQ(Stream_GetPreviousSample(stream, Request(), &sample), EndOfStreamBeforeStart);
        EXPECT_EQ(sample.uncompressedData, nullptr);
    }
}
