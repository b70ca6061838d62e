#include "interface/LibraryFrame.h"
#include "model/decoder/Decoder.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstring>
#include <string>

using namespace Vorn::Vorncast;
using ::testing::StartsWith;
using Vorn::Buffer;

namespace {

// A stream of `frames` samples of 24 bytes, stepped one a call.
class CountingStream : public Stream {
public:
    CountingStream(int32_t streamType, int frames) : frames(frames) {
        type = streamType;
        if (streamType == StreamVideo) {
            description = new VideoSampleDescription;
        } else {
            auto* audio = new AudioSampleDescription;
            audio->sampleRate = 8000;
            audio->maxSampleBytes = 320;
            description = audio;
        }
    }
    ~CountingStream() override { delete description; }

    int GoToTime(SeekRequest, Sample* sample) override { return Deliver(sample); }
    int GetNextSample(SampleRequest, Sample* sample) override {
        ++position;
        return Deliver(sample);
    }
    int GetPreviousSample(SampleRequest, Sample* sample) override {
        --position;
        return Deliver(sample);
    }
    SampleDescription* GetSampleDescription(int handle) override {
        return handle == description->Handle() ? description : nullptr;
    }

    int Deliver(Sample* sample) {
        if (position < 0) {
            position = -1;
            return EndOfStreamBeforeStart;
        }
        if (position >= frames) {
            position = frames;
            return EndOfStreamAfterEnd;
        }
        sample->uncompressedSize = 24;
        sample->uncompressedData = new uint8_t[24]();
        sample->descriptionHandle = description->Handle();
        return Success;
    }

    SampleDescription* description;
    int frames;
    int position = -1;
};

class OneTrackDecoder : public Decoder {
public:
    int Query(const Buffer& url, int32_t, QueryResult* result) override {
        lastUrl = url.Text();
        result->canLoad = 1;
        return Success;
    }
    int Load(const Buffer& url, ProgressCallback, MessageCallback, AbortOperation,
             int32_t* resourceCount) override {
        auto* track = new Track;
        track->SetName(Buffer("Camera 1"));
        track->AddStream(new CountingStream(StreamVideo, 3));
        track->AddStream(new CountingStream(StreamAudio, 3));
        AddTrack(track);
        AddResource(url, 0);
        ++*resourceCount;
        return Success;
    }
    int Close() override { return Success; }
    int Initialise() override {
        ++initialised;
        return Success;
    }
    std::string lastUrl;
    int initialised = 0;
};

class ExportedModelTest : public ::testing::Test {
protected:
    void SetUp() override {
        VcInitRecord record{};
        InitVorncastDecoders(record);
        decoder = new OneTrackDecoder;
        const char url[] = "/rec/cam.vid";
        int resources = 0;
        ASSERT_EQ(Decoder_Load(decoder->Handle(), 12, url, nullptr, nullptr, nullptr, &resources), 0);
        ASSERT_EQ(resources, 1);
        ASSERT_EQ(Decoder_GetTrack(decoder->Handle(), 0, &track), 0);
        ASSERT_EQ(Track_GetStream(track, 0, &video), 0);
        ASSERT_EQ(Track_GetStream(track, 1, &audio), 0);
    }
    void TearDown() override {
        if (decoder != nullptr) {
            Decoder_Release(decoder->Handle());
        }
    }
    OneTrackDecoder* decoder = nullptr;
    int track = 0;
    int video = 0;
    int audio = 0;
};

} // namespace

TEST_F(ExportedModelTest, QueryPassesTheUrlWithItsLengthOnly) {
    VcQueryResult result{};
    EXPECT_EQ(Decoder_Query(decoder->Handle(), 4, "/rec/cam.vid", 0, &result), 0);
    EXPECT_EQ(decoder->lastUrl, "/rec");
    EXPECT_EQ(result.canLoad, 1);
}

// The host program reads names whole; here the size asked for and a buffer too small for the name.
TEST_F(ExportedModelTest, NameSizeCountsTheTerminatorAndATooSmallBufferIsLeftAlone) {
    int size = 0;
    EXPECT_EQ(Track_GetName(track, &size, nullptr), 0);
    EXPECT_EQ(size, 9);
    char small[4] = {'x', 'x', 'x', 'x'};
    int tooSmall = 4;
    EXPECT_EQ(Track_GetName(track, &tooSmall, small), 0);
    EXPECT_EQ(std::memcmp(small, "xxxx", 4), 0);
    EXPECT_THAT(LastErrorText(), StartsWith("Operation succeeded at DllInterface\\VorncastDecoders_Track:"));
}

// Walks over recordings step through whole streams; here the ends and a missing sample.
TEST_F(ExportedModelTest, StepsPastEitherEndLeaveNoDataAndNeedASample) {
    VcSample sample{};
    sample.uncompressedData = reinterpret_cast<uint8_t*>(&sample); // cleared by the step before it runs
    EXPECT_EQ(Stream_GetPreviousSample(video, VcSampleRequest{}, &sample), EndOfStreamBeforeStart);
    EXPECT_EQ(sample.uncompressedData, nullptr);
    EXPECT_EQ(Stream_GetNextSample(video, VcSampleRequest{}, nullptr), InvalidArgument);
}

TEST_F(ExportedModelTest, DescriptionsAreCheckedByStreamTypeAndOwner) {
    VcSample sample{};
    ASSERT_EQ(Stream_GetNextSample(audio, VcSampleRequest{}, &sample), 0);
    VcPublicVideoDescription video{};
    EXPECT_EQ(Stream_GetVideoSampleDescription(audio, sample.descriptionHandle, &video), InvalidHandle);
    EXPECT_THAT(LastErrorText(), StartsWith("Invalid stream type (DllInterface\\VorncastDecoders_Stream:"));
    VcPublicAudioDescription description{};
    EXPECT_EQ(Stream_GetAudioSampleDescription(audio, sample.descriptionHandle, &description), 0);
    EXPECT_EQ(description.sampleRate, 8000);
    EXPECT_EQ(description.maxSampleBytes, 320);
    EXPECT_EQ(Stream_GetAudioSampleDescription(audio, track, &description), InvalidHandle);
    EXPECT_THAT(LastErrorText(), StartsWith("SampleDescription not obtained from handle ("));
    Stream_ReleaseSample(audio, sample);
}

TEST_F(ExportedModelTest, BadIndexesAndStaleHandles) {
    int out = 0;
    EXPECT_EQ(Decoder_GetTrack(decoder->Handle(), 1, &out), InvalidArgument);
    EXPECT_THAT(LastErrorText(),
                StartsWith("Failed to retrieve track\n (DllInterface\\VorncastDecoders_Decoder:"));
    EXPECT_EQ(Track_GetStream(track, 2, &out), InvalidArgument);
    EXPECT_THAT(LastErrorText(), StartsWith("streamNumber ("));

    int released = decoder->Handle();
    decoder = nullptr;
    EXPECT_EQ(Decoder_Release(released), 0);
    EXPECT_THAT(LastErrorText(),
                StartsWith("Operation succeeded at DllInterface\\VorncastDecoders_Decoder:"));
    int count = 0;
    EXPECT_EQ(Decoder_GetTrackCount(released, &count), InvalidHandle);
    EXPECT_THAT(LastErrorText(), StartsWith("Invalid handle (DllInterface\\VorncastDecoders_Decoder:"));
    EXPECT_EQ(Track_GetInfo(track, nullptr), InvalidHandle);
    VcSample sample{};
    EXPECT_EQ(Stream_GetNextSample(video, VcSampleRequest{}, &sample), InvalidHandle);
    EXPECT_EQ(Decoder_Close(0), InvalidHandle);
    EXPECT_EQ(Stream_GetName(track, &count, nullptr), InvalidHandle); // a handle of another kind
    EXPECT_EQ(Library().guardThread, NoThread);
}

TEST(DecoderModel, ResourcesAndDecoderInfo) {
    OneTrackDecoder decoder;
    decoder.SetDecoderInfo(DecoderInfo{});
    EXPECT_EQ(decoder.initialised, 1);
    decoder.AddResource(Buffer("/a"), 0);
    decoder.AddResource(Buffer("/b"), 0);
    EXPECT_EQ(decoder.GetResourceURL(2).Size(), 0);
    EXPECT_THAT(LastErrorText(), StartsWith("resourceIndex out of range ("));
    EXPECT_EQ(decoder.RemoveResource(Buffer("/c")), GeneralFailure);
    EXPECT_THAT(LastErrorText(), StartsWith("Resource was not found in resource list ("));
    EXPECT_EQ(decoder.RemoveResource(Buffer("/a")), Success);
    EXPECT_EQ(decoder.GetResourceCount(), 1);
    EXPECT_STREQ(decoder.GetResourceURL(0).Text(), "/b");
    decoder.ClearResources();
    EXPECT_EQ(decoder.GetResourceCount(), 0);
    Track* track = nullptr;
    EXPECT_EQ(decoder.GetTrack(0, &track), InvalidArgument);
}
