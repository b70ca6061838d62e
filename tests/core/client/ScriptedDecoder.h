#pragma once

#include "core/decoder/WaitEvent.h"
#include "fixtures/decoders/SingleReadDecoder.h"

#include <cstdint>
#include <string>
#include <vector>

namespace ClientTests {

using namespace Vorn::Vorncast::Decoders;

// File id of a step that means "the file this decoder opened last".
constexpr int32_t LastOpened = -100;

// One step of a scripted phase: the action the decoder answers and its parameters.
struct Step {
    int32_t action; // a DecoderAction, or any other value to see how the client takes it
    std::string path = {};
    int32_t fileId = LastOpened;
    int64_t offset = 0;
    uint32_t size = 0;
    bool nullBuffer = false;
    std::string directory = {};
    std::string pattern = {};
    int32_t depth = 0;

    static Step Open(std::string path) { return Step{DDA_OPEN, std::move(path)}; }
    static Step Close(int32_t fileId = LastOpened) { return Step{DDA_CLOSE, {}, fileId}; }
    static Step Read(int64_t offset, uint32_t size, int32_t fileId = LastOpened) {
        return Step{DDA_READ, {}, fileId, offset, size};
    }
    static Step List(std::string directory, std::string pattern, int32_t depth) {
        return Step{DDA_LIST_FILES,     {},   LastOpened, 0, 0, false, std::move(directory),
                    std::move(pattern), depth};
    }
    static Step Wait() { return Step{DDA_WAIT_EVENT}; }
    // Reported through DecoderFailure when it follows a completion.
    static Step Fail() { return Step{DDA_FAILED}; }
    static Step Raw(int32_t action) { return Step{action}; }
};

// What the client called back, in order.
struct CallRecord {
    enum Kind { Open, Close, Read, Event, List } kind;
    int32_t fileId = 0;
    uint64_t size = 0;
    bool ok = false;
    std::string list = {};
    WaitObject signalled = nullptr;
};

// A decoder of the tests: each phase follows a script of steps, and it records every completion.
// After a load it has `framesAfterLoad` frames of `frameSize` bytes each in the file it opened
// last; a frame's picture is the bytes read for it.
class ScriptedDecoder : public Testing::SingleReadDecoder {
public:
    static constexpr const char* DefaultGuid = "0DDBA11C-0FFE-4EE5-8BAD-F00DCAFE0001";

    explicit ScriptedDecoder(const char* guid = DefaultGuid) : guid(guid) {}

    std::vector<Step> queryScript; // empty: the default extension test
    std::vector<Step> loadScript;
    std::vector<Step> positionScript;
    std::vector<Step> decompressScript; // empty: read the current frame from the data file
    bool closeFilesOnFailure = true;
    bool closeFilesOnUnload = true;
    int32_t framesAfterLoad = 0;
    int32_t audioFramesAfterLoad = 0;
    uint32_t frameSize = 0;
    std::vector<uint16_t> cameras;      // by frame; camera 0 for frames beyond
    std::vector<int64_t> recordedTimes; // by frame; FrameTime(frame) beyond
    bool imageFails = false;
    WaitEvent* waitObject = nullptr;

    std::vector<CallRecord> completions;
    std::vector<int32_t> openFiles;
    using SingleReadDecoder::readBuffer;
    int positioningCalls = 0;
    int decompressCalls = 0;
    int audioDecompressCalls = 0;

    static int64_t FrameTime(int32_t frame) { return 630000000000000000 + int64_t{frame} * 400000; }
    void SetLoadedFormat(int32_t width, int32_t height, bool isColour) {
        loadedWidth = width;
        loadedHeight = height;
        loadedColour = isColour;
    }
    void SetAudio(int32_t frameBytes, int32_t rate, int32_t channels, int32_t bits) {
        audioFrameBytes = frameBytes;
        audioSamplesPerSecond = rate;
        audioChannels = channels;
        audioBitsPerSample = bits;
        hasAudio = true;
    }
    using BaseDecoder::state;

    bool GetImage(int32_t bufferSize, uint8_t* buffer) override;
    bool GetAudio(int32_t size, uint8_t* buffer) override;
    int32_t GetFrameAtOrBefore(int32_t frame, int32_t filter) override {
        return GetPreviousFrame(frame + 1, filter);
    }
    int32_t GetPreviousFrame(int32_t frame, int32_t filter) override;
    int32_t GetNextFrame(int32_t frame, int32_t filter) override;
    void Reset() override {}
    const char* GetDecoderName() override { return "ScriptedDecoder"; }
    void GetDecoderGuid(const char** text) override { *text = guid; }
    const char* GetExtensions(int32_t* count) override {
        *count = 1;
        return "tst";
    }
    bool IsExtension(const char* extension) override;
    int32_t GetWaitObjectCount() override { return waitObject != nullptr ? 1 : 0; }
    WaitObject GetWaitObject(int32_t index) override { return index == 0 ? waitObject : nullptr; }
    uint64_t GetFramePeriod() override { return 400000; }

protected:
    FrameTimes GetFrameTimes() override;
    FrameTimes GetAudioFrameTimes() override;
    // The read of the current step, into a buffer filled with 0xA5.
    void ReadParameters(int32_t* fileId, uint64_t* offset, uint32_t* size, uint8_t** buffer) override;
    void GetFrameCamera(CameraTag* camera) override;
    void GetAudioFrameCamera(CameraTag* camera) override;

    DecoderAction QueryingCore() override;
    void QueryingGetOpenName(char* name) override { StepOpenName(name); }
    DecoderAction QueryingOpenComplete(int32_t fileId, uint64_t size) override {
        return OnOpen(fileId, size);
    }
    void QueryingGetFileToClose(int32_t* fileId) override { StepFileToClose(fileId); }
    DecoderAction QueryingCloseComplete(int32_t fileId) override { return OnClose(fileId); }
    DecoderAction QueryingReadComplete(int32_t fileId, bool ok) override { return OnRead(fileId, ok); }

    DecoderAction LoadingCore() override { return Start(loadScript); }
    void LoadingGetOpenName(char* name) override { StepOpenName(name); }
    DecoderAction LoadingOpenComplete(int32_t fileId, uint64_t size) override { return OnOpen(fileId, size); }
    void LoadingGetListPath(char* directory, char* pattern, int32_t* depth) override;
    DecoderAction LoadingFileListComplete(bool ok, FileList& fileList) override;
    void LoadingGetFileToClose(int32_t* fileId) override { StepFileToClose(fileId); }
    DecoderAction LoadingCloseComplete(int32_t fileId) override { return OnClose(fileId); }
    DecoderAction LoadingReadComplete(int32_t fileId, bool ok) override { return OnRead(fileId, ok); }
    DecoderAction LoadingEventComplete(WaitObject signalled) override;

    DecoderAction PositioningCore() override;
    void PositioningGetOpenName(char* name) override { StepOpenName(name); }
    DecoderAction PositioningOpenComplete(int32_t fileId, uint64_t size) override {
        return OnOpen(fileId, size);
    }
    DecoderAction PositioningReadComplete(int32_t fileId, bool ok) override { return OnRead(fileId, ok); }

    DecoderAction DecompressingCore() override;
    DecoderAction DecompressingReadComplete(int32_t fileId, bool ok) override;

    DecoderAction DecompressingAudioCore() override;
    DecoderAction DecompressingAudioReadComplete(int32_t fileId, bool ok) override;

    DecoderAction UnloadingCore() override;
    void UnloadingGetFileToClose(int32_t* fileId) override { *fileId = openFiles.back(); }
    DecoderAction UnloadingCloseComplete(int32_t fileId) override;

    DecoderAction FailingCore() override;
    void FailingGetFileToClose(int32_t* fileId) override { *fileId = openFiles.back(); }
    DecoderAction FailingCloseComplete(int32_t fileId) override;

private:
    DecoderAction Start(const std::vector<Step>& script);
    DecoderAction Next();
    const Step& Current() const { return (*script)[stepIndex]; }
    int32_t ResolveFile(int32_t fileId) const { return fileId == LastOpened ? lastOpened : fileId; }
    void Forget(int32_t fileId);

    void StepOpenName(char* name);
    void StepFileToClose(int32_t* fileId);
    DecoderAction OnOpen(int32_t fileId, uint64_t size);
    DecoderAction OnClose(int32_t fileId);
    DecoderAction OnRead(int32_t fileId, bool ok);

    const char* guid;
    const std::vector<Step>* script = nullptr;
    std::vector<Step> frameScript;
    size_t stepIndex = 0;
    int32_t lastOpened = -1;
    int32_t dataFile = -1;
    bool pictureRead = false;
    int32_t loadedWidth = 0;
    int32_t loadedHeight = 0;
    bool loadedColour = true;
};

} // namespace ClientTests
