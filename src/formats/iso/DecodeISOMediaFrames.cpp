#include "formats/iso/DecodeISOMedia.h"

#include "core/framelists/StreamTimes.h"
#include "formats/iso/IsoTimes.h"

#include <algorithm>
#include <cstring>

namespace Vorn::Vorncast::Decoders {

namespace {

// The marker bit of the time code in a group-of-VOP header, which some encoders leave clear.
constexpr size_t GroupOfVopMarkerByte = 5;
constexpr uint8_t GroupOfVopMarkerBit = 0x10;
// 2^63, the first tick count that a signed 64-bit integer does not hold.
constexpr double TickCountLimit = 9223372036854775808.0;

void SetGroupOfVopMarker(uint8_t* sample, uint32_t size) {
    static constexpr uint8_t GroupOfVopStart[] = {0x00, 0x00, 0x01, 0xB3};
    if (size > GroupOfVopMarkerByte && std::memcmp(sample, GroupOfVopStart, sizeof GroupOfVopStart) == 0) {
        sample[GroupOfVopMarkerByte] |= GroupOfVopMarkerBit;
    }
}

// Where a walk to `target` starts: at its sync sample, or behind the last decoded sample when that
// lies between the two, so that a decoder kept warm goes on where it stopped. A sync sample behind
// the target (a sample before the first sync sample) cannot lead to it: the target is then read
// alone.
int32_t WalkStart(int32_t target, int32_t syncSample, int32_t lastDecoded) {
    if (lastDecoded >= syncSample && lastDecoded < target) {
        return lastDecoded + 1;
    }
    if (syncSample > target || syncSample < 0) {
        return target;
    }
    return syncSample;
}

} // namespace

// ---- frame indices and times ----

int32_t DecodeISOMedia::GetPreviousFrame(int32_t frame, int32_t) {
    return StreamTimes::PreviousIndex(frame, totalFrames);
}

int32_t DecodeISOMedia::GetNextFrame(int32_t frame, int32_t) {
    return StreamTimes::NextIndex(frame, totalFrames);
}

int32_t DecodeISOMedia::GetAudioFrameAtOrBefore(int32_t frame, int32_t cameraFilter) {
    return GetPreviousAudioFrame(frame + 1, cameraFilter);
}

int32_t DecodeISOMedia::GetPreviousAudioFrame(int32_t frame, int32_t) {
    return audioTrack != nullptr ? StreamTimes::PreviousIndex(frame, totalAudioFrames) : -1;
}

int32_t DecodeISOMedia::GetNextAudioFrame(int32_t frame, int32_t) {
    return audioTrack != nullptr ? StreamTimes::NextIndex(frame, totalAudioFrames) : -1;
}

uint64_t DecodeISOMedia::GetFramePeriod() {
    if (videoTrack == nullptr || totalFrames < 1) {
        return DefaultFramePeriod;
    }
    const double movieTicks = movie->GetDurationSeconds() * TicksPerSecond;
    // A duration of more ticks than a signed 64-bit count holds is no time a recorder wrote, and
    // the period times the frames must give the load's duration back in such a count.
    if (!(movieTicks < TickCountLimit)) {
        return DefaultFramePeriod;
    }
    return static_cast<uint64_t>(movieTicks / totalFrames);
}

FrameTimes DecodeISOMedia::GetFrameTimes() {
    FrameTimes times = {};
    times.recordedTime = TrackTime(videoTrack, currentInfo.time);
    times.streamTime = times.recordedTime;
    return times;
}

FrameTimes DecodeISOMedia::GetAudioFrameTimes() {
    FrameTimes times = {};
    times.recordedTime = TrackTime(audioTrack, currentAudioInfo.time);
    times.streamTime = times.recordedTime;
    return times;
}

int32_t DecodeISOMedia::IndexOfFrameAtStreamTime(int64_t streamTime) {
    return IndexAtTime(videoTrack, totalFrames, streamTime);
}

int32_t DecodeISOMedia::IndexOfAudioFrameAtStreamTime(int64_t streamTime) {
    return IndexAtTime(audioTrack, totalAudioFrames, streamTime);
}

// The sample at or before a stream time: -1 before the first sample and the last sample at or
// behind the last.
int32_t DecodeISOMedia::IndexAtTime(const ISOMediaTrack* track, int32_t count, int64_t streamTime) {
    if (track == nullptr) {
        return -1;
    }
    const int64_t creation = track->creationTime;
    const int64_t time = streamTime < creation ? INT64_MIN : SaturatingSubtract(streamTime, creation);
    return StreamTimes::SearchStreamTime(count, time,
                                         [track](int32_t index) { return track->GetSampleInfo(index).time; });
}

// ---- positioning: the sample tables hold everything a frame's times need ----

DecoderAction DecodeISOMedia::PositioningCore() {
    if (videoTrack == nullptr) {
        return DecoderFailure();
    }
    currentInfo = videoTrack->GetSampleInfo(currentFrame);
    return DDA_COMPLETE;
}

DecoderAction DecodeISOMedia::PositioningAudioCore() {
    if (audioTrack == nullptr) {
        return DecoderFailure();
    }
    currentAudioInfo = audioTrack->GetSampleInfo(currentAudioFrame);
    return DDA_COMPLETE;
}

// ---- the video walk ----

DecoderAction DecodeISOMedia::DecompressingCore() {
    if (lastVideoSample == currentFrame) {
        return DDA_COMPLETE;
    }
    if (videoTrack == nullptr) {
        return DecoderFailure();
    }
    nextVideoSample = WalkStart(currentFrame, currentInfo.syncSample, lastVideoSample);
    walkedBytes = 0;
    return ReadVideoSample();
}

DecoderAction DecodeISOMedia::ReadVideoSample() {
    const SampleInfo info =
        nextVideoSample == currentFrame ? currentInfo : videoTrack->GetSampleInfo(nextVideoSample);
    if (info.descriptionIndex != currentDescription) {
        ReleaseVideo();
        currentDescription = info.descriptionIndex;
        SetCodec();
    }
    return ReadSample(info, &DecodeISOMedia::OnVideoSample,
                      "DecodeISOMedia::DecompressingReadComplete failed while positioning\n");
}

// Samples do not overlap, so a walk never needs more bytes than the file holds. One that does
// reads the same bytes over again, as when the tables promise far more samples than the file has
// and a late frame lies far from its sync sample: it would not end in any useful time. A sample
// larger than the file fails its read anyway, and is not given a buffer first.
DecoderAction DecodeISOMedia::ReadSample(const SampleInfo& info, ReadStep<DecodeISOMedia> step,
                                         const char* failure) {
    walkedBytes += info.size;
    const bool readable = walkedBytes <= fileSize && info.size <= fileSize;
    return Read(readable ? fileId : -1, info.offset, info.size, step, failure);
}

DecoderAction DecodeISOMedia::OnVideoSample(ByteView bytes) {
    uint8_t* sample = readBuffer.Data();
    const auto size = static_cast<uint32_t>(bytes.Size());
    SetGroupOfVopMarker(sample, size);
    const bool decoded = activeVideo != nullptr &&
                         activeVideo->Decode(sample, static_cast<int32_t>(size), picture.get(), pictureSize);
    if (!decoded && picture != nullptr) {
        // A frame the codec refuses shows black, and the walk goes on.
        std::memset(picture.get(), 0, static_cast<size_t>(pictureSize));
    }
    lastVideoSample = nextVideoSample;
    if (lastVideoSample == currentFrame) {
        return DDA_COMPLETE;
    }
    ++nextVideoSample;
    return ReadVideoSample();
}

bool DecodeISOMedia::GetImage(int32_t bufferSize, uint8_t* buffer) {
    if (picture == nullptr || buffer == nullptr || bufferSize <= 0) {
        return false;
    }
    std::memcpy(buffer, picture.get(), static_cast<size_t>(std::min(bufferSize, pictureSize)));
    return true;
}

// ---- the audio walk ----

DecoderAction DecodeISOMedia::DecompressingAudioCore() {
    if (activeAudio == nullptr || audioTrack == nullptr) {
        return DecoderFailure();
    }
    if (lastAudioSample == currentAudioFrame) {
        return DDA_COMPLETE;
    }
    nextAudioSample = WalkStart(currentAudioFrame, currentAudioInfo.syncSample, lastAudioSample);
    walkedBytes = 0;
    return ReadAudioSample();
}

DecoderAction DecodeISOMedia::ReadAudioSample() {
    const SampleInfo info =
        nextAudioSample == currentAudioFrame ? currentAudioInfo : audioTrack->GetSampleInfo(nextAudioSample);
    if (info.descriptionIndex != currentDescription) {
        // The video adapter is chosen afresh by SetCodec without having been released.
        if (activeAudio != nullptr) {
            activeAudio->Close();
        }
        activeAudio = nullptr;
        activeVideo = nullptr;
        currentDescription = info.descriptionIndex;
        SetCodec();
    }
    return ReadSample(info, &DecodeISOMedia::OnAudioSample,
                      "DecodeISOMedia::DecompressingAudioReadComplete failed while positioning\n");
}

DecoderAction DecodeISOMedia::OnAudioSample(ByteView sample) {
    if (activeAudio == nullptr) {
        return DecoderFailure();
    }
    // A frame the codec refuses leaves the buffer as it was.
    activeAudio->Decode(sample.Data(), static_cast<int32_t>(sample.Size()), audioBuffer.get(),
                        audioBufferSize);
    lastAudioSample = nextAudioSample;
    if (lastAudioSample == currentAudioFrame) {
        return DDA_COMPLETE;
    }
    ++nextAudioSample;
    return ReadAudioSample();
}

bool DecodeISOMedia::GetAudio(int32_t size, uint8_t* buffer) {
    if (audioBuffer == nullptr || buffer == nullptr || size <= 0) {
        return false;
    }
    std::memcpy(buffer, audioBuffer.get(), static_cast<size_t>(std::min(size, audioBufferSize)));
    return true;
}

} // namespace Vorn::Vorncast::Decoders
