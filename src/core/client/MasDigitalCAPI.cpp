#include "core/client/MasDigitalCAPI.h"

#include "core/client/DecoderTable.h"
#include "core/filelists/DirectoryWalk.h"
#include "interface/LibraryFrame.h"

#include <algorithm>
#include <cstdio>
#include <cstring>

namespace Vorn::Vorncast::Decoders::MasDigitalCAPI {

namespace {

struct LibraryCallbacks {
    StatusCallback status = nullptr;
    CoreListCallback list = LibraryListForwarder;
    CoreProgressCallback progress = nullptr;
    CoreLogCallback log = LibraryLogForwarder;
};

LibraryCallbacks& Callbacks() {
    static LibraryCallbacks callbacks;
    return callbacks;
}

// Logs "<function> called with null handle\n" when the handle is null.
bool IsNull(ClientHandle handle, const char* function) {
    if (handle != nullptr) {
        return false;
    }
    CoreLogCallback log = Callbacks().log;
    if (log != nullptr) {
        char text[128];
        std::snprintf(text, sizeof(text), "%s called with null handle\n", function);
        log(0, text);
    }
    return true;
}

// Copies `text` cut to `size` bytes with its terminator; gives the length copied.
int32_t CopyCut(const char* text, char* target, int32_t size) {
    if (target == nullptr || size <= 0) {
        return 0;
    }
    size_t length = std::min(std::strlen(text != nullptr ? text : ""), static_cast<size_t>(size - 1));
    if (length > 0) {
        std::memcpy(target, text, length);
    }
    target[length] = '\0';
    return static_cast<int32_t>(length);
}

// Calls `call` with the client of `handle`; a null handle is logged and answers `whenNull`.
template <class Result, class Call>
Result OnClient(ClientHandle handle, const char* function, Result whenNull, Call&& call) {
    if (IsNull(handle, function)) {
        return whenNull;
    }
    return call(*handle);
}

template <class T> void Store(T* target, T value) {
    if (target != nullptr) {
        *target = value;
    }
}

} // namespace

void LibraryLogForwarder(int32_t severity, const char* text) {
    Vorncast::Log("MasDigitalLib", 0, severity, "%s", text);
}

void LibraryListForwarder(const char* directory, const char* pattern, int32_t depth, bool* ok,
                          uint32_t* length, char** list) {
    ListFiles(directory, pattern, depth, ok, length, list);
}

int32_t SetStatusCallback(StatusCallback callback) {
    Callbacks().status = callback;
    return 1;
}

int32_t SetListCallback(CoreListCallback callback) {
    Callbacks().list = callback;
    return 1;
}

int32_t SetProgressCallback(CoreProgressCallback callback) {
    Callbacks().progress = callback;
    return 1;
}

int32_t SetLogCallback(CoreLogCallback callback) {
    Callbacks().log = callback;
    return 1;
}

int32_t CreateClient(ClientHandle* handle) {
    FileClient* client = new FileClient();
    client->SetStatusCallback(Callbacks().status);
    client->SetListCallback(Callbacks().list);
    client->SetProgressCallback(Callbacks().progress);
    client->SetLogCallback(Callbacks().log);
    *handle = client;
    return 1;
}

int32_t DestroyClient(ClientHandle handle) {
    if (IsNull(handle, "DestroyClient")) {
        return 1;
    }
    delete handle;
    return 1;
}

FileClientResult OpenWithDecoder(ClientHandle handle, uint32_t guid0, uint32_t guid1, uint32_t guid2,
                                 uint32_t guid3, int32_t flags, const char* path, ImageInfo* image,
                                 AudioInfo* audio, TrackTimes* span, int32_t* totalFrames,
                                 int32_t* totalAudioFrames, int64_t* duration, bool* hasVideo, bool* hasAudio,
                                 int32_t* reserved, int32_t* confidence) {
    return OnClient(handle, __func__, FCR_CATASTROPHIC, [&](FileClient& client) {
        return client.OpenForQuery(GuidFromWords(guid0, guid1, guid2, guid3), flags, path, image, audio, span,
                                   totalFrames, totalAudioFrames, duration, hasVideo, hasAudio, reserved,
                                   confidence);
    });
}

FileClientResult OpenWithDecoder(ClientHandle handle, uint32_t guid0, uint32_t guid1, uint32_t guid2,
                                 uint32_t guid3, int32_t flags, const char* path, ImageInfo* image,
                                 AudioInfo* audio, TrackTimes* span, int32_t* totalFrames,
                                 int32_t* totalAudioFrames, int64_t* duration, bool* hasAudio) {
    return OnClient(handle, __func__, FCR_CATASTROPHIC, [&](FileClient& client) {
        return client.OpenForLoad(GuidFromWords(guid0, guid1, guid2, guid3), flags, path, image, audio, span,
                                  totalFrames, totalAudioFrames, duration, hasAudio);
    });
}

FileClientResult GetFrame(ClientHandle handle, int32_t frame, FrameTimes* times, int32_t bufferSize,
                          uint8_t* buffer, int64_t* duration, int32_t* totalFrames, uint64_t* framePeriod,
                          int32_t* camera, char* name, SharedPicture* shared) {
    return OnClient(handle, __func__, FCR_CATASTROPHIC, [&](FileClient& client) {
        return client.GetFrame(frame, times, bufferSize, buffer, duration, totalFrames, framePeriod, camera,
                               name, shared);
    });
}

FileClientResult GetFrameInfo(ClientHandle handle, int32_t frame, FrameTimes* times, int64_t* lastFrameTime,
                              int32_t* totalFrames, uint64_t* framePeriod, int32_t* camera, char* name) {
    return OnClient(handle, __func__, FCR_CATASTROPHIC, [&](FileClient& client) {
        return client.GetFrameInfo(frame, times, lastFrameTime, totalFrames, framePeriod, camera, name);
    });
}

FileClientResult GetAudioFrame(ClientHandle handle, int32_t frame, FrameTimes* times, int32_t bufferSize,
                               uint8_t* buffer, int32_t* frameBytes, int32_t* totalAudioFrames,
                               int32_t* camera, char* name) {
    return OnClient(handle, __func__, FCR_CATASTROPHIC, [&](FileClient& client) {
        return client.GetAudioFrame(frame, times, bufferSize, buffer, frameBytes, totalAudioFrames, camera,
                                    name);
    });
}

FileClientResult GetAudioFrameInfo(ClientHandle handle, int32_t frame, FrameTimes* times,
                                   int32_t* totalAudioFrames, int32_t* unused, int32_t* camera, char* name) {
    return OnClient(handle, __func__, FCR_CATASTROPHIC, [&](FileClient& client) {
        return client.GetAudioFrameInfo(frame, times, totalAudioFrames, unused, camera, name);
    });
}

int32_t TotalTracks(ClientHandle handle) {
    return OnClient(handle, __func__, 0, [&](FileClient& client) { return client.GetTotalTracks(); });
}

bool GetTrackInfo(ClientHandle handle, int32_t track, char* name, TrackTimes* span, int32_t* frames,
                  bool* hasAudio) {
    if (IsNull(handle, "GetTrackInfo")) {
        return false;
    }
    FrameTimes first = {}, last = {};
    handle->GetTrackInfo(track, name, &first, &last, frames, hasAudio);
    Store(span, TrackTimes{first, last.recordedTime, last.streamTime, last.zoneBias, last.zoneKnown,
                           last.zoneFlag});
    return true;
}

bool SelectTrack(ClientHandle handle, int32_t track) {
    return OnClient(handle, __func__, false, [&](FileClient& client) {
        client.SelectTrack(track);
        return true;
    });
}

int32_t IndexOfFrameAtStreamTime(ClientHandle handle, int64_t streamTime) {
    return OnClient(handle, __func__, 0,
                    [&](FileClient& client) { return client.IndexOfFrameAtStreamTime(streamTime); });
}

int32_t IndexOfAudioFrameAtStreamTime(ClientHandle handle, int64_t streamTime) {
    return OnClient(handle, __func__, 0,
                    [&](FileClient& client) { return client.IndexOfAudioFrameAtStreamTime(streamTime); });
}

int32_t GetPreviousFrame(ClientHandle handle, int32_t frame, int32_t cameraFilter) {
    return OnClient(handle, __func__, -1,
                    [&](FileClient& client) { return client.GetPreviousFrame(frame, cameraFilter); });
}

int32_t GetNextFrame(ClientHandle handle, int32_t frame, int32_t cameraFilter) {
    return OnClient(handle, __func__, -1,
                    [&](FileClient& client) { return client.GetNextFrame(frame, cameraFilter); });
}

int32_t GetPreviousAudioFrame(ClientHandle handle, int32_t frame, int32_t cameraFilter) {
    return OnClient(handle, __func__, -1,
                    [&](FileClient& client) { return client.GetPreviousAudioFrame(frame, cameraFilter); });
}

int32_t GetNextAudioFrame(ClientHandle handle, int32_t frame, int32_t cameraFilter) {
    return OnClient(handle, __func__, -1,
                    [&](FileClient& client) { return client.GetNextAudioFrame(frame, cameraFilter); });
}

bool Close(ClientHandle handle) {
    return OnClient(handle, __func__, false, [&](FileClient& client) { return client.Close(); });
}

bool Abort(ClientHandle handle) {
    return OnClient(handle, __func__, false, [](FileClient& client) {
        client.Abort();
        return true;
    });
}

void RegisterAbortCallback(ClientHandle handle, CoreAbortCallback callback) {
    if (IsNull(handle, "RegisterAbortCallback")) {
        return;
    }
    handle->SetAbortCallback(callback);
}

void GetCameras(ClientHandle handle, uint8_t* mask) {
    if (IsNull(handle, "GetCameras")) {
        return;
    }
    handle->GetCameras(mask);
}

int32_t GetDecoderCount() {
    return DecoderTable::Count();
}

bool GetDecoderDescription(int32_t index, char* name, int32_t nameSize, int32_t* nameLength, char* extensions,
                           int32_t extensionsSize, int32_t* extensionCount, int32_t* patternCount,
                           DecoderDescriptionFlags* flags, char* guidText) {
    BaseDecoder* decoder = DecoderTable::At(index);
    if (decoder == nullptr) {
        Store(nameLength, CopyCut("", name, nameSize));
        CopyCut("", extensions, extensionsSize);
        Store(extensionCount, 0);
        Store(patternCount, 0);
        Store(flags, DecoderDescriptionFlags{false, false, false, true, false});
        CopyCut("", guidText, GuidTextSize);
        return false;
    }
    Store(nameLength, CopyCut(decoder->GetDecoderName(), name, nameSize));
    int32_t count = 0;
    const char* list = decoder->GetExtensions(&count);
    CopyCut(list, extensions, extensionsSize);
    Store(extensionCount, count);
    Store(patternCount, decoder->GetFilePatternCount());
    Store(flags, DecoderDescriptionFlags{decoder->GetInfoFlagB(), decoder->GetInfoFlagC(),
                                         decoder->GetMultiFileFlag(), decoder->GetInfoFlagE(),
                                         decoder->GetInfoFlagD()});
    const char* guid = nullptr;
    decoder->GetDecoderGuid(&guid);
    CopyCut(guid, guidText, GuidTextSize);
    return true;
}

BaseDecoder* FindDecoder(uint32_t guid0, uint32_t guid1, uint32_t guid2, uint32_t guid3) {
    return DecoderTable::Find(GuidFromWords(guid0, guid1, guid2, guid3));
}

const char* GetPathPattern(uint32_t guid0, uint32_t guid1, uint32_t guid2, uint32_t guid3, int32_t index) {
    BaseDecoder* decoder = FindDecoder(guid0, guid1, guid2, guid3);
    return decoder != nullptr ? decoder->GetPathPattern(index) : nullptr;
}

} // namespace Vorn::Vorncast::Decoders::MasDigitalCAPI
