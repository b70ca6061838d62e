// Exported functions on streams.
#include "interface/Fence.h"
#include "model/decoder/Stream.h"

using namespace Vorn::Vorncast;

namespace {

constexpr const char* SourceFile = "DllInterface\\VorncastDecoders_Stream";

// A step fills the caller's sample; its data pointer is cleared first so that a failed step leaves none.
template <class Step> int StepStream(int handle, int line, Sample* sample, Step step) {
    return FenceOn<Stream>(SourceFile, line, handle, [&](Stream& stream) -> int {
        if (sample == nullptr) {
            return SetLastError(InvalidArgument, SourceFile, line, "sample");
        }
        sample->uncompressedData = nullptr;
        return step(stream);
    });
}

// Copies a description of the stream's own when the stream is of `type` and the description of `Kind`.
template <class Kind, class Copy>
int GetDescription(int handle, int line, int descriptionHandle, int32_t type, void* out, Copy copy) {
    return FenceOn<Stream>(SourceFile, line, handle, [&](Stream& stream) -> int {
        if (stream.type != type) {
            return SetLastError(InvalidHandle, SourceFile, line, "Invalid stream type");
        }
        SampleDescription* description = stream.GetSampleDescription(descriptionHandle);
        if (description == nullptr) {
            return SetLastError(InvalidHandle, SourceFile, line,
                                "SampleDescription not obtained from handle");
        }
        auto* typed = dynamic_cast<Kind*>(description);
        if (typed == nullptr) {
            return SetLastError(InvalidHandle, SourceFile, line, "Unhandled stream type");
        }
        if (out == nullptr) {
            return SetLastError(InvalidArgument, SourceFile, line, "description");
        }
        copy(*typed);
        return SetSuccess(SourceFile, line);
    });
}

} // namespace

extern "C" VC_EXPORT int Stream_GetName(int handle, int* size, char* text) {
    return FenceOn<Stream>(SourceFile, __LINE__, handle, [&](Stream& stream) -> int {
        if (CopyTextTwoCall(stream.name, size, text) != Success) {
            return SetLastError(InvalidArgument, SourceFile, __LINE__, "size");
        }
        return SetSuccess(SourceFile, __LINE__);
    });
}

extern "C" VC_EXPORT int Stream_GetInfo(int handle, VcStreamInfo* info) {
    return FenceOn<Stream>(SourceFile, __LINE__, handle, [&](Stream& stream) -> int {
        if (info == nullptr) {
            return SetLastError(InvalidArgument, SourceFile, __LINE__, "info");
        }
        *info = stream.Info();
        return SetSuccess(SourceFile, __LINE__);
    });
}

extern "C" VC_EXPORT int Stream_GoToTime(int handle, VcSeekRequest request, VcSample* sample) {
    return StepStream(handle, __LINE__, sample,
                      [&](Stream& stream) { return stream.GoToTime(request, sample); });
}

extern "C" VC_EXPORT int Stream_GetNextSample(int handle, VcSampleRequest request, VcSample* sample) {
    return StepStream(handle, __LINE__, sample,
                      [&](Stream& stream) { return stream.GetNextSample(request, sample); });
}

extern "C" VC_EXPORT int Stream_GetPreviousSample(int handle, VcSampleRequest request, VcSample* sample) {
    return StepStream(handle, __LINE__, sample,
                      [&](Stream& stream) { return stream.GetPreviousSample(request, sample); });
}

extern "C" VC_EXPORT int Stream_ReleaseSample(int handle, VcSample sample) {
    return FenceOn<Stream>(SourceFile, __LINE__, handle,
                           [&](Stream& stream) -> int { return stream.ReleaseSample(sample); });
}

extern "C" VC_EXPORT int Stream_GetVideoSampleDescription(int handle, int descriptionHandle,
                                                          VcPublicVideoDescription* out) {
    return GetDescription<VideoSampleDescription>(handle, __LINE__, descriptionHandle, StreamVideo, out,
                                                  [&](const VideoSampleDescription& video) {
                                                      *out = {video.width,
                                                              video.height,
                                                              static_cast<uint16_t>(video.bytesPerPixel),
                                                              video.aspectNumerator,
                                                              video.aspectDenominator,
                                                              video.format};
                                                  });
}

extern "C" VC_EXPORT int Stream_GetAudioSampleDescription(int handle, int descriptionHandle,
                                                          VcPublicAudioDescription* out) {
    return GetDescription<AudioSampleDescription>(
        handle, __LINE__, descriptionHandle, StreamAudio, out, [&](const AudioSampleDescription& audio) {
            *out = {audio.sampleRate, audio.bitsPerSample, audio.channels, audio.maxSampleBytes};
        });
}
