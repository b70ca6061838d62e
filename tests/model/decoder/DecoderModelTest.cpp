#include "interface/LibraryFrame.h"
#include "model/decoder/Decoder.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

using namespace Vorn::Vorncast;
using Vorn::Buffer;
using Vorn::DynamicClass;

namespace {

class FixedStream : public Stream {
public:
    FixedStream() { description = new VideoSampleDescription; }
    ~FixedStream() override { delete description; }
    int GoToTime(SeekRequest, Sample*) override { return Success; }
    int GetNextSample(SampleRequest, Sample* sample) override {
        sample->uncompressedData = new uint8_t[12];
        return Success;
    }
    int GetPreviousSample(SampleRequest, Sample*) override { return EndOfStreamBeforeStart; }
    SampleDescription* GetSampleDescription(int handle) override {
        return handle == description->Handle() ? description : nullptr;
    }
    VideoSampleDescription* description;
};

class TwoTrackDecoder : public Decoder {
public:
    int Query(const Buffer&, int32_t, QueryResult* result) override {
        result->canLoad = 1;
        return Success;
    }
    int Load(const Buffer& url, ProgressCallback, MessageCallback, AbortOperation,
             int32_t* resourceCount) override {
        for (int t = 0; t < 2; ++t) {
            auto* track = new Track;
            track->AddStream(new FixedStream);
            track->AddStream(new FixedStream);
            AddTrack(track);
        }
        AddResource(url, 0);
        ++*resourceCount;
        return Success;
    }
    int Close() override { return Success; }
    int Initialise() override {
        ++initialised;
        return Success;
    }
    int initialised = 0;
};

std::string LastError() {
    return LastErrorText();
}

} // namespace

TEST(DecoderModel, DeletingADecoderInvalidatesEveryHandleBelowIt) {
    int liveBefore = Vorn::HandleSource::LiveCount();
    auto* decoder = new TwoTrackDecoder;
    int32_t resources = 0;
    ASSERT_EQ(decoder->Load(Buffer("/rec/a.vid"), nullptr, nullptr, nullptr, &resources), Success);
    EXPECT_EQ(resources, 1);

    std::vector<int> handles{decoder->Handle()};
    int32_t count = 0;
    ASSERT_EQ(decoder->GetTrackCount(&count), Success);
    ASSERT_EQ(count, 2);
    for (int t = 0; t < count; ++t) {
        Track* track = nullptr;
        ASSERT_EQ(decoder->GetTrack(t, &track), Success);
        EXPECT_EQ(track->streamCount, 2);
        handles.push_back(track->Handle());
        for (int s = 0; s < track->streamCount; ++s) {
            Stream* stream = nullptr;
            ASSERT_EQ(track->GetStream(s, &stream), Success);
            handles.push_back(stream->Handle());
            handles.push_back(static_cast<FixedStream*>(stream)->description->Handle());
        }
    }
    for (int handle : handles) {
        EXPECT_NE(Vorn::HandleSource::Get(handle), nullptr);
    }
    delete decoder;
    for (int handle : handles) {
        EXPECT_EQ(Vorn::HandleSource::Get(handle), nullptr);
    }
    EXPECT_EQ(Vorn::HandleSource::LiveCount(), liveBefore);
}

TEST(DecoderModel, ResourcesAndDecoderInfo) {
    TwoTrackDecoder decoder;
    decoder.SetDecoderInfo(DecoderInfo{});
    EXPECT_EQ(decoder.initialised, 1);

    decoder.AddResource(Buffer("/a"), 0);
    decoder.AddResource(Buffer("/b"), 0);
    EXPECT_STREQ(decoder.GetResourceURL(1).Text(), "/b");
    EXPECT_EQ(decoder.GetResourceURL(2).Size(), 0);
    EXPECT_EQ(LastError().rfind("resourceIndex out of range (", 0), 0u);
    EXPECT_EQ(decoder.RemoveResource(Buffer("/c")), GeneralFailure);
    EXPECT_EQ(LastError().rfind("Resource was not found in resource list (", 0), 0u);
    EXPECT_EQ(decoder.RemoveResource(Buffer("/a")), Success);
    EXPECT_EQ(decoder.GetResourceCount(), 1);
    EXPECT_STREQ(decoder.GetResourceURL(0).Text(), "/b");
    decoder.ClearResources();
    EXPECT_EQ(decoder.GetResourceCount(), 0);
    Track* track = nullptr;
    EXPECT_EQ(decoder.GetTrack(0, &track), InvalidArgument);
}
