#pragma once

#include "model/support/LogLevels.h"

#include <vorncast/VorncastDecoders.h>

#include <cstdint>

namespace Vorn::Vorncast::Decoders {

// Times of one frame: recorder's clock, play-back axis, zone bias and two flags (all ticks of
// 100 ns since 0001-01-01). The same record crosses the C boundary.
using FrameTimes = VcFrameTimes;

constexpr int CameraNameLength = 64;
constexpr int MaxCameras = 128;
constexpr int MaxPathLength = 261;
// Bytes of a camera bit mask: one bit for each of the 128 camera numbers, camera 0 in the least
// significant bit of the first byte.
constexpr int CameraMaskBytes = MaxCameras / 8;
constexpr int TrackNameLength = 256;

#pragma pack(push, 1)
// A camera number and its name, packed: 66 bytes.
struct CameraTag {
    uint16_t number;
    char name[CameraNameLength];
};
#pragma pack(pop)
static_assert(sizeof(CameraTag) == 66);

// What every step of a digital decoder asks its client to do next.
enum DecoderAction : int32_t {
    DDA_NO_ACTION = 0,
    DDA_NO_DECODER = 1,
    DDA_OPEN = 2,
    DDA_CLOSE = 3,
    DDA_READ = 4,
    DDA_LIST_FILES = 5,
    DDA_WAIT_EVENT = 6,
    DDA_COMPLETE = 7,
    DDA_FAILED = 8,
};

enum DecoderState : int32_t {
    DDS_IDLE = 0,
    DDS_LOADED = 1,
    DDS_LOADING = 2,
    DDS_UNLOADING = 3,
    DDS_POSITIONING = 4,
    DDS_POSITIONING_AUDIO = 5,
    DDS_DECOMPRESSING = 6,
    DDS_DECOMPRESSING_AUDIO = 7,
    DDS_FAILING = 8,
    DDS_QUERYING = 9,
    DDS_QUERIED = 10,
};

// Callbacks the core calls on the caller's thread.
using CoreProgressCallback = void (*)(double fraction);
using CoreLogCallback = void (*)(int32_t severity, const char* text);
// Non-zero asks the running phase to stop.
using CoreAbortCallback = int32_t (*)();
// Expands `pattern` below `directory` (at most `depth` levels of subdirectories) into a text of
// relative paths, each ended by ';', allocated with new[]; see core/filelists/DirectoryWalk.h.
using CoreListCallback = void (*)(const char* directory, const char* pattern, int32_t depth, bool* ok,
                                  uint32_t* length, char** list);

// An event a decoder's worker signals and the client waits on (core/decoder/WaitEvent.h).
class WaitEvent;
using WaitObject = WaitEvent*;

// How a client operation ended.
enum FileClientResult : int32_t {
    FCR_FAILURE = 0,
    FCR_CATASTROPHIC = 1,
    FCR_SUCCESS = 4,
};

} // namespace Vorn::Vorncast::Decoders
