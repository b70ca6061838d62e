// Exported functions on tracks.
#include "interface/Fence.h"
#include "model/decoder/Track.h"

#include <cstring>

using namespace Vorn::Vorncast;

namespace {
constexpr const char* SourceFile = "DllInterface\\VorncastDecoders_Track";
}

extern "C" VC_EXPORT int Track_GetInfo(int handle, VcTrackInfo* info) {
    return FenceOn<Track>(SourceFile, __LINE__, handle, [&](Track& track) -> int {
        if (info == nullptr) {
            return SetLastError(InvalidArgument, SourceFile, __LINE__, "info");
        }
        std::memset(info, 0, sizeof *info);
        *info = track.Info();
        return SetSuccess(SourceFile, __LINE__);
    });
}

extern "C" VC_EXPORT int Track_GetName(int handle, int* size, char* text) {
    return FenceOn<Track>(SourceFile, __LINE__, handle, [&](Track& track) -> int {
        if (CopyTextTwoCall(track.name, size, text) != Success) {
            return SetLastError(InvalidArgument, SourceFile, __LINE__, "size");
        }
        return SetSuccess(SourceFile, __LINE__);
    });
}

extern "C" VC_EXPORT int Track_GetStream(int handle, int streamIndex, int* streamHandle) {
    return FenceOn<Track>(SourceFile, __LINE__, handle, [&](Track& track) -> int {
        if (streamHandle == nullptr) {
            return SetLastError(InvalidArgument, SourceFile, __LINE__, "stream");
        }
        Stream* stream = nullptr;
        int status = track.GetStream(streamIndex, &stream);
        if (status == Success) {
            *streamHandle = stream->Handle();
        }
        return status;
    });
}
