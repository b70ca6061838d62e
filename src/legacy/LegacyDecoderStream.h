#pragma once

#include "core/client/MasDigitalCAPI.h"
#include "model/decoder/Stream.h"

#include <cstdint>

namespace Vorn::Vorncast {

// Where a stream stands in its channel.
enum StreamPosition : int32_t {
    BeforeStart = 0,
    OnFrame = 1,
    PastEnd = 2,
};

// What a host knows of a stream when it makes one.
struct LegacyStreamSetup {
    Decoders::MasDigitalCAPI::ClientHandle client; // not owned; the host's
    bool multiTrack;
    int32_t trackNumber;
    int32_t channel;    // becomes the stream number
    int32_t frameCount; // the frame index one past the end
    FrameTimes firstTimes;
    FrameTimes lastTimes;
    Buffer name;
};

// One channel of one track of a digital decoder. The core keeps the frames of all channels in one
// index; the stream hops through it among the frames of its own channel.
class LegacyDecoderStream : public Stream {
public:
    int GoToTime(SeekRequest request, Sample* sample) override;
    int GetNextSample(SampleRequest request, Sample* sample) override;
    int GetPreviousSample(SampleRequest request, Sample* sample) override;
    SampleDescription* GetSampleDescription(int descriptionHandle) override;

    virtual SampleDescription* GetOwnDescription() = 0;
    // Fetches frame `frameIndex` of the core's index into `sample`.
    virtual int DecompressSample(int32_t frameIndex, SampleRequest request, Sample* sample) = 0;
    // Moves one frame of this channel and fetches it.
    virtual int Step(bool forward, SampleRequest request, Sample* sample);

    int32_t CurrentFrame() const { return currentFrame; }
    StreamPosition Position() const { return position; }
    const FrameTimes& FirstTimes() const { return firstTimes; }
    const FrameTimes& LastTimes() const { return lastTimes; }

protected:
    LegacyDecoderStream(const LegacyStreamSetup& setup, int32_t streamType);

    // The core's walks and lookups, in their video or audio form.
    virtual int32_t NextFrame(int32_t frame) = 0;
    virtual int32_t PreviousFrame(int32_t frame) = 0;
    virtual int32_t FrameAtStreamTime(int64_t time) = 0;
    // The channel of frame `index`; any status but Success ends a seek with that status.
    virtual int ChannelOfFrame(int32_t index, int32_t* channel) = 0;

    // The core has one selected track per client, shared by the streams of all tracks.
    void SelectOwnTrack();
    void FallBeforeStart();
    int AbortedByUser(const char* text);

    Decoders::MasDigitalCAPI::ClientHandle client;
    bool multiTrack;
    int32_t trackNumber;
    int32_t currentFrame = -1;
    int32_t frameCount;
    StreamPosition position = BeforeStart;
    FrameTimes firstTimes;
    FrameTimes lastTimes;

private:
    int SeekToChannelFrame(int32_t index, const SeekRequest& request, Sample* sample);
};

// A stream that describes its samples by a description of its own kind, audio or video.
template <class OwnDescription> class LegacyDescribedStream : public LegacyDecoderStream {
public:
    SampleDescription* GetOwnDescription() override { return &description; }
    const OwnDescription& Description() const { return description; }

protected:
    using LegacyDecoderStream::LegacyDecoderStream;

    OwnDescription description;
};

// Refuses a request without an abort callback: digital streams poll it at every turn.
bool HasAbort(const SampleRequest& request);
bool AbortRequested(const SampleRequest& request);
SampleRequest SampleRequestOf(const SeekRequest& request);

} // namespace Vorn::Vorncast
