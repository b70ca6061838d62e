#pragma once

#include "core/CoreTypes.h"

#include <cstdint>

namespace Vorn::Vorncast::Decoders {

// The picture a loaded decoder delivers. Before a successful open width, height and planes read
// as all ones, the aspect words as 1 and 1.
struct ImageInfo {
    int32_t width;
    int32_t height;
    uint16_t planes; // 1 monochrome, 3 colour
    int32_t aspectX;
    int32_t aspectY;
};

struct AudioInfo {
    int32_t samplesPerSecond;
    int32_t bitsPerSample;
    int32_t channels;
    int32_t frameBytes;
};

#pragma pack(push, 1)
// The span of a track: the first frame's times whole, the last frame's cut after its flag bytes
// (58 bytes in all, as the bridge reads them).
struct TrackTimes {
    FrameTimes first;
    int64_t lastRecordedTime;
    int64_t lastStreamTime;
    int64_t lastZoneBias;
    uint8_t lastZoneKnown;
    uint8_t lastZoneFlag;
};
#pragma pack(pop)
static_assert(sizeof(TrackTimes) == 58);

// Receives the path that a client loaded.
using StatusCallback = void (*)(const char* text);

} // namespace Vorn::Vorncast::Decoders
