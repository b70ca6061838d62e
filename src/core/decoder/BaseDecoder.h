#pragma once

#include "core/CoreTypes.h"
#include "core/decoder/IDigitalDecoder.h"
#include "core/filelists/FileList.h"
#include "core/time/Ticks.h"

#include <atomic>
#include <cstdarg>
#include <cstdint>

namespace Vorn::Vorncast::Decoders {

// The state machine every format decoder derives from. It owns `state`, starts each phase, and
// routes each completion of the action protocol to the operation of the current phase
// (LoadingOpenComplete, DecompressingReadComplete, ...), which a format decoder overrides.
// Operations a format decoder does not override refuse: they log "BaseDecoder <name> not
// implemented" and fail the step.
class BaseDecoder : public IDigitalDecoder {
public:
    BaseDecoder();
    ~BaseDecoder() override = default;
    BaseDecoder(const BaseDecoder&) = delete;
    BaseDecoder& operator=(const BaseDecoder&) = delete;

    void GetImageInfo(int32_t* width, int32_t* height, int32_t* aspectX, int32_t* aspectY,
                      bool* colour) override;
    DecoderAction Unload() override;
    DecoderAction GoToFrame(int32_t frame) override;
    int32_t GetConfidence() override { return queryConfidence; }
    int32_t GetCurrentFrame() override { return currentFrame; }
    void GetFrameInfo(FrameTimes* times, CameraTag* camera, int32_t* totalFrames) override;
    int32_t IndexOfFrameAtStreamTime(int64_t streamTime) override;

    void GetOpenName(char* name) override;
    DecoderAction OpenComplete(int32_t fileId, uint64_t fileSize) override;
    void GetFileToClose(int32_t* fileId) override;
    DecoderAction CloseComplete(int32_t fileId) override;
    void GetReadParameters(int32_t* fileId, uint64_t* offset, uint32_t* size, uint8_t** buffer) override;
    DecoderAction ReadComplete(int32_t fileId, bool ok) override;
    DecoderAction EventComplete(WaitObject signalled) override;

    int32_t GetTotalFrames() override { return totalFrames; }
    bool GetSequentialFlag() override { return randomAccessFlag == 0; }
    bool GetRandomAccessFlag() override { return randomAccessFlag != 0; }
    bool GetFrameAccurateFlag() override { return frameAccurateFlag != 0; }
    bool GetHasAudio() override { return hasAudio; }
    void GetFrameLocation(int32_t frame, CameraTag* camera, uint64_t* offset, uint32_t* size,
                          char* file) override;
    void SetFrameItem(int32_t frame, const FrameInfo& item) override;
    uint64_t GetFramePeriod() override { return DefaultFramePeriod; }
    bool GetFrameIndexFlag() override { return frameIndexFlag != 0; }
    void GetCameras(uint8_t* mask) override;
    int32_t GetWaitObjectCount() override { return 0; }
    WaitObject GetWaitObject(int32_t) override { return nullptr; }
    void Abort() override { aborted = true; }
    bool GetTrackInfo(int32_t track, char* name, FrameTimes* first, FrameTimes* last, int32_t* frames,
                      bool* hasAudio) override;
    int32_t GetAudioFrameBytes() override { return audioFrameBytes; }
    int32_t GetAudioSamplesPerSecond() override { return audioSamplesPerSecond; }
    int32_t GetAudioChannels() override { return audioChannels; }
    int32_t GetAudioBitsPerSample() override { return audioBitsPerSample; }
    int32_t GetAudioFrameAtOrBefore(int32_t, int32_t) override { return -1; }
    int32_t GetPreviousAudioFrame(int32_t, int32_t) override { return -1; }
    int32_t GetNextAudioFrame(int32_t, int32_t) override { return -1; }
    void GetListPath(char* directory, char* pattern, int32_t* depth) override;
    DecoderAction FileListComplete(bool ok, int32_t length, const char* list) override;
    // Without a literal pattern: "<n:c0>.<extension>" for extension `index`, in one buffer shared by
    // all decoders that the next call overwrites.
    const char* GetPathPattern(int32_t index) override;
    int32_t IndexOfAudioFrameAtStreamTime(int64_t streamTime) override;
    bool GetAudio(int32_t, uint8_t*) override { return false; }

    // The phase starts and accessors the client calls; format decoders do not override them.
    DecoderAction Query(const char* path, int32_t flags) final;
    DecoderAction Load(const char* path, int32_t flags) final;
    DecoderAction GoToAudioFrame(int32_t frame) final;
    DecoderAction Decompress() final;
    DecoderAction DecompressAudio() final;
    void GetAudioFrameInfo(FrameTimes* times, CameraTag* camera, int32_t* totalAudioFrames) final;
    int32_t GetTotalAudioFrames() final { return totalAudioFrames; }
    int32_t GetTotalTracks() final { return totalTracks; }
    bool GetHasVideo() final { return hasVideo; }
    void GetFirstFrameTimes(FrameTimes* times) final { *times = firstFrameTimes; }
    void GetLastFrameTimes(FrameTimes* times) final { *times = lastFrameTimes; }
    // Ignored outside 0 <= track < totalTracks. Otherwise forgets the current frames and lets
    // totalFrames count the frames of the selected track.
    void SelectTrack(int32_t track) final;
    void SetAbortCallback(CoreAbortCallback callback) final { abortCallback = callback; }
    void SetProgressCallback(CoreProgressCallback callback) final { progressCallback = callback; }
    void SetLogCallback(CoreLogCallback callback) final { logCallback = callback; }

    // The decoder table's description of this decoder type.
    bool GetMultiFileFlag() const { return multiFileFlag != 0; }
    bool GetInfoFlagA() const { return infoFlagA != 0; }
    bool GetInfoFlagB() const { return infoFlagB != 0; }
    bool GetInfoFlagC() const { return infoFlagC != 0; }
    bool GetInfoFlagD() const { return infoFlagD != 0; }
    bool GetInfoFlagE() const { return infoFlagE != 0; }
    // filePatternCount; while it is unset (-1) and the decoder is not a multi-file one, it is filled
    // from the count of GetExtensions.
    int32_t GetFilePatternCount();
    DecoderState GetState() const { return state; }
    DecoderState GetStateBeforeFailure() const { return stateBeforeFailure; }
    const char* GetLoadName() const { return loadName; }

    // Helpers of the format decoders and of the objects they delegate their steps to.

    // The one way to report a failed step. In a positioning or decompressing phase the frame fails
    // and the decoder stays loaded; otherwise the decoder goes through FailingCore (which may ask
    // for closes or events first) back to DDS_IDLE.
    DecoderAction DecoderFailure();
    // Polls the abort callback when there is one; a request stays latched until the next phase
    // start or failure.
    bool IsAborted();
    void SetImageFormat(int32_t width, int32_t height, int32_t aspectX, int32_t aspectY, bool isColour,
                        int32_t frames);
    // A streamTime of zero takes the record's recordedTime.
    void SetTimeSpan(const FrameTimes& first, const FrameTimes& last);
    // Each value serves as recordedTime and streamTime.
    void SetTimeSpan(int64_t first, int64_t last);
    void ReportProgress(double fraction);
    // Formats into a 4096-character buffer and hands the text to the log callback, if any.
    void Log(int32_t severity, const char* format, ...) __attribute__((format(printf, 3, 4)));
    void LogV(int32_t severity, const char* format, va_list arguments) __attribute__((format(printf, 3, 0)));
    // ComputeFrameTime and the tick conversions (TicksFromSystemTime, TicksFromUnixSeconds,
    // TicksFromUnixMilliseconds, SystemTimeFromTicks) are the free functions of core/time/Ticks.h.

    static constexpr uint64_t DefaultFramePeriod = 200000;
    static constexpr int32_t LogBufferSize = 4096;

protected:
    virtual FrameTimes GetFrameTimes();
    virtual FrameTimes GetAudioFrameTimes();
    virtual void GetFrameCamera(CameraTag* camera);
    virtual void GetAudioFrameCamera(CameraTag* camera);

    // Querying. The default core is an extension test that opens nothing.
    virtual DecoderAction QueryingCore();
    virtual void QueryingGetOpenName(char* name);
    virtual DecoderAction QueryingOpenComplete(int32_t fileId, uint64_t fileSize);
    virtual void QueryingGetListPath(char* directory, char* pattern, int32_t* depth);
    virtual DecoderAction QueryingFileListComplete(bool ok, FileList& fileList);
    virtual void QueryingGetFileToClose(int32_t* fileId);
    virtual DecoderAction QueryingCloseComplete(int32_t fileId);
    virtual void QueryingGetReadParameters(int32_t* fileId, uint64_t* offset, uint32_t* size,
                                           uint8_t** buffer);
    virtual DecoderAction QueryingReadComplete(int32_t fileId, bool ok);
    virtual DecoderAction QueryingEventComplete(WaitObject signalled);

    // Loading. A load must end in a completion operation: DDA_COMPLETE straight from the core
    // returns the decoder to DDS_IDLE, not DDS_LOADED.
    virtual DecoderAction LoadingCore() = 0;
    virtual void LoadingGetOpenName(char* name);
    virtual DecoderAction LoadingOpenComplete(int32_t fileId, uint64_t fileSize);
    virtual void LoadingGetListPath(char* directory, char* pattern, int32_t* depth);
    virtual DecoderAction LoadingFileListComplete(bool ok, FileList& fileList);
    virtual void LoadingGetFileToClose(int32_t* fileId);
    virtual DecoderAction LoadingCloseComplete(int32_t fileId);
    virtual void LoadingGetReadParameters(int32_t* fileId, uint64_t* offset, uint32_t* size,
                                          uint8_t** buffer);
    virtual DecoderAction LoadingReadComplete(int32_t fileId, bool ok);
    virtual DecoderAction LoadingEventComplete(WaitObject signalled);

    // Positioning: makes the current frame's times and camera available.
    virtual DecoderAction PositioningCore() = 0;
    virtual void PositioningGetOpenName(char* name);
    virtual DecoderAction PositioningOpenComplete(int32_t fileId, uint64_t fileSize);
    virtual void PositioningGetFileToClose(int32_t* fileId);
    virtual DecoderAction PositioningCloseComplete(int32_t fileId);
    virtual void PositioningGetReadParameters(int32_t* fileId, uint64_t* offset, uint32_t* size,
                                              uint8_t** buffer);
    virtual DecoderAction PositioningReadComplete(int32_t fileId, bool ok);
    virtual DecoderAction PositioningEventComplete(WaitObject signalled);

    virtual DecoderAction PositioningAudioCore();
    virtual void PositioningAudioGetOpenName(char* name);
    virtual DecoderAction PositioningAudioOpenComplete(int32_t fileId, uint64_t fileSize);
    virtual void PositioningAudioGetFileToClose(int32_t* fileId);
    virtual DecoderAction PositioningAudioCloseComplete(int32_t fileId);
    virtual void PositioningAudioGetReadParameters(int32_t* fileId, uint64_t* offset, uint32_t* size,
                                                   uint8_t** buffer);
    virtual DecoderAction PositioningAudioReadComplete(int32_t fileId, bool ok);
    virtual DecoderAction PositioningAudioEventComplete(WaitObject signalled);

    // Decompressing: reads the compressed bytes of the current frame for GetImage.
    virtual DecoderAction DecompressingCore() = 0;
    virtual void DecompressingGetOpenName(char* name);
    virtual DecoderAction DecompressingOpenComplete(int32_t fileId, uint64_t fileSize);
    virtual void DecompressingGetFileToClose(int32_t* fileId);
    virtual DecoderAction DecompressingCloseComplete(int32_t fileId);
    virtual void DecompressingGetReadParameters(int32_t* fileId, uint64_t* offset, uint32_t* size,
                                                uint8_t** buffer);
    virtual DecoderAction DecompressingReadComplete(int32_t fileId, bool ok);
    virtual DecoderAction DecompressingEventComplete(WaitObject signalled);

    virtual DecoderAction DecompressingAudioCore();
    virtual void DecompressingAudioGetOpenName(char* name);
    virtual DecoderAction DecompressingAudioOpenComplete(int32_t fileId, uint64_t fileSize);
    virtual void DecompressingAudioGetFileToClose(int32_t* fileId);
    virtual DecoderAction DecompressingAudioCloseComplete(int32_t fileId);
    virtual void DecompressingAudioGetReadParameters(int32_t* fileId, uint64_t* offset, uint32_t* size,
                                                     uint8_t** buffer);
    virtual DecoderAction DecompressingAudioReadComplete(int32_t fileId, bool ok);
    virtual DecoderAction DecompressingAudioEventComplete(WaitObject signalled);

    virtual DecoderAction UnloadingCore() = 0;
    virtual void UnloadingGetFileToClose(int32_t* fileId);
    virtual DecoderAction UnloadingCloseComplete(int32_t fileId);
    virtual DecoderAction UnloadingEventComplete(WaitObject signalled);

    // Failing: as a rule the same as unloading, closing what is still open.
    virtual DecoderAction FailingCore();
    virtual void FailingGetFileToClose(int32_t* fileId);
    virtual DecoderAction FailingCloseComplete(int32_t fileId);
    virtual DecoderAction FailingEventComplete(WaitObject signalled);

    int32_t queryConfidence = 0;
    uint8_t randomAccessFlag = 0;
    uint8_t multiFileFlag = 0;
    uint8_t frameAccurateFlag = 0;
    uint8_t frameIndexFlag = 0;
    uint8_t infoFlagA = 0;
    uint8_t infoFlagB = 1;
    uint8_t infoFlagC = 0;
    uint8_t infoFlagD = 0;
    uint8_t infoFlagE = 1;
    int32_t imageWidth = 0;
    int32_t imageHeight = 0;
    int32_t aspectX = 4;
    int32_t aspectY = 3;
    bool colour = true;
    bool hasVideo = true;
    bool hasAudio = false;
    int32_t audioFrameBytes = 0;
    int32_t audioSamplesPerSecond = 0;
    int32_t audioChannels = 0;
    int32_t audioBitsPerSample = 0;
    int32_t filePatternCount = -1;
    char loadName[MaxPathLength] = {};
    int32_t loadFlags = -1;
    int32_t totalFrames = 0;
    int32_t totalAudioFrames = 0;
    int32_t totalTracks = 0;
    int32_t currentTrack = 0;
    int32_t currentFrame = -1;
    int32_t currentAudioFrame = -1;
    // Set by Abort, possibly from another thread.
    std::atomic<bool> aborted = false;
    CoreAbortCallback abortCallback = nullptr;
    DecoderState state = DDS_IDLE;
    DecoderState stateBeforeFailure = DDS_IDLE;
    CoreProgressCallback progressCallback = nullptr;
    CoreLogCallback logCallback = nullptr;
    FrameTimes firstFrameTimes = {};
    FrameTimes lastFrameTimes = {};
    // Free for a query's own use; cleared when a query starts.
    int32_t queryScratch = 0;

private:
    DecoderAction StartPhase(const char* path, int32_t flags, DecoderState phase, const char* operation);
    DecoderAction RunFramePhase(DecoderState phase);
    DecoderAction AfterQueryingStep(DecoderAction action);
    DecoderAction AfterLoadingStep(DecoderAction action, const char* abortText);
    DecoderAction AfterFrameStep(DecoderAction action, bool failureEndsPhase);
    DecoderAction AfterUnloadingStep(DecoderAction action);
    DecoderAction CompletionInOtherState(const char* operation);
    void ForgetLoad();

    void LogRefusal(const char* operation);
    DecoderAction Refuse(const char* operation);
    void RefuseName(const char* operation, char* name);
    void RefuseFileToClose(const char* operation, int32_t* fileId);
    void RefuseReadParameters(const char* operation, int32_t* fileId, uint64_t* offset, uint32_t* size,
                              uint8_t** buffer);
    void RefuseListPath(const char* operation, char* directory, char* pattern, int32_t* depth);
};

// Name of a state as the log texts write it ("DDS_LOADING"); null for an unknown value.
const char* DecoderStateName(DecoderState state);

} // namespace Vorn::Vorncast::Decoders
