#pragma once

#include "core/decoder/BaseDecoder.h"
#include "core/decoder/WaitEvent.h"

#include <strings.h>

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <functional>
#include <map>
#include <string>
#include <vector>

namespace Vorn::Vorncast::Decoders::Testing {

// Collects what decoders log. The core's log callback has no context, so one log is current.
class LogCapture {
public:
    LogCapture() { current = this; }
    ~LogCapture() { current = nullptr; }
    static void Callback(int32_t, const char* text) {
        if (current != nullptr) {
            current->lines.push_back(text);
        }
    }
    bool Has(const std::string& text) const {
        return std::find(lines.begin(), lines.end(), text) != lines.end();
    }
    std::vector<std::string> Take() {
        std::vector<std::string> taken;
        taken.swap(lines);
        return taken;
    }

    std::vector<std::string> lines;

private:
    static inline LogCapture* current = nullptr;
};

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

    static Step Open(std::string path) { return Step{DDA_OPEN, std::move(path)}; }
    static Step Close(int32_t fileId = LastOpened) { return Step{DDA_CLOSE, {}, fileId}; }
    static Step Read(int64_t offset, uint32_t size, int32_t fileId = LastOpened) {
        return Step{DDA_READ, {}, fileId, offset, size};
    }
    static Step Wait() { return Step{DDA_WAIT_EVENT}; }
    // Reported through DecoderFailure when it follows a completion.
    static Step Fail() { return Step{DDA_FAILED}; }
    static Step Raw(int32_t action) { return Step{action}; }
};

struct CallRecord {
    enum Kind { Open, Close, Read, Event, List } kind;
    int32_t fileId = 0;
    uint64_t size = 0;
    bool ok = false;
    WaitObject signalled = nullptr;
};

// The tests' decoder of every phase. Each operation is recorded by name ("LoadingOpenComplete") and
// answers what the test scripted for that name. Without one, a phase follows its script of steps:
// a load's steps end with `framesAfterLoad` frames of `frameSize` bytes in the file opened last,
// and a frame's picture is the bytes read for it. Without a script the steps answer `defaultReply`.
class ScriptedDecoder : public BaseDecoder {
public:
    using Reply = std::function<DecoderAction()>;

    static constexpr const char* DefaultGuid = "0DDBA11C-0FFE-4EE5-8BAD-F00DCAFE0001";
    static constexpr int32_t CloseId = 7;

    ScriptedDecoder() { SetLogCallback(&LogCapture::Callback); }

    void Script(const std::string& operation, DecoderAction action) {
        replies[operation] = [action] { return action; };
    }
    void Script(const std::string& operation, Reply reply) { replies[operation] = std::move(reply); }

    // Frame searches are the format decoders' business; none of the client's cases needs one.
    int32_t GetFrameAtOrBefore(int32_t, int32_t) override { return -1; }
    int32_t GetPreviousFrame(int32_t, int32_t) override { return -1; }
    int32_t GetNextFrame(int32_t, int32_t) override { return -1; }
    void Reset() override { Record("Reset"); }
    const char* GetDecoderName() override { return "Scripted"; }
    void GetDecoderGuid(const char** text) override { *text = DefaultGuid; }
    const char* GetExtensions(int32_t* count) override {
        *count = 1;
        return "tst";
    }
    bool IsExtension(const char* extension) override { return strcasecmp(extension, "tst") == 0; }

    using BaseDecoder::aborted;
    using BaseDecoder::currentAudioFrame;
    using BaseDecoder::currentFrame;
    using BaseDecoder::loadName;
    using BaseDecoder::queryConfidence;
    using BaseDecoder::state;
    using BaseDecoder::stateBeforeFailure;
    using BaseDecoder::totalFrames;
    using BaseDecoder::totalTracks;

    std::vector<std::string> calls;
    // What a core or step answers when the test scripted nothing for it.
    DecoderAction defaultReply = DDA_COMPLETE;

    std::vector<Step> loadScript;
    std::vector<Step> positionScript;
    bool closeFilesOnFailure = true;
    bool closeFilesOnUnload = true;
    int32_t framesAfterLoad = 0;
    uint32_t frameSize = 0;
    std::vector<uint16_t> cameras;      // by frame; camera 0 for frames beyond
    std::vector<int64_t> recordedTimes; // by frame; FrameTime(frame) beyond
    bool imageFails = false;
    WaitEvent* waitObject = nullptr;

    std::vector<CallRecord> completions;
    std::vector<int32_t> openFiles;
    std::vector<uint8_t> readBuffer;
    int positioningCalls = 0;
    int decompressCalls = 0;

    static int64_t FrameTime(int32_t frame) { return 630000000000000000 + int64_t{frame} * 400000; }

    bool GetImage(int32_t bufferSize, uint8_t* buffer) override {
        if (!pictureRead || imageFails) {
            return false;
        }
        std::memcpy(buffer, readBuffer.data(), std::min<size_t>(static_cast<size_t>(bufferSize), frameSize));
        return true;
    }
    int32_t GetWaitObjectCount() override { return waitObject != nullptr ? 1 : 0; }
    WaitObject GetWaitObject(int32_t index) override { return index == 0 ? waitObject : nullptr; }
    uint64_t GetFramePeriod() override { return 400000; }

protected:
    FrameTimes GetFrameTimes() override {
        FrameTimes times = {};
        size_t frame = static_cast<size_t>(currentFrame);
        times.recordedTime = frame < recordedTimes.size() ? recordedTimes[frame] : FrameTime(currentFrame);
        times.streamTime = FrameTime(currentFrame);
        return times;
    }
    void GetFrameCamera(CameraTag* camera) override {
        std::memset(camera, 0, sizeof(*camera));
        size_t frame = static_cast<size_t>(currentFrame);
        camera->number = frame < cameras.size() ? cameras[frame] : 0;
    }

    void OpenName(const char* phase, char* name) {
        Record(std::string(phase) + "GetOpenName");
        std::memset(name, 0, MaxPathLength);
        std::snprintf(name, MaxPathLength, "%s", Scripted() ? Current().path.c_str() : "");
    }
    void FileToClose(const char* phase, int32_t* fileId) {
        Record(std::string(phase) + "GetFileToClose");
        if (Scripted() && Current().action == DDA_CLOSE) {
            *fileId = ResolveFile(Current().fileId);
        } else {
            *fileId = openFiles.empty() ? CloseId : openFiles.back();
        }
    }
    void ReadParameters(const char* phase, int32_t* fileId, uint64_t* offset, uint32_t* size,
                        uint8_t** buffer) {
        Record(std::string(phase) + "GetReadParameters");
        if (!Scripted()) {
            *size = 0;
            return;
        }
        const Step& step = Current();
        readBuffer.assign(std::max<size_t>(step.size, 1), 0xA5);
        *fileId = ResolveFile(step.fileId);
        *offset = static_cast<uint64_t>(step.offset);
        *size = step.size;
        *buffer = step.nullBuffer ? nullptr : readBuffer.data();
    }
    DecoderAction Completed(const std::string& operation, CallRecord record) {
        if (HasReply(operation) || script == nullptr) {
            return Answer(operation);
        }
        Record(operation);
        completions.push_back(record);
        if (record.kind == CallRecord::Open && record.fileId != -1) {
            openFiles.push_back(record.fileId);
            lastOpened = record.fileId;
        }
        if (record.kind != CallRecord::Close) {
            return Next();
        }
        Forget(record.fileId);
        if (state == DDS_UNLOADING) {
            return openFiles.empty() ? DDA_COMPLETE : DDA_CLOSE;
        }
        return state == DDS_FAILING ? DecoderFailure() : Next();
    }
    DecoderAction PictureRead(const char* phase, int32_t fileId, bool ok) {
        const std::string operation = std::string(phase) + "ReadComplete";
        if (HasReply(operation) || script == nullptr) {
            return Answer(operation);
        }
        pictureRead = ok;
        DecoderAction next = Completed(operation, {CallRecord::Read, fileId, 0, ok});
        return ok ? next : DecoderFailure();
    }
    DecoderAction Core(const char* name, const std::vector<Step>& steps) {
        if (HasReply(name) || steps.empty()) {
            return Answer(name);
        }
        Record(name);
        return Start(steps);
    }

// The steps every phase has: close and event; phases that read add open and read; loading and
// querying add the file list.
#define SCRIPTED_CLOSE_STEPS(Phase)                                                                          \
    void Phase##GetFileToClose(int32_t* id) override {                                                       \
        FileToClose(#Phase, id);                                                                             \
    }                                                                                                        \
    DecoderAction Phase##CloseComplete(int32_t id) override {                                                \
        return Completed(#Phase "CloseComplete", {CallRecord::Close, id});                                   \
    }                                                                                                        \
    DecoderAction Phase##EventComplete(WaitObject signalled) override {                                      \
        return Completed(#Phase "EventComplete", {CallRecord::Event, 0, 0, false, signalled});               \
    }
#define SCRIPTED_OPEN_STEPS(Phase)                                                                           \
    SCRIPTED_CLOSE_STEPS(Phase)                                                                              \
    void Phase##GetOpenName(char* name) override {                                                           \
        OpenName(#Phase, name);                                                                              \
    }                                                                                                        \
    DecoderAction Phase##OpenComplete(int32_t id, uint64_t size) override {                                  \
        return Completed(#Phase "OpenComplete", {CallRecord::Open, id, size});                               \
    }                                                                                                        \
    void Phase##GetReadParameters(int32_t* id, uint64_t* o, uint32_t* s, uint8_t** b) override {             \
        ReadParameters(#Phase, id, o, s, b);                                                                 \
    }
#define SCRIPTED_READ_STEPS(Phase)                                                                           \
    SCRIPTED_OPEN_STEPS(Phase)                                                                               \
    DecoderAction Phase##ReadComplete(int32_t id, bool ok) override {                                        \
        return Completed(#Phase "ReadComplete", {CallRecord::Read, id, 0, ok});                              \
    }
#define SCRIPTED_LIST_STEPS(Phase)                                                                           \
    SCRIPTED_READ_STEPS(Phase)                                                                               \
    DecoderAction Phase##FileListComplete(bool ok, FileList&) override {                                     \
        return Completed(#Phase "FileListComplete", {CallRecord::List, 0, 0, ok});                           \
    }

    DecoderAction QueryingCore() override {
        return HasReply("QueryingCore") ? Answer("QueryingCore") : BaseDecoder::QueryingCore();
    }
    DecoderAction LoadingCore() override {
        return Core("LoadingCore", loadScript);
    }
    DecoderAction PositioningCore() override {
        ++positioningCalls;
        return Core("PositioningCore", positionScript);
    }
    DecoderAction PositioningAudioCore() override {
        return Answer("PositioningAudioCore");
    }
    DecoderAction DecompressingCore() override {
        ++decompressCalls;
        pictureRead = false;
        if (HasReply("DecompressingCore") || dataFile < 0) {
            return Answer("DecompressingCore");
        }
        frameScript = {Step::Read(int64_t{currentFrame} * frameSize, frameSize, dataFile)};
        return Core("DecompressingCore", frameScript);
    }
    DecoderAction DecompressingAudioCore() override {
        return Answer("DecompressingAudioCore");
    }
    DecoderAction UnloadingCore() override {
        if (!HasReply("UnloadingCore") && closeFilesOnUnload && !openFiles.empty()) {
            Record("UnloadingCore");
            return DDA_CLOSE;
        }
        return Answer("UnloadingCore");
    }
    DecoderAction FailingCore() override {
        Record("FailingCore");
        return closeFilesOnFailure && !openFiles.empty() ? DDA_CLOSE : DDA_NO_ACTION;
    }
    SCRIPTED_LIST_STEPS(Querying)
    SCRIPTED_LIST_STEPS(Loading)
    SCRIPTED_READ_STEPS(Positioning)
    SCRIPTED_READ_STEPS(PositioningAudio)
    SCRIPTED_OPEN_STEPS(Decompressing)
    SCRIPTED_OPEN_STEPS(DecompressingAudio)
    DecoderAction DecompressingReadComplete(int32_t id, bool ok) override {
        return PictureRead("Decompressing", id, ok);
    }
    DecoderAction DecompressingAudioReadComplete(int32_t id, bool ok) override {
        return PictureRead("DecompressingAudio", id, ok);
    }
    SCRIPTED_CLOSE_STEPS(Unloading)
    SCRIPTED_CLOSE_STEPS(Failing)
#undef SCRIPTED_LIST_STEPS
#undef SCRIPTED_READ_STEPS
#undef SCRIPTED_OPEN_STEPS
#undef SCRIPTED_CLOSE_STEPS

    bool HasReply(const std::string& operation) const {
        return replies.count(operation) != 0;
    }
    DecoderAction Answer(const std::string& operation) {
        Record(operation);
        auto reply = replies.find(operation);
        return reply != replies.end() ? reply->second() : defaultReply;
    }
    void Record(const std::string& operation) {
        calls.push_back(operation);
    }

private:
    DecoderAction Start(const std::vector<Step>& steps) {
        script = &steps;
        stepIndex = 0;
        return steps.empty() ? DDA_COMPLETE : static_cast<DecoderAction>(steps[0].action);
    }
    DecoderAction Next() {
        ++stepIndex;
        if (stepIndex >= script->size()) {
            if (state == DDS_LOADING) {
                dataFile = lastOpened;
                SetImageFormat(0, 0, 4, 3, true, framesAfterLoad);
                FrameTimes first = {}, last = {};
                first.recordedTime = FrameTime(0);
                last.recordedTime = FrameTime(std::max(framesAfterLoad - 1, 0));
                SetTimeSpan(first, last);
            }
            return DDA_COMPLETE;
        }
        return Current().action == DDA_FAILED ? DecoderFailure()
                                              : static_cast<DecoderAction>(Current().action);
    }
    bool Scripted() const {
        return script != nullptr && stepIndex < script->size();
    }
    const Step& Current() const {
        return (*script)[stepIndex];
    }
    int32_t ResolveFile(int32_t fileId) const {
        return fileId == LastOpened ? lastOpened : fileId;
    }
    void Forget(int32_t fileId) {
        auto found = std::find(openFiles.begin(), openFiles.end(), fileId);
        if (found != openFiles.end()) {
            openFiles.erase(found);
        }
    }

    std::map<std::string, Reply> replies;
    const std::vector<Step>* script = nullptr;
    std::vector<Step> frameScript;
    size_t stepIndex = 0;
    int32_t lastOpened = -1;
    int32_t dataFile = -1;
    bool pictureRead = false;
};

inline void LoadThroughOneOpen(ScriptedDecoder& decoder, int32_t frames = 5) {
    decoder.Script("LoadingCore", DDA_OPEN);
    decoder.Load("/recordings/a.vid", -1);
    decoder.totalFrames = frames;
    decoder.OpenComplete(0, 100);
}

} // namespace Vorn::Vorncast::Decoders::Testing
