#pragma once

#include "core/CoreTypes.h"

#include <cstdint>

namespace Vorn::Vorncast::Decoders {

// The frame records of the indexes. Every format's own record starts with the same head, the
// two times first, so that the list templates can work on any of them.

// One frame of a linked index: times, where its bytes lie, and its camera.
struct FrameInfo {
    int64_t recordedTime; // the recorder's stamp, 0 when the format gives none
    int64_t streamTime;   // position on the play-back axis
    uint64_t offset;
    uint32_t size;
    CameraTag camera;
};

// A frame of a file set: the number of the file that holds it follows the standard head.
struct MultiFileFrameInfo : FrameInfo {
    int32_t fileNumber;
};

// The small record of the paged indexes: no camera, 32-bit offset and size.
struct QuickFrameItem {
    int64_t recordedTime;
    int64_t streamTime;
    uint32_t offset;
    uint32_t size;
};
static_assert(sizeof(QuickFrameItem) == 24, "a million paged frames must cost 24 MB");

// A paged frame of a file set, with a 64-bit offset.
struct MultiFileImageInfo64 {
    int64_t recordedTime;
    int64_t streamTime;
    uint64_t offset;
    uint32_t size;
    uint16_t camera;
    uint16_t fileIndex;
};

// One row of a decoder's camera table.
using CameraInfo = CameraTag;

// The camera number of a record, whether it holds a whole tag or only the number.
inline uint16_t CameraNumberOf(const CameraTag& camera) {
    return camera.number;
}
inline uint16_t CameraNumberOf(uint16_t camera) {
    return camera;
}

} // namespace Vorn::Vorncast::Decoders
