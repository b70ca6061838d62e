#pragma once

#include "core/decoder/BaseDecoder.h"

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
    std::vector<std::string> Take() {
        std::vector<std::string> taken;
        taken.swap(lines);
        return taken;
    }

    std::vector<std::string> lines;

private:
    static inline LogCapture* current = nullptr;
};

// A decoder that overrides only what every format decoder must supply; the phase operations it
// does not override are BaseDecoder's own. Each core answers what the test scripted for it
// (DDA_COMPLETE unless told), and every call is recorded by name.
class MinimalDecoder : public BaseDecoder {
public:
    using Reply = std::function<DecoderAction()>;

    static constexpr const char* Name = "Scripted";

    MinimalDecoder() { SetLogCallback(&LogCapture::Callback); }

    void Script(const std::string& operation, DecoderAction action) {
        replies[operation] = [action] { return action; };
    }
    void Script(const std::string& operation, Reply reply) { replies[operation] = std::move(reply); }
    // The step reports its failure the one proper way.
    void ScriptFailure(const std::string& operation) {
        replies[operation] = [this] { return DecoderFailure(); };
    }
    bool WasCalled(const std::string& operation) const {
        for (const std::string& call : calls) {
            if (call == operation) {
                return true;
            }
        }
        return false;
    }

    bool GetImage(int32_t, uint8_t*) override { return false; }
    int32_t GetFrameAtOrBefore(int32_t frame, int32_t filter) override {
        return GetPreviousFrame(frame + 1, filter);
    }
    int32_t GetPreviousFrame(int32_t frame, int32_t) override { return frame > 0 ? frame - 1 : -1; }
    int32_t GetNextFrame(int32_t frame, int32_t) override { return frame + 1 < totalFrames ? frame + 1 : -1; }
    void Reset() override { Record("Reset"); }
    const char* GetDecoderName() override { return Name; }
    void GetDecoderGuid(const char** guid) override { *guid = "00000000-0000-0000-0000-000000000001"; }
    const char* GetExtensions(int32_t* count) override {
        *count = extensionCount;
        return extensions;
    }
    bool IsExtension(const char* extension) override {
        askedExtension = extension;
        return strcasecmp(extension, "vid") == 0;
    }

    // The fields a test sets up or checks.
    using BaseDecoder::abortCallback;
    using BaseDecoder::aborted;
    using BaseDecoder::currentAudioFrame;
    using BaseDecoder::currentFrame;
    using BaseDecoder::currentTrack;
    using BaseDecoder::filePatternCount;
    using BaseDecoder::firstFrameTimes;
    using BaseDecoder::lastFrameTimes;
    using BaseDecoder::loadFlags;
    using BaseDecoder::loadName;
    using BaseDecoder::multiFileFlag;
    using BaseDecoder::queryConfidence;
    using BaseDecoder::queryScratch;
    using BaseDecoder::state;
    using BaseDecoder::stateBeforeFailure;
    using BaseDecoder::totalAudioFrames;
    using BaseDecoder::totalFrames;
    using BaseDecoder::totalTracks;

    std::vector<std::string> calls;
    const char* extensions = "vid";
    int32_t extensionCount = 1;
    std::string askedExtension;

protected:
    DecoderAction Answer(const std::string& operation) {
        Record(operation);
        auto reply = replies.find(operation);
        return reply != replies.end() ? reply->second() : DDA_COMPLETE;
    }
    void Record(const std::string& operation) { calls.push_back(operation); }

    DecoderAction LoadingCore() override { return Answer("LoadingCore"); }
    DecoderAction PositioningCore() override { return Answer("PositioningCore"); }
    DecoderAction DecompressingCore() override { return Answer("DecompressingCore"); }
    DecoderAction UnloadingCore() override { return Answer("UnloadingCore"); }

private:
    std::map<std::string, Reply> replies;
};

// A decoder that overrides every phase operation: completions answer as scripted, parameter
// operations give recognisable values naming their phase.
class ScriptedDecoder : public MinimalDecoder {
public:
    static constexpr int32_t CloseId = 7;
    static constexpr uint32_t ReadSize = 16;

    // The paths of the last file list a step received.
    std::vector<std::string> receivedList;
    bool receivedListOk = false;
    // GetTrackInfo gives track n 10 * (n + 1) frames.
    int32_t lastTrackAsked = -1;

    bool GetTrackInfo(int32_t track, char* name, FrameTimes* first, FrameTimes* last, int32_t* frames,
                      bool* trackHasAudio) override {
        lastTrackAsked = track;
        std::strcpy(name, "track");
        *first = FrameTimes{};
        *last = FrameTimes{};
        *frames = 10 * (track + 1);
        *trackHasAudio = false;
        return true;
    }

    uint8_t readBuffer[ReadSize] = {};

protected:
    void NameFor(const char* phase, char* name) {
        Record(std::string(phase) + "GetOpenName");
        std::snprintf(name, MaxPathLength, "%s.vid", phase);
    }
    void CloseFor(const char* phase, int32_t* fileId) {
        Record(std::string(phase) + "GetFileToClose");
        *fileId = CloseId;
    }
    void ReadFor(const char* phase, int32_t* fileId, uint64_t* offset, uint32_t* size, uint8_t** buffer) {
        Record(std::string(phase) + "GetReadParameters");
        *fileId = CloseId;
        *offset = std::strlen(phase);
        *size = ReadSize;
        *buffer = readBuffer;
    }
    void ListFor(const char* phase, char* directory, char* pattern, int32_t* depth) {
        Record(std::string(phase) + "GetListPath");
        std::snprintf(directory, MaxPathLength, "/%s/", phase);
        std::snprintf(pattern, MaxPathLength, "*.vid");
        *depth = 2;
    }
    DecoderAction ListArrived(const char* phase, bool ok, FileList& fileList) {
        receivedListOk = ok;
        receivedList.clear();
        for (int32_t index = 0; index < fileList.Count(); ++index) {
            receivedList.push_back(fileList.GetAt(index));
        }
        return Answer(std::string(phase) + "FileListComplete");
    }

    DecoderAction QueryingCore() override { return Answer("QueryingCore"); }
    void QueryingGetOpenName(char* name) override { NameFor("Querying", name); }
    DecoderAction QueryingOpenComplete(int32_t, uint64_t) override { return Answer("QueryingOpenComplete"); }
    void QueryingGetListPath(char* d, char* p, int32_t* depth) override { ListFor("Querying", d, p, depth); }
    DecoderAction QueryingFileListComplete(bool ok, FileList& list) override {
        return ListArrived("Querying", ok, list);
    }
    void QueryingGetFileToClose(int32_t* id) override { CloseFor("Querying", id); }
    DecoderAction QueryingCloseComplete(int32_t) override { return Answer("QueryingCloseComplete"); }
    void QueryingGetReadParameters(int32_t* id, uint64_t* o, uint32_t* s, uint8_t** b) override {
        ReadFor("Querying", id, o, s, b);
    }
    DecoderAction QueryingReadComplete(int32_t, bool) override { return Answer("QueryingReadComplete"); }
    DecoderAction QueryingEventComplete(WaitObject) override { return Answer("QueryingEventComplete"); }

    void LoadingGetOpenName(char* name) override { NameFor("Loading", name); }
    DecoderAction LoadingOpenComplete(int32_t, uint64_t) override { return Answer("LoadingOpenComplete"); }
    void LoadingGetListPath(char* d, char* p, int32_t* depth) override { ListFor("Loading", d, p, depth); }
    DecoderAction LoadingFileListComplete(bool ok, FileList& list) override {
        return ListArrived("Loading", ok, list);
    }
    void LoadingGetFileToClose(int32_t* id) override { CloseFor("Loading", id); }
    DecoderAction LoadingCloseComplete(int32_t) override { return Answer("LoadingCloseComplete"); }
    void LoadingGetReadParameters(int32_t* id, uint64_t* o, uint32_t* s, uint8_t** b) override {
        ReadFor("Loading", id, o, s, b);
    }
    DecoderAction LoadingReadComplete(int32_t, bool) override { return Answer("LoadingReadComplete"); }
    DecoderAction LoadingEventComplete(WaitObject) override { return Answer("LoadingEventComplete"); }

    void PositioningGetOpenName(char* name) override { NameFor("Positioning", name); }
    DecoderAction PositioningOpenComplete(int32_t, uint64_t) override {
        return Answer("PositioningOpenComplete");
    }
    void PositioningGetFileToClose(int32_t* id) override { CloseFor("Positioning", id); }
    DecoderAction PositioningCloseComplete(int32_t) override { return Answer("PositioningCloseComplete"); }
    void PositioningGetReadParameters(int32_t* id, uint64_t* o, uint32_t* s, uint8_t** b) override {
        ReadFor("Positioning", id, o, s, b);
    }
    DecoderAction PositioningReadComplete(int32_t, bool) override {
        return Answer("PositioningReadComplete");
    }
    DecoderAction PositioningEventComplete(WaitObject) override { return Answer("PositioningEventComplete"); }

    DecoderAction PositioningAudioCore() override { return Answer("PositioningAudioCore"); }
    void PositioningAudioGetOpenName(char* name) override { NameFor("PositioningAudio", name); }
    DecoderAction PositioningAudioOpenComplete(int32_t, uint64_t) override {
        return Answer("PositioningAudioOpenComplete");
    }
    void PositioningAudioGetFileToClose(int32_t* id) override { CloseFor("PositioningAudio", id); }
    DecoderAction PositioningAudioCloseComplete(int32_t) override {
        return Answer("PositioningAudioCloseComplete");
    }
    void PositioningAudioGetReadParameters(int32_t* id, uint64_t* o, uint32_t* s, uint8_t** b) override {
        ReadFor("PositioningAudio", id, o, s, b);
    }
    DecoderAction PositioningAudioReadComplete(int32_t, bool) override {
        return Answer("PositioningAudioReadComplete");
    }
    DecoderAction PositioningAudioEventComplete(WaitObject) override {
        return Answer("PositioningAudioEventComplete");
    }

    void DecompressingGetOpenName(char* name) override { NameFor("Decompressing", name); }
    DecoderAction DecompressingOpenComplete(int32_t, uint64_t) override {
        return Answer("DecompressingOpenComplete");
    }
    void DecompressingGetFileToClose(int32_t* id) override { CloseFor("Decompressing", id); }
    DecoderAction DecompressingCloseComplete(int32_t) override {
        return Answer("DecompressingCloseComplete");
    }
    void DecompressingGetReadParameters(int32_t* id, uint64_t* o, uint32_t* s, uint8_t** b) override {
        ReadFor("Decompressing", id, o, s, b);
    }
    DecoderAction DecompressingReadComplete(int32_t, bool) override {
        return Answer("DecompressingReadComplete");
    }
    DecoderAction DecompressingEventComplete(WaitObject) override {
        return Answer("DecompressingEventComplete");
    }

    DecoderAction DecompressingAudioCore() override { return Answer("DecompressingAudioCore"); }
    void DecompressingAudioGetOpenName(char* name) override { NameFor("DecompressingAudio", name); }
    DecoderAction DecompressingAudioOpenComplete(int32_t, uint64_t) override {
        return Answer("DecompressingAudioOpenComplete");
    }
    void DecompressingAudioGetFileToClose(int32_t* id) override { CloseFor("DecompressingAudio", id); }
    DecoderAction DecompressingAudioCloseComplete(int32_t) override {
        return Answer("DecompressingAudioCloseComplete");
    }
    void DecompressingAudioGetReadParameters(int32_t* id, uint64_t* o, uint32_t* s, uint8_t** b) override {
        ReadFor("DecompressingAudio", id, o, s, b);
    }
    DecoderAction DecompressingAudioReadComplete(int32_t, bool) override {
        return Answer("DecompressingAudioReadComplete");
    }
    DecoderAction DecompressingAudioEventComplete(WaitObject) override {
        return Answer("DecompressingAudioEventComplete");
    }

    void UnloadingGetFileToClose(int32_t* id) override { CloseFor("Unloading", id); }
    DecoderAction UnloadingCloseComplete(int32_t) override { return Answer("UnloadingCloseComplete"); }
    DecoderAction UnloadingEventComplete(WaitObject) override { return Answer("UnloadingEventComplete"); }

    DecoderAction FailingCore() override {
        Record("FailingCore");
        auto reply = failingReplies.empty() ? DDA_NO_ACTION : failingReplies.front();
        if (!failingReplies.empty()) {
            failingReplies.erase(failingReplies.begin());
        }
        return reply;
    }
    void FailingGetFileToClose(int32_t* id) override { CloseFor("Failing", id); }
    DecoderAction FailingCloseComplete(int32_t) override { return Answer("FailingCloseComplete"); }
    DecoderAction FailingEventComplete(WaitObject) override { return Answer("FailingEventComplete"); }

public:
    // Successive answers of FailingCore; DDA_NO_ACTION once they run out.
    std::vector<DecoderAction> failingReplies;
};

// Brings a decoder through a load with one open into DDS_LOADED.
inline void LoadThroughOneOpen(ScriptedDecoder& decoder, int32_t frames = 5) {
    decoder.Script("LoadingCore", DDA_OPEN);
    decoder.Load("/recordings/a.vid", -1);
    decoder.totalFrames = frames;
    decoder.OpenComplete(0, 100);
}

} // namespace Vorn::Vorncast::Decoders::Testing
