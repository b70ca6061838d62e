#include "legacy/LegacyDecoderStream.h"

#include "interface/LibraryFrame.h"

#include <cstddef>
#include <cstring>

namespace Vorn::Vorncast {
namespace {

constexpr const char* SourceFile = "Decoders\\LegacyDecoderHost\\LegacyDecoderStream";
namespace Client = Decoders::MasDigitalCAPI;

// Everything of a sample behind its data pointer: the step fills what applies.
void ClearBehindData(Sample* sample) {
    constexpr size_t start = offsetof(Sample, descriptionHandle);
    std::memset(reinterpret_cast<uint8_t*>(sample) + start, 0, sizeof(Sample) - start);
}

} // namespace

bool HasAbort(const SampleRequest& request) {
    return request.abort != nullptr;
}

bool AbortRequested(const SampleRequest& request) {
    return request.abort() != 0;
}

SampleRequest SampleRequestOf(const SeekRequest& request) {
    SampleRequest head{};
    head.abort = request.abort;
    std::memcpy(head.parameters, request.parameters, sizeof head.parameters);
    head.wantData = request.wantData;
    head.reserved = request.reserved;
    return head;
}

LegacyDecoderStream::LegacyDecoderStream(const LegacyStreamSetup& setup, int32_t streamType)
    : client(setup.client), multiTrack(setup.multiTrack), trackNumber(setup.trackNumber),
      frameCount(setup.frameCount), firstTimes(setup.firstTimes), lastTimes(setup.lastTimes) {
    streamNumber = setup.channel;
    type = streamType;
    SetName(setup.name);
}

SampleDescription* LegacyDecoderStream::GetSampleDescription(int descriptionHandle) {
    SampleDescription* own = GetOwnDescription();
    return own != nullptr && own->Handle() == descriptionHandle ? own : nullptr;
}

void LegacyDecoderStream::SelectOwnTrack() {
    if (multiTrack) {
        Client::SelectTrack(client, trackNumber);
    }
}

void LegacyDecoderStream::FallBeforeStart() {
    position = BeforeStart;
    currentFrame = -1;
}

int LegacyDecoderStream::AbortedByUser(const char* text) {
    return SetLastError(UserAborted, SourceFile, __LINE__, "%s", text);
}

int LegacyDecoderStream::GetNextSample(SampleRequest request, Sample* sample) {
    if (!HasAbort(request)) {
        return SetLastError(InvalidArgument, SourceFile, __LINE__,
                            "GetNextSample > AbortOperation is NULL. Not allowed\n");
    }
    if (position == PastEnd) {
        return EndOfStreamAfterEnd;
    }
    ClearBehindData(sample);
    return Step(true, request, sample);
}

int LegacyDecoderStream::GetPreviousSample(SampleRequest request, Sample* sample) {
    if (!HasAbort(request)) {
        return SetLastError(InvalidArgument, SourceFile, __LINE__,
                            "GetNextSample > AbortOperation is NULL. Not allowed\n");
    }
    if (position == BeforeStart) {
        return EndOfStreamBeforeStart;
    }
    return Step(false, request, sample);
}

int LegacyDecoderStream::Step(bool forward, SampleRequest request, Sample* sample) {
    if (!HasAbort(request)) {
        return SetLastError(InvalidArgument, SourceFile, __LINE__,
                            "GetSample > AbortOperation is NULL. Not allowed\n");
    }
    if (AbortRequested(request)) {
        return AbortedByUser("Operation was aborted by user");
    }
    SelectOwnTrack();
    int32_t found = forward ? NextFrame(currentFrame) : PreviousFrame(currentFrame);
    if (AbortRequested(request)) {
        return AbortedByUser("Operation was aborted by user");
    }
    currentFrame = found;
    if (found != -1) {
        position = OnFrame;
        return DecompressSample(currentFrame, request, sample);
    }
    if (forward) {
        // Remembered, so that a step back finds the last frame.
        position = PastEnd;
        currentFrame = frameCount;
        return SetLastError(EndOfStreamAfterEnd, SourceFile, __LINE__,
                            "Legacy decoder reported nextFrame = -1");
    }
    // currentFrame stays -1, so that a step forward finds the first frame.
    position = BeforeStart;
    return SetLastError(EndOfStreamBeforeStart, SourceFile, __LINE__,
                        "Legacy decoder reported nextFrame = -1");
}

int LegacyDecoderStream::GoToTime(SeekRequest request, Sample* sample) {
    if (request.abort == nullptr) {
        return SetLastError(InvalidArgument, SourceFile, __LINE__,
                            "GoToTime > AbortOperation is NULL. Not allowed\n");
    }
    SelectOwnTrack();
    // The frame at or before the time among all channels; -1 before the first.
    int32_t index = FrameAtStreamTime(request.targetTime);
    if (request.abort() != 0) {
        return AbortedByUser("Operation aborted by user");
    }
    if (index < 0) {
        FallBeforeStart();
        return SetLastError(EndOfStreamBeforeStart, SourceFile, __LINE__, "GoToTime before start of stream");
    }
    return SeekToChannelFrame(index, request, sample);
}

// From the frame found for the time, to the frame of this channel at or before it. A time behind
// the last frame thus gives the channel's last frame, not the end of the stream.
int LegacyDecoderStream::SeekToChannelFrame(int32_t index, const SeekRequest& request, Sample* sample) {
    int32_t channel = -1;
    int status = ChannelOfFrame(index, &channel);
    if (status != Success) {
        return status;
    }
    if (request.abort() != 0) {
        return AbortedByUser("Operation aborted by user");
    }
    if (channel != streamNumber) {
        index = PreviousFrame(index);
        if (request.abort() != 0) {
            return AbortedByUser("Operation aborted by user");
        }
        if (index < 0) {
            FallBeforeStart();
            return SetLastError(EndOfStreamBeforeStart, SourceFile, __LINE__,
                                "GoToTime before start of stream");
        }
        status = ChannelOfFrame(index, &channel);
        if (status != Success) {
            return status;
        }
        if (request.abort() != 0) {
            return AbortedByUser("Operation aborted by user");
        }
    }
    position = OnFrame;
    currentFrame = index;
    return DecompressSample(index, SampleRequestOf(request), sample);
}

} // namespace Vorn::Vorncast
