#include "formats/iso/DecodeISOMedia.h"

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

int32_t PreviousIndex(int32_t frame, int32_t count) {
    if (frame < 1) {
        return -1;
    }
    return frame <= count ? frame - 1 : count - 1;
}

int32_t NextIndex(int32_t frame, int32_t count) {
    if (frame < 0) {
        return 0;
    }
    return frame < count - 1 ? frame + 1 : -1;
}

} // namespace

// ---- frame indices and times ----

int32_t DecodeISOMedia::GetFrameAtOrBefore(int32_t frame, int32_t cameraFilter) {
    return GetPreviousFrame(frame + 1, cameraFilter);
}

int32_t DecodeISOMedia::GetPreviousFrame(int32_t frame, int32_t) {
    return PreviousIndex(frame, totalFrames);
}

int32_t DecodeISOMedia::GetNextFrame(int32_t frame, int32_t) {
    return NextIndex(frame, totalFrames);
}

int32_t DecodeISOMedia::GetAudioFrameAtOrBefore(int32_t frame, int32_t cameraFilter) {
    return GetPreviousAudioFrame(frame + 1, cameraFilter);
}

int32_t DecodeISOMedia::GetPreviousAudioFrame(int32_t frame, int32_t) {
    return audioTrack != nullptr ? PreviousIndex(frame, totalAudioFrames) : -1;
}

int32_t DecodeISOMedia::GetNextAudioFrame(int32_t frame, int32_t) {
    return audioTrack != nullptr ? NextIndex(frame, totalAudioFrames) : -1;
}

uint64_t DecodeISOMedia::GetFramePeriod() {
    if (videoTrack == nullptr || totalFrames < 1) {
        return DefaultFramePeriod;
    }
    const double movieTicks = movie->GetDurationSeconds() * IsoTicksPerSecond;
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

// The sample at or before a stream time, by a binary search over the track's sample times; -1
// before the first sample and the last sample at or behind the last.
int32_t DecodeISOMedia::IndexAtTime(const ISOMediaTrack* track, int32_t count, int64_t streamTime) {
    if (track == nullptr || count < 1) {
        return -1;
    }
    const int64_t creation = track->creationTime;
    const int64_t time = streamTime < creation ? INT64_MIN : SaturatingSubtract(streamTime, creation);
    const int32_t last = count - 1;
    if (time >= track->GetSampleInfo(last).time) {
        return last;
    }
    const int64_t first = track->GetSampleInfo(0).time;
    if (time == first) {
        return 0;
    }
    if (time < first) {
        return -1;
    }
    int32_t low = 0;
    int32_t high = last;
    while (high - low > 1) {
        const int32_t middle = low + (high - low) / 2;
        const int64_t middleTime = track->GetSampleInfo(middle).time;
        if (middleTime == time) {
            return middle;
        }
        if (middleTime < time) {
            low = middle;
        } else {
            high = middle;
        }
    }
    return low;
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
    return DDA_READ;
}

void DecodeISOMedia::DecompressingGetReadParameters(int32_t* id, uint64_t* offset, uint32_t* size,
                                                    uint8_t** buffer) {
    const SampleInfo info =
        nextVideoSample == currentFrame ? currentInfo : videoTrack->GetSampleInfo(nextVideoSample);
    if (info.descriptionIndex != currentDescription) {
        if (activeVideo != nullptr) {
            activeVideo->Close();
        }
        activeVideo = nullptr;
        currentDescription = info.descriptionIndex;
        SetCodec();
    }
    SampleReadParameters(info, id, offset, size, buffer);
}

void DecodeISOMedia::SampleReadParameters(const SampleInfo& info, int32_t* id, uint64_t* offset,
                                          uint32_t* size, uint8_t** buffer) {
    *id = fileId;
    *offset = info.offset;
    *size = info.size;
    *buffer = readBuffer.Data();
    sampleReadSize = info.size;
    // Samples do not overlap, so a walk never needs more bytes than the file holds. One that does
    // reads the same bytes over again, as when the tables promise far more samples than the file
    // has and a late frame lies far from its sync sample: it would not end in any useful time.
    walkedBytes += info.size;
    if (walkedBytes > fileSize) {
        *id = -1;
        return;
    }
    // A sample larger than the file fails its read anyway; one the buffer cannot take must not be
    // read into it.
    if (!readBuffer.Grow(static_cast<size_t>(std::min<uint64_t>(info.size, fileSize)))) {
        *id = -1;
        return;
    }
    *buffer = readBuffer.Data();
}

DecoderAction DecodeISOMedia::DecompressingReadComplete(int32_t, bool ok) {
    if (!ok) {
        Log(0, "DecodeISOMedia::DecompressingReadComplete failed while positioning\n");
        return DecoderFailure();
    }
    uint8_t* sample = readBuffer.Data();
    SetGroupOfVopMarker(sample, sampleReadSize);
    const bool decoded =
        activeVideo != nullptr &&
        activeVideo->Decode(sample, static_cast<int32_t>(sampleReadSize), picture.get(), pictureSize);
    if (!decoded && picture != nullptr) {
        // A frame the codec refuses shows black, and the walk goes on.
        std::memset(picture.get(), 0, static_cast<size_t>(pictureSize));
    }
    lastVideoSample = nextVideoSample;
    if (lastVideoSample == currentFrame) {
        return DDA_COMPLETE;
    }
    ++nextVideoSample;
    return DDA_READ;
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
    return DDA_READ;
}

void DecodeISOMedia::DecompressingAudioGetReadParameters(int32_t* id, uint64_t* offset, uint32_t* size,
                                                         uint8_t** buffer) {
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
    SampleReadParameters(info, id, offset, size, buffer);
}

DecoderAction DecodeISOMedia::DecompressingAudioReadComplete(int32_t, bool ok) {
    if (!ok) {
        Log(0, "DecodeISOMedia::DecompressingAudioReadComplete failed while positioning\n");
        return DecoderFailure();
    }
    if (activeAudio == nullptr) {
        return DecoderFailure();
    }
    // A frame the codec refuses leaves the buffer as it was.
    activeAudio->Decode(readBuffer.Data(), static_cast<int32_t>(sampleReadSize), audioBuffer.get(),
                        audioBufferSize);
    lastAudioSample = nextAudioSample;
    if (lastAudioSample == currentAudioFrame) {
        return DDA_COMPLETE;
    }
    ++nextAudioSample;
    return DDA_READ;
}

bool DecodeISOMedia::GetAudio(int32_t size, uint8_t* buffer) {
    if (audioBuffer == nullptr || buffer == nullptr || size <= 0) {
        return false;
    }
    std::memcpy(buffer, audioBuffer.get(), static_cast<size_t>(std::min(size, audioBufferSize)));
    return true;
}

} // namespace Vorn::Vorncast::Decoders
