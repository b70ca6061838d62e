#pragma once

#include "core/CoreTypes.h"
#include "core/framelists/FrameRecords.h"

#include <cstdint>
#include <cstring>

namespace Vorn::Vorncast::Decoders {

// What the core asks a format decoder about the frames of its list.

// The camera mask of a frame list: bit n % 8 of byte n / 8 for each camera number n from 0 to
// 127 that some frame carries. Numbers above that have no bit and are left out.
template <class FrameList> void MarkFrameCameras(FrameList& frames, uint8_t* mask) {
    std::memset(mask, 0, CameraMaskBytes);
    for (const auto& record : frames) {
        uint16_t number = CameraNumberOf(record.camera);
        if (number < MaxCameras) {
            mask[number / 8] |= static_cast<uint8_t>(1u << (number % 8));
        }
    }
}

// The times of a frame record as GetFrameInfo reports them; the zone words stay 0.
template <class Record> FrameTimes TimesOfFrame(const Record& record) {
    FrameTimes times{};
    times.recordedTime = record.recordedTime;
    times.streamTime = record.streamTime;
    return times;
}

// The frame of camera `camera` nearest after `frame`, or -1. From -1 it gives the camera's first
// frame.
template <class FrameList> int32_t NextFrameOfCamera(FrameList& frames, int32_t frame, int32_t camera) {
    for (int32_t index = frame < 0 ? 0 : frame + 1; index < frames.Count(); ++index) {
        if (frames.GetCamera(index) == camera) {
            return index;
        }
    }
    return -1;
}

// The frame of camera `camera` nearest before `frame`, or -1. From the frame count on it gives the
// camera's last frame.
template <class FrameList> int32_t PreviousFrameOfCamera(FrameList& frames, int32_t frame, int32_t camera) {
    for (int32_t index = frame > frames.Count() ? frames.Count() - 1 : frame - 1; index >= 0; --index) {
        if (frames.GetCamera(index) == camera) {
            return index;
        }
    }
    return -1;
}

// The frame after `frame` whose record belongs to channel `channel`, or -1: the walk of a decoder
// that keeps one codec for each channel of a merged list.
template <class FrameList> int32_t NextFrameOfChannel(FrameList& frames, int32_t frame, int32_t channel) {
    for (int32_t index = frame + 1; index < frames.Count(); ++index) {
        if (frames.GetAt(index).channel == channel) {
            return index;
        }
    }
    return -1;
}

// The frame before `frame` of channel `channel`, or -1; from the frame count on, the channel's last.
template <class FrameList> int32_t PreviousFrameOfChannel(FrameList& frames, int32_t frame, int32_t channel) {
    for (int32_t index = frame > frames.Count() ? frames.Count() - 1 : frame - 1; index >= 0; --index) {
        if (frames.GetAt(index).channel == channel) {
            return index;
        }
    }
    return -1;
}

} // namespace Vorn::Vorncast::Decoders
