#pragma once

#include "core/decoder/FormatDecoder.h"
#include "core/framelists/StreamTimes.h"
#include "formats/shared/FrameListQueries.h"

#include <cstdint>
#include <type_traits>

namespace Vorn::Vorncast::Decoders {

// A format decoder whose frames stand in one list of records with the standard head (times,
// offset, size, camera). The list answers what the core asks about frames: their times and
// camera, the frame at a stream time, and the steps to the next and previous frame, of the
// filter's camera when the recording holds several (`ByCamera`), else by index.
template <class FrameList, bool ByCamera = true> class FrameListDecoder : public FormatDecoder {
public:
    using FormatDecoder::FormatDecoder;

    int32_t IndexOfFrameAtStreamTime(int64_t streamTime) override {
        return frames.IndexAtStreamTime(streamTime);
    }
    int32_t GetPreviousFrame(int32_t frame, int32_t camera) override {
        if constexpr (ByCamera) {
            return PreviousFrameOfCamera(frames, frame, camera);
        }
        return StreamTimes::PreviousIndex(frame, frames.Count());
    }
    int32_t GetNextFrame(int32_t frame, int32_t camera) override {
        if constexpr (ByCamera) {
            return NextFrameOfCamera(frames, frame, camera);
        }
        return StreamTimes::NextIndex(frame, frames.Count());
    }
    void GetCameras(uint8_t* mask) override {
        if constexpr (ByCamera) {
            MarkFrameCameras(frames, mask);
        } else {
            FormatDecoder::GetCameras(mask);
        }
    }

protected:
    FrameTimes GetFrameTimes() override { return TimesOfFrame(frames.GetAt(currentFrame)); }
    void GetFrameCamera(CameraTag* camera) override {
        if constexpr (ByCamera) {
            const auto record = frames.GetAt(currentFrame);
            // Records that carry only the camera's number give it with an empty name.
            if constexpr (std::is_same_v<decltype(record.camera), CameraTag>) {
                *camera = record.camera;
            } else {
                *camera = CameraTag{};
                camera->number = record.camera;
            }
        } else {
            FormatDecoder::GetFrameCamera(camera);
        }
    }

    FrameList frames;
};

} // namespace Vorn::Vorncast::Decoders
