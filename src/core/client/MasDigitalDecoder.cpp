#include "core/client/MasDigitalDecoder.h"

#include <cstring>

namespace Vorn::Vorncast::Decoders {

void SanitiseFrameReport(FrameTimes* times, CameraTag* camera) {
    if (camera != nullptr && camera->number >= MaxCameras) {
        camera->number = MaxCameras - 1;
    }
    if (times != nullptr) {
        if (times->recordedTime < 0) {
            times->recordedTime = 0;
        } else if (times->recordedTime >= MasDigitalDecoder::EndOfTime) {
            times->recordedTime = MasDigitalDecoder::EndOfTime - 1;
        }
    }
}

void MasDigitalDecoder::GetImageInfo(int32_t* width, int32_t* height, int32_t* aspectX, int32_t* aspectY,
                                     bool* colour) {
    if (decoder != nullptr) {
        decoder->GetImageInfo(width, height, aspectX, aspectY, colour);
    }
}

DecoderAction MasDigitalDecoder::Unload() {
    return decoder != nullptr ? decoder->Unload() : DDA_NO_DECODER;
}

DecoderAction MasDigitalDecoder::GoToFrame(int32_t frame) {
    return decoder != nullptr ? decoder->GoToFrame(frame) : DDA_NO_DECODER;
}

int32_t MasDigitalDecoder::GetConfidence() {
    return decoder != nullptr ? decoder->GetConfidence() : NoDecoderConfidence;
}

int32_t MasDigitalDecoder::GetCurrentFrame() {
    return decoder != nullptr ? decoder->GetCurrentFrame() : 0;
}

void MasDigitalDecoder::GetFrameInfo(FrameTimes* times, CameraTag* camera, int32_t* totalFrames) {
    if (decoder == nullptr) {
        if (camera != nullptr) {
            std::memset(camera, 0, sizeof(*camera));
        }
        return;
    }
    decoder->GetFrameInfo(times, camera, totalFrames);
    SanitiseFrameReport(times, camera);
}

int32_t MasDigitalDecoder::IndexOfFrameAtStreamTime(int64_t streamTime) {
    return decoder != nullptr ? decoder->IndexOfFrameAtStreamTime(streamTime) : 0;
}

bool MasDigitalDecoder::GetImage(int32_t bufferSize, uint8_t* buffer) {
    return decoder != nullptr && decoder->GetImage(bufferSize, buffer);
}

SharedPicture MasDigitalDecoder::SharePicture() {
    return decoder != nullptr ? decoder->SharePicture() : nullptr;
}

void MasDigitalDecoder::GetOpenName(char* name) {
    if (decoder != nullptr) {
        decoder->GetOpenName(name);
    } else {
        std::memset(name, 0, MaxPathLength);
    }
}

DecoderAction MasDigitalDecoder::OpenComplete(int32_t fileId, uint64_t fileSize) {
    return decoder != nullptr ? decoder->OpenComplete(fileId, fileSize) : DDA_NO_DECODER;
}

void MasDigitalDecoder::GetFileToClose(int32_t* fileId) {
    if (decoder != nullptr) {
        decoder->GetFileToClose(fileId);
    } else {
        *fileId = -1;
    }
}

DecoderAction MasDigitalDecoder::CloseComplete(int32_t fileId) {
    return decoder != nullptr ? decoder->CloseComplete(fileId) : DDA_NO_DECODER;
}

void MasDigitalDecoder::GetReadParameters(int32_t* fileId, uint64_t* offset, uint32_t* size,
                                          uint8_t** buffer) {
    if (decoder != nullptr) {
        decoder->GetReadParameters(fileId, offset, size, buffer);
        return;
    }
    *fileId = -1;
    *offset = 0;
    *size = 0;
    *buffer = nullptr;
}

DecoderAction MasDigitalDecoder::ReadComplete(int32_t fileId, bool ok) {
    return decoder != nullptr ? decoder->ReadComplete(fileId, ok) : DDA_NO_DECODER;
}

DecoderAction MasDigitalDecoder::EventComplete(WaitObject signalled) {
    return decoder != nullptr ? decoder->EventComplete(signalled) : DDA_NO_DECODER;
}

int32_t MasDigitalDecoder::GetTotalFrames() {
    return decoder != nullptr ? decoder->GetTotalFrames() : 0;
}

bool MasDigitalDecoder::GetSequentialFlag() {
    return decoder != nullptr && decoder->GetSequentialFlag();
}

bool MasDigitalDecoder::GetRandomAccessFlag() {
    return decoder != nullptr && decoder->GetRandomAccessFlag();
}

bool MasDigitalDecoder::GetFrameAccurateFlag() {
    return decoder != nullptr && decoder->GetFrameAccurateFlag();
}

bool MasDigitalDecoder::GetHasAudio() {
    return decoder != nullptr && decoder->GetHasAudio();
}

int32_t MasDigitalDecoder::GetFrameAtOrBefore(int32_t frame, int32_t cameraFilter) {
    return decoder != nullptr ? decoder->GetFrameAtOrBefore(frame, cameraFilter) : -1;
}

int32_t MasDigitalDecoder::GetPreviousFrame(int32_t frame, int32_t cameraFilter) {
    return decoder != nullptr ? decoder->GetPreviousFrame(frame, cameraFilter) : -1;
}

int32_t MasDigitalDecoder::GetNextFrame(int32_t frame, int32_t cameraFilter) {
    return decoder != nullptr ? decoder->GetNextFrame(frame, cameraFilter) : -1;
}

void MasDigitalDecoder::GetFrameLocation(int32_t frame, CameraTag* camera, uint64_t* offset, uint32_t* size,
                                         char* file) {
    if (decoder != nullptr) {
        decoder->GetFrameLocation(frame, camera, offset, size, file);
        return;
    }
    if (camera != nullptr) {
        std::memset(camera, 0, sizeof(*camera));
    }
    if (file != nullptr) {
        std::memset(file, 0, MaxPathLength);
    }
}

void MasDigitalDecoder::SetFrameItem(int32_t frame, const FrameInfo& item) {
    if (decoder != nullptr) {
        decoder->SetFrameItem(frame, item);
    }
}

uint64_t MasDigitalDecoder::GetFramePeriod() {
    return decoder != nullptr ? decoder->GetFramePeriod() : 0;
}

bool MasDigitalDecoder::GetFrameIndexFlag() {
    return decoder != nullptr && decoder->GetFrameIndexFlag();
}

void MasDigitalDecoder::GetCameras(uint8_t* mask) {
    if (decoder != nullptr) {
        decoder->GetCameras(mask);
    } else {
        std::memset(mask, 0, CameraMaskBytes);
    }
}

int32_t MasDigitalDecoder::GetWaitObjectCount() {
    return decoder != nullptr ? decoder->GetWaitObjectCount() : 0;
}

WaitObject MasDigitalDecoder::GetWaitObject(int32_t index) {
    return decoder != nullptr ? decoder->GetWaitObject(index) : nullptr;
}

void MasDigitalDecoder::Abort() {
    if (decoder != nullptr) {
        decoder->Abort();
    }
}

bool MasDigitalDecoder::GetTrackInfo(int32_t track, char* name, FrameTimes* first, FrameTimes* last,
                                     int32_t* frames, bool* hasAudio) {
    if (decoder != nullptr) {
        return decoder->GetTrackInfo(track, name, first, last, frames, hasAudio);
    }
    if (name != nullptr) {
        std::memset(name, 0, TrackNameLength);
    }
    return false;
}

int32_t MasDigitalDecoder::GetAudioFrameBytes() {
    return decoder != nullptr ? decoder->GetAudioFrameBytes() : 0;
}

int32_t MasDigitalDecoder::GetAudioSamplesPerSecond() {
    return decoder != nullptr ? decoder->GetAudioSamplesPerSecond() : 0;
}

int32_t MasDigitalDecoder::GetAudioChannels() {
    return decoder != nullptr ? decoder->GetAudioChannels() : 0;
}

int32_t MasDigitalDecoder::GetAudioBitsPerSample() {
    return decoder != nullptr ? decoder->GetAudioBitsPerSample() : 0;
}

int32_t MasDigitalDecoder::GetAudioFrameAtOrBefore(int32_t frame, int32_t cameraFilter) {
    return decoder != nullptr ? decoder->GetAudioFrameAtOrBefore(frame, cameraFilter) : -1;
}

int32_t MasDigitalDecoder::GetPreviousAudioFrame(int32_t frame, int32_t cameraFilter) {
    return decoder != nullptr ? decoder->GetPreviousAudioFrame(frame, cameraFilter) : -1;
}

int32_t MasDigitalDecoder::GetNextAudioFrame(int32_t frame, int32_t cameraFilter) {
    return decoder != nullptr ? decoder->GetNextAudioFrame(frame, cameraFilter) : -1;
}

void MasDigitalDecoder::Reset() {
    if (decoder != nullptr) {
        decoder->Reset();
    }
}

void MasDigitalDecoder::GetListPath(char* directory, char* pattern, int32_t* depth) {
    if (decoder != nullptr) {
        decoder->GetListPath(directory, pattern, depth);
        return;
    }
    std::memset(directory, 0, MaxPathLength);
    std::memset(pattern, 0, MaxPathLength);
    *depth = 0;
}

DecoderAction MasDigitalDecoder::FileListComplete(bool ok, int32_t length, const char* list) {
    return decoder != nullptr ? decoder->FileListComplete(ok, length, list) : DDA_NO_DECODER;
}

const char* MasDigitalDecoder::GetDecoderName() {
    return decoder != nullptr ? decoder->GetDecoderName() : "";
}

void MasDigitalDecoder::GetDecoderGuid(const char** guid) {
    if (decoder != nullptr) {
        decoder->GetDecoderGuid(guid);
    } else {
        *guid = "";
    }
}

const char* MasDigitalDecoder::GetExtensions(int32_t* count) {
    if (decoder != nullptr) {
        return decoder->GetExtensions(count);
    }
    *count = 0;
    return "";
}

bool MasDigitalDecoder::IsExtension(const char* extension) {
    return decoder != nullptr && decoder->IsExtension(extension);
}

const char* MasDigitalDecoder::GetPathPattern(int32_t index) {
    return decoder != nullptr ? decoder->GetPathPattern(index) : "";
}

int32_t MasDigitalDecoder::IndexOfAudioFrameAtStreamTime(int64_t streamTime) {
    return decoder != nullptr ? decoder->IndexOfAudioFrameAtStreamTime(streamTime) : 0;
}

bool MasDigitalDecoder::GetAudio(int32_t size, uint8_t* buffer) {
    return decoder != nullptr && decoder->GetAudio(size, buffer);
}

DecoderAction MasDigitalDecoder::Query(const char* path, int32_t flags) {
    return decoder != nullptr ? decoder->Query(path, flags) : DDA_NO_DECODER;
}

DecoderAction MasDigitalDecoder::Load(const char* path, int32_t flags) {
    return decoder != nullptr ? decoder->Load(path, flags) : DDA_NO_DECODER;
}

DecoderAction MasDigitalDecoder::GoToAudioFrame(int32_t frame) {
    return decoder != nullptr ? decoder->GoToAudioFrame(frame) : DDA_NO_DECODER;
}

DecoderAction MasDigitalDecoder::Decompress() {
    return decoder != nullptr ? decoder->Decompress() : DDA_NO_DECODER;
}

DecoderAction MasDigitalDecoder::DecompressAudio() {
    return decoder != nullptr ? decoder->DecompressAudio() : DDA_NO_DECODER;
}

void MasDigitalDecoder::GetAudioFrameInfo(FrameTimes* times, CameraTag* camera, int32_t* totalAudioFrames) {
    if (decoder == nullptr) {
        if (camera != nullptr) {
            std::memset(camera, 0, sizeof(*camera));
        }
        return;
    }
    decoder->GetAudioFrameInfo(times, camera, totalAudioFrames);
    SanitiseFrameReport(times, camera);
}

int32_t MasDigitalDecoder::GetTotalAudioFrames() {
    return decoder != nullptr ? decoder->GetTotalAudioFrames() : 0;
}

int32_t MasDigitalDecoder::GetTotalTracks() {
    return decoder != nullptr ? decoder->GetTotalTracks() : 0;
}

bool MasDigitalDecoder::GetHasVideo() {
    return decoder != nullptr && decoder->GetHasVideo();
}

void MasDigitalDecoder::GetFirstFrameTimes(FrameTimes* times) {
    if (decoder != nullptr) {
        decoder->GetFirstFrameTimes(times);
    } else {
        *times = FrameTimes{};
    }
}

void MasDigitalDecoder::GetLastFrameTimes(FrameTimes* times) {
    if (decoder != nullptr) {
        decoder->GetLastFrameTimes(times);
    } else {
        *times = FrameTimes{};
    }
}

void MasDigitalDecoder::SelectTrack(int32_t track) {
    if (decoder != nullptr) {
        decoder->SelectTrack(track);
    }
}

// Kept, so that a decoder chosen later (at the next open) polls it too.
void MasDigitalDecoder::SetAbortCallback(CoreAbortCallback callback) {
    abortCallback = callback;
    if (decoder != nullptr) {
        decoder->SetAbortCallback(callback);
    }
}

void MasDigitalDecoder::SetProgressCallback(CoreProgressCallback callback) {
    progressCallback = callback;
    if (decoder != nullptr) {
        decoder->SetProgressCallback(callback);
    }
}

void MasDigitalDecoder::SetLogCallback(CoreLogCallback callback) {
    logCallback = callback;
    if (decoder != nullptr) {
        decoder->SetLogCallback(callback);
    }
}

uint64_t MasDigitalDecoder::GetNominalFramePeriod() {
    return decoder != nullptr ? BaseDecoder::DefaultFramePeriod : 0;
}

} // namespace Vorn::Vorncast::Decoders
