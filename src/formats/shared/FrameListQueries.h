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

} // namespace Vorn::Vorncast::Decoders
