#pragma once

#include "core/CoreTypes.h"

#include <cstdint>
#include <memory>
#include <vector>

namespace Vorn::Vorncast::Decoders {

// The standard frame record of the frame lists.
struct FrameInfo;

// A decoded picture that its decoder hands out without copying it. Whoever holds it only reads it;
// the decoder writes into it again only once it is the sole holder, and takes a copy before that.
using SharedPicture = std::shared_ptr<std::vector<uint8_t>>;

// A decoder of the digital core as its client sees it. A decoder never touches a file: every
// operation that can need I/O returns a DecoderAction, the client carries it out and calls the
// matching completion operation, until a step answers DDA_COMPLETE or DDA_FAILED.
//
// Buffers named "name", "file", "directory" and "pattern" hold MaxPathLength (261) bytes, track
// names TrackNameLength (256), camera masks CameraMaskBytes (16).
class IDigitalDecoder {
public:
    virtual ~IDigitalDecoder() = default;

    virtual void GetImageInfo(int32_t* width, int32_t* height, int32_t* aspectX, int32_t* aspectY,
                              bool* colour) = 0;
    virtual DecoderAction Unload() = 0;
    virtual DecoderAction GoToFrame(int32_t frame) = 0;
    virtual int32_t GetConfidence() = 0;
    virtual int32_t GetCurrentFrame() = 0;
    virtual void GetFrameInfo(FrameTimes* times, CameraTag* camera, int32_t* totalFrames) = 0;
    virtual int32_t IndexOfFrameAtStreamTime(int64_t streamTime) = 0;
    // Writes the decoded picture of the current frame; false when it cannot be decoded.
    virtual bool GetImage(int32_t bufferSize, uint8_t* buffer) = 0;
    // The decoded picture of the current frame as the decoder keeps it, for a caller that would
    // otherwise copy it whole; null when the decoder keeps none to share or the frame did not decode,
    // and GetImage serves.
    virtual SharedPicture SharePicture() { return nullptr; }

    // The action protocol: parameters of the pending action, then its completion.
    virtual void GetOpenName(char* name) = 0;
    // A fileId of -1 with a size of 0 reports a failed open.
    virtual DecoderAction OpenComplete(int32_t fileId, uint64_t fileSize) = 0;
    virtual void GetFileToClose(int32_t* fileId) = 0;
    virtual DecoderAction CloseComplete(int32_t fileId) = 0;
    virtual void GetReadParameters(int32_t* fileId, uint64_t* offset, uint32_t* size, uint8_t** buffer) = 0;
    virtual DecoderAction ReadComplete(int32_t fileId, bool ok) = 0;
    // `signalled` is the wait object that fired, or null when the wait failed.
    virtual DecoderAction EventComplete(WaitObject signalled) = 0;

    virtual int32_t GetTotalFrames() = 0;
    virtual bool GetSequentialFlag() = 0;
    virtual bool GetRandomAccessFlag() = 0;
    virtual bool GetFrameAccurateFlag() = 0;
    virtual bool GetHasAudio() = 0;
    // Frame walks; -1 when there is no such frame.
    virtual int32_t GetFrameAtOrBefore(int32_t frame, int32_t cameraFilter) = 0;
    virtual int32_t GetPreviousFrame(int32_t frame, int32_t cameraFilter) = 0;
    virtual int32_t GetNextFrame(int32_t frame, int32_t cameraFilter) = 0;
    virtual void GetFrameLocation(int32_t frame, CameraTag* camera, uint64_t* offset, uint32_t* size,
                                  char* file) = 0;
    virtual void SetFrameItem(int32_t frame, const FrameInfo& item) = 0;
    // Ticks of 100 ns.
    virtual uint64_t GetFramePeriod() = 0;
    virtual bool GetFrameIndexFlag() = 0;
    virtual void GetCameras(uint8_t* mask) = 0;
    virtual int32_t GetWaitObjectCount() = 0;
    virtual WaitObject GetWaitObject(int32_t index) = 0;
    // May be called from another thread while a phase runs.
    virtual void Abort() = 0;
    virtual bool GetTrackInfo(int32_t track, char* name, FrameTimes* first, FrameTimes* last, int32_t* frames,
                              bool* hasAudio) = 0;
    virtual int32_t GetAudioFrameBytes() = 0;
    virtual int32_t GetAudioSamplesPerSecond() = 0;
    virtual int32_t GetAudioChannels() = 0;
    virtual int32_t GetAudioBitsPerSample() = 0;
    virtual int32_t GetAudioFrameAtOrBefore(int32_t frame, int32_t cameraFilter) = 0;
    virtual int32_t GetPreviousAudioFrame(int32_t frame, int32_t cameraFilter) = 0;
    virtual int32_t GetNextAudioFrame(int32_t frame, int32_t cameraFilter) = 0;
    // Returns the decoder to its unloaded condition, freeing its lists and buffers.
    virtual void Reset() = 0;
    virtual void GetListPath(char* directory, char* pattern, int32_t* depth) = 0;
    // `list`: paths relative to the listed directory, each ended by ';'. It stays the caller's and
    // is only read during the call.
    virtual DecoderAction FileListComplete(bool ok, int32_t length, const char* list) = 0;

    // Identity and description of the decoder type.
    virtual const char* GetDecoderName() = 0;
    // A GUID text without braces.
    virtual void GetDecoderGuid(const char** guid) = 0;
    // Extensions separated by ';', without points.
    virtual const char* GetExtensions(int32_t* count) = 0;
    virtual bool IsExtension(const char* extension) = 0;
    virtual const char* GetPathPattern(int32_t index) = 0;

    virtual int32_t IndexOfAudioFrameAtStreamTime(int64_t streamTime) = 0;
    virtual bool GetAudio(int32_t size, uint8_t* buffer) = 0;

    // Phase starts.
    virtual DecoderAction Query(const char* path, int32_t flags) = 0;
    virtual DecoderAction Load(const char* path, int32_t flags) = 0;
    virtual DecoderAction GoToAudioFrame(int32_t frame) = 0;
    virtual DecoderAction Decompress() = 0;
    virtual DecoderAction DecompressAudio() = 0;

    // What a load found.
    virtual void GetAudioFrameInfo(FrameTimes* times, CameraTag* camera, int32_t* totalAudioFrames) = 0;
    virtual int32_t GetTotalAudioFrames() = 0;
    // 0 counts as one implicit track.
    virtual int32_t GetTotalTracks() = 0;
    virtual bool GetHasVideo() = 0;
    virtual void GetFirstFrameTimes(FrameTimes* times) = 0;
    virtual void GetLastFrameTimes(FrameTimes* times) = 0;
    virtual void SelectTrack(int32_t track) = 0;

    virtual void SetAbortCallback(CoreAbortCallback callback) = 0;
    virtual void SetProgressCallback(CoreProgressCallback callback) = 0;
    virtual void SetLogCallback(CoreLogCallback callback) = 0;
};

} // namespace Vorn::Vorncast::Decoders
