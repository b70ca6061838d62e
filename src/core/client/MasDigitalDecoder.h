#pragma once

#include "core/decoder/BaseDecoder.h"
#include "model/support/Guid.h"

#include <cstdint>

namespace Vorn::Vorncast::Decoders {

// Forwards the decoder interface to the table's decoder chosen for this client. Without a decoder
// every operation gives a fixed answer: actions DDA_NO_DECODER, walks -1, counters 0, buffers that
// carry names zeroed, other outputs untouched.
class MasDigitalDecoder : public IDigitalDecoder {
public:
    // 10000-01-01 in ticks: recorded times at or after it arrive as its last tick before.
    static constexpr int64_t EndOfTime = 3155378976000000000;
    // GetConfidence while no decoder is set.
    static constexpr int32_t NoDecoderConfidence = 50;

    MasDigitalDecoder() = default;
    MasDigitalDecoder(const MasDigitalDecoder&) = delete;
    MasDigitalDecoder& operator=(const MasDigitalDecoder&) = delete;

    void GetImageInfo(int32_t* width, int32_t* height, int32_t* aspectX, int32_t* aspectY,
                      bool* colour) override;
    DecoderAction Unload() override;
    DecoderAction GoToFrame(int32_t frame) override;
    int32_t GetConfidence() override;
    int32_t GetCurrentFrame() override;
    // The decoder's answer with the camera number and the recorded time brought into range.
    void GetFrameInfo(FrameTimes* times, CameraTag* camera, int32_t* totalFrames) override;
    int32_t IndexOfFrameAtStreamTime(int64_t streamTime) override;
    bool GetImage(int32_t bufferSize, uint8_t* buffer) override;
    SharedPicture SharePicture() override;

    void GetOpenName(char* name) override;
    DecoderAction OpenComplete(int32_t fileId, uint64_t fileSize) override;
    void GetFileToClose(int32_t* fileId) override;
    DecoderAction CloseComplete(int32_t fileId) override;
    void GetReadParameters(int32_t* fileId, uint64_t* offset, uint32_t* size, uint8_t** buffer) override;
    DecoderAction ReadComplete(int32_t fileId, bool ok) override;
    DecoderAction EventComplete(WaitObject signalled) override;

    int32_t GetTotalFrames() override;
    bool GetSequentialFlag() override;
    bool GetRandomAccessFlag() override;
    bool GetFrameAccurateFlag() override;
    bool GetHasAudio() override;
    int32_t GetFrameAtOrBefore(int32_t frame, int32_t cameraFilter) override;
    int32_t GetPreviousFrame(int32_t frame, int32_t cameraFilter) override;
    int32_t GetNextFrame(int32_t frame, int32_t cameraFilter) override;
    void GetFrameLocation(int32_t frame, CameraTag* camera, uint64_t* offset, uint32_t* size,
                          char* file) override;
    void SetFrameItem(int32_t frame, const FrameInfo& item) override;
    uint64_t GetFramePeriod() override;
    bool GetFrameIndexFlag() override;
    void GetCameras(uint8_t* mask) override;
    int32_t GetWaitObjectCount() override;
    WaitObject GetWaitObject(int32_t index) override;
    void Abort() override;
    bool GetTrackInfo(int32_t track, char* name, FrameTimes* first, FrameTimes* last, int32_t* frames,
                      bool* hasAudio) override;
    int32_t GetAudioFrameBytes() override;
    int32_t GetAudioSamplesPerSecond() override;
    int32_t GetAudioChannels() override;
    int32_t GetAudioBitsPerSample() override;
    int32_t GetAudioFrameAtOrBefore(int32_t frame, int32_t cameraFilter) override;
    int32_t GetPreviousAudioFrame(int32_t frame, int32_t cameraFilter) override;
    int32_t GetNextAudioFrame(int32_t frame, int32_t cameraFilter) override;
    void Reset() override;
    void GetListPath(char* directory, char* pattern, int32_t* depth) override;
    DecoderAction FileListComplete(bool ok, int32_t length, const char* list) override;

    const char* GetDecoderName() override;
    void GetDecoderGuid(const char** guid) override;
    const char* GetExtensions(int32_t* count) override;
    bool IsExtension(const char* extension) override;
    const char* GetPathPattern(int32_t index) override;

    int32_t IndexOfAudioFrameAtStreamTime(int64_t streamTime) override;
    bool GetAudio(int32_t size, uint8_t* buffer) override;

    DecoderAction Query(const char* path, int32_t flags) override;
    DecoderAction Load(const char* path, int32_t flags) override;
    DecoderAction GoToAudioFrame(int32_t frame) override;
    DecoderAction Decompress() override;
    DecoderAction DecompressAudio() override;

    // The decoder's answer brought into range as GetFrameInfo's.
    void GetAudioFrameInfo(FrameTimes* times, CameraTag* camera, int32_t* totalAudioFrames) override;
    int32_t GetTotalAudioFrames() override;
    int32_t GetTotalTracks() override;
    bool GetHasVideo() override;
    void GetFirstFrameTimes(FrameTimes* times) override;
    void GetLastFrameTimes(FrameTimes* times) override;
    void SelectTrack(int32_t track) override;

    void SetAbortCallback(CoreAbortCallback callback) override;
    void SetProgressCallback(CoreProgressCallback callback) override;
    void SetLogCallback(CoreLogCallback callback) override;

    // The default frame period while a decoder is set (whatever the decoder's own period), else 0.
    virtual uint64_t GetNominalFramePeriod();

    BaseDecoder* GetDecoder() const { return decoder; }
    const Guid& GetDecoderGuidValue() const { return decoderGuid; }

protected:
    Guid decoderGuid = {};
    BaseDecoder* decoder = nullptr;
    CoreProgressCallback progressCallback = nullptr;
    CoreLogCallback logCallback = nullptr;
    CoreAbortCallback abortCallback = nullptr;
};

// Brings what a decoder reports for a frame into the ranges every caller can rely on: camera
// numbers below MaxCameras, recorded times from 0 to the last tick of the year 9999.
void SanitiseFrameReport(FrameTimes* times, CameraTag* camera);

} // namespace Vorn::Vorncast::Decoders
