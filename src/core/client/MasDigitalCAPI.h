#pragma once

#include "core/client/ClientTypes.h"
#include "core/client/FileClient.h"

#include <cstdint>

// The flat functions through which the rest of the library reaches the digital decoder core. Each
// client function tests its handle, logs a fixed text when it is null, and calls the client.
namespace Vorn::Vorncast::Decoders::MasDigitalCAPI {

using ClientHandle = FileClient*;

// Library-wide callbacks, stored for every client made from then on; each returns 1. They belong
// to start-up and are not synchronised. Until others are set, clients log through
// LibraryLogForwarder and list through LibraryListForwarder.
int32_t SetStatusCallback(StatusCallback callback);
int32_t SetListCallback(CoreListCallback callback);
int32_t SetProgressCallback(CoreProgressCallback callback);
int32_t SetLogCallback(CoreLogCallback callback);

// Hands a text of the core to the library's log at the given level.
void LibraryLogForwarder(int32_t severity, const char* text);
// Lists files through the library's directory walk over the current file source.
void LibraryListForwarder(const char* directory, const char* pattern, int32_t depth, bool* ok,
                          uint32_t* length, char** list);

int32_t CreateClient(ClientHandle* handle);
// The caller has closed the client first.
int32_t DestroyClient(ClientHandle handle);

// Query form: runs the decoder's query. `reserved` is always 0.
FileClientResult OpenWithDecoder(ClientHandle handle, uint32_t guid0, uint32_t guid1, uint32_t guid2,
                                 uint32_t guid3, int32_t flags, const char* path, ImageInfo* image,
                                 AudioInfo* audio, TrackTimes* span, int32_t* totalFrames,
                                 int32_t* totalAudioFrames, int64_t* duration, bool* hasVideo, bool* hasAudio,
                                 int32_t* reserved, int32_t* confidence);
// Load form: runs the decoder's load.
FileClientResult OpenWithDecoder(ClientHandle handle, uint32_t guid0, uint32_t guid1, uint32_t guid2,
                                 uint32_t guid3, int32_t flags, const char* path, ImageInfo* image,
                                 AudioInfo* audio, TrackTimes* span, int32_t* totalFrames,
                                 int32_t* totalAudioFrames, int64_t* duration, bool* hasAudio);

FileClientResult GetFrame(ClientHandle handle, int32_t frame, FrameTimes* times, int32_t bufferSize,
                          uint8_t* buffer, int64_t* duration, int32_t* totalFrames, uint64_t* framePeriod,
                          int32_t* camera, char* name, SharedPicture* shared = nullptr);
FileClientResult GetFrameInfo(ClientHandle handle, int32_t frame, FrameTimes* times, int64_t* lastFrameTime,
                              int32_t* totalFrames, uint64_t* framePeriod, int32_t* camera, char* name);
FileClientResult GetAudioFrame(ClientHandle handle, int32_t frame, FrameTimes* times, int32_t bufferSize,
                               uint8_t* buffer, int32_t* frameBytes, int32_t* totalAudioFrames,
                               int32_t* camera, char* name);
FileClientResult GetAudioFrameInfo(ClientHandle handle, int32_t frame, FrameTimes* times,
                                   int32_t* totalAudioFrames, int32_t* unused, int32_t* camera, char* name);

int32_t TotalTracks(ClientHandle handle);
// `name` takes TrackNameLength bytes.
bool GetTrackInfo(ClientHandle handle, int32_t track, char* name, TrackTimes* span, int32_t* frames,
                  bool* hasAudio);
bool SelectTrack(ClientHandle handle, int32_t track);
int32_t IndexOfFrameAtStreamTime(ClientHandle handle, int64_t streamTime);
int32_t IndexOfAudioFrameAtStreamTime(ClientHandle handle, int64_t streamTime);
int32_t GetPreviousFrame(ClientHandle handle, int32_t frame, int32_t cameraFilter);
int32_t GetNextFrame(ClientHandle handle, int32_t frame, int32_t cameraFilter);
int32_t GetPreviousAudioFrame(ClientHandle handle, int32_t frame, int32_t cameraFilter);
int32_t GetNextAudioFrame(ClientHandle handle, int32_t frame, int32_t cameraFilter);
// True on a clean unload.
bool Close(ClientHandle handle);
// May be called from another thread during a call on the same client.
bool Abort(ClientHandle handle);
void RegisterAbortCallback(ClientHandle handle, CoreAbortCallback callback);
// Fills CameraMaskBytes bytes.
void GetCameras(ClientHandle handle, uint8_t* mask);

// The decoder table, in its fixed order.
int32_t GetDecoderCount();

// The five description flags of a decoder, in this order.
struct DecoderDescriptionFlags {
    bool infoFlagB;
    bool infoFlagC; // the decoder reads a general container
    bool multiFile;
    bool infoFlagE;
    bool infoFlagD; // the decoder must be chosen by hand
};

constexpr int32_t GuidTextSize = 37;

// Copies name and extensions of the decoder at `index`, each cut to its buffer. Outside the table
// everything is emptied and only infoFlagE reads true; the result is then false.
bool GetDecoderDescription(int32_t index, char* name, int32_t nameSize, int32_t* nameLength, char* extensions,
                           int32_t extensionsSize, int32_t* extensionCount, int32_t* patternCount,
                           DecoderDescriptionFlags* flags, char* guidText);
BaseDecoder* FindDecoder(uint32_t guid0, uint32_t guid1, uint32_t guid2, uint32_t guid3);
// The decoder's pattern `index`, or null for an unknown GUID.
const char* GetPathPattern(uint32_t guid0, uint32_t guid1, uint32_t guid2, uint32_t guid3, int32_t index);

} // namespace Vorn::Vorncast::Decoders::MasDigitalCAPI
