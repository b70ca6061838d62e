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
    // What a core or step answers when the test scripted nothing for it.
    DecoderAction defaultReply = DDA_COMPLETE;
    const char* extensions = "vid";
    int32_t extensionCount = 1;
    std::string askedExtension;

protected:
    DecoderAction Answer(const std::string& operation) {
        Record(operation);
        auto reply = replies.find(operation);
        return reply != replies.end() ? reply->second() : defaultReply;
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

// The steps every phase has: close and event; phases that read add open and read; loading and
// querying add the file list.
#define SCRIPTED_CLOSE_STEPS(Phase)                                                                          \
    void Phase##GetFileToClose(int32_t* id) override {                                                       \
        CloseFor(#Phase, id);                                                                                \
    }                                                                                                        \
    DecoderAction Phase##CloseComplete(int32_t) override {                                                   \
        return Answer(#Phase "CloseComplete");                                                               \
    }                                                                                                        \
    DecoderAction Phase##EventComplete(WaitObject) override {                                                \
        return Answer(#Phase "EventComplete");                                                               \
    }
#define SCRIPTED_READ_STEPS(Phase)                                                                           \
    SCRIPTED_CLOSE_STEPS(Phase)                                                                              \
    void Phase##GetOpenName(char* name) override {                                                           \
        NameFor(#Phase, name);                                                                               \
    }                                                                                                        \
    DecoderAction Phase##OpenComplete(int32_t, uint64_t) override {                                          \
        return Answer(#Phase "OpenComplete");                                                                \
    }                                                                                                        \
    void Phase##GetReadParameters(int32_t* id, uint64_t* o, uint32_t* s, uint8_t** b) override {             \
        ReadFor(#Phase, id, o, s, b);                                                                        \
    }                                                                                                        \
    DecoderAction Phase##ReadComplete(int32_t, bool) override {                                              \
        return Answer(#Phase "ReadComplete");                                                                \
    }
#define SCRIPTED_LIST_STEPS(Phase)                                                                           \
    SCRIPTED_READ_STEPS(Phase)                                                                               \
    void Phase##GetListPath(char* d, char* p, int32_t* depth) override {                                     \
        ListFor(#Phase, d, p, depth);                                                                        \
    }                                                                                                        \
    DecoderAction Phase##FileListComplete(bool ok, FileList& list) override {                                \
        return ListArrived(#Phase, ok, list);                                                                \
    }

    DecoderAction QueryingCore() override {
        return Answer("QueryingCore");
    }
    DecoderAction PositioningAudioCore() override {
        return Answer("PositioningAudioCore");
    }
    DecoderAction DecompressingAudioCore() override {
        return Answer("DecompressingAudioCore");
    }
    SCRIPTED_LIST_STEPS(Querying)
    SCRIPTED_LIST_STEPS(Loading)
    SCRIPTED_READ_STEPS(Positioning)
    SCRIPTED_READ_STEPS(PositioningAudio)
    SCRIPTED_READ_STEPS(Decompressing)
    SCRIPTED_READ_STEPS(DecompressingAudio)
    SCRIPTED_CLOSE_STEPS(Unloading)
    SCRIPTED_CLOSE_STEPS(Failing)
#undef SCRIPTED_LIST_STEPS
#undef SCRIPTED_READ_STEPS
#undef SCRIPTED_CLOSE_STEPS

    DecoderAction FailingCore() override {
        Record("FailingCore");
        auto reply = failingReplies.empty() ? DDA_NO_ACTION : failingReplies.front();
        if (!failingReplies.empty()) {
            failingReplies.erase(failingReplies.begin());
        }
        return reply;
    }

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
