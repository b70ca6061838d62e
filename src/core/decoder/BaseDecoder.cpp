#include "core/decoder/BaseDecoder.h"

#include "model/support/Path.h"

#include <algorithm>
#include <cstdarg>
#include <cstdio>
#include <cstring>

namespace Vorn::Vorncast::Decoders {

namespace {

// Every decoder hands its default path pattern out of this one buffer.
char sharedPathPattern[50];
constexpr int32_t PathPatternItemLimit = 42;

void ZeroName(char* name) {
    std::memset(name, 0, MaxPathLength);
}

void ZeroReadParameters(int32_t* fileId, uint64_t* offset, uint32_t* size, uint8_t** buffer) {
    *fileId = 0;
    *offset = 0;
    *size = 0;
    *buffer = nullptr;
}

bool IsFramePhase(DecoderState state) {
    return state == DDS_POSITIONING || state == DDS_POSITIONING_AUDIO || state == DDS_DECOMPRESSING ||
           state == DDS_DECOMPRESSING_AUDIO;
}

bool EndsPhase(DecoderAction action) {
    return action == DDA_COMPLETE || action == DDA_FAILED;
}

// Splits "a;b\c;" into its items; each item is cut to the length of a file list entry.
void SplitListText(const char* list, int32_t length, FileList* fileList) {
    if (list == nullptr) {
        return;
    }
    int32_t itemStart = 0;
    int32_t position = 0;
    for (; position < length && list[position] != '\0'; ++position) {
        if (list[position] == ';') {
            if (position > itemStart) {
                fileList->Add(list + itemStart, position - itemStart);
            }
            itemStart = position + 1;
        }
    }
    if (position > itemStart) {
        fileList->Add(list + itemStart, position - itemStart);
    }
}

} // namespace

const char* DecoderStateName(DecoderState state) {
    switch (state) {
    case DDS_IDLE:
        return "DDS_IDLE";
    case DDS_LOADED:
        return "DDS_LOADED";
    case DDS_LOADING:
        return "DDS_LOADING";
    case DDS_UNLOADING:
        return "DDS_UNLOADING";
    case DDS_POSITIONING:
        return "DDS_POSITIONING";
    case DDS_POSITIONING_AUDIO:
        return "DDS_POSITIONING_AUDIO";
    case DDS_DECOMPRESSING:
        return "DDS_DECOMPRESSING";
    case DDS_DECOMPRESSING_AUDIO:
        return "DDS_DECOMPRESSING_AUDIO";
    case DDS_FAILING:
        return "DDS_FAILING";
    case DDS_QUERYING:
        return "DDS_QUERYING";
    case DDS_QUERIED:
        return "DDS_QUERIED";
    }
    return nullptr;
}

BaseDecoder::BaseDecoder() = default;

// ---- Information from the fields ----

void BaseDecoder::GetImageInfo(int32_t* width, int32_t* height, int32_t* aspectXOut, int32_t* aspectYOut,
                               bool* colourOut) {
    *width = imageWidth;
    *height = imageHeight;
    *aspectXOut = aspectX;
    *aspectYOut = aspectY;
    *colourOut = colour;
}

void BaseDecoder::GetFrameInfo(FrameTimes* times, CameraTag* camera, int32_t* frames) {
    *times = GetFrameTimes();
    GetFrameCamera(camera);
    *frames = totalFrames;
}

void BaseDecoder::GetAudioFrameInfo(FrameTimes* times, CameraTag* camera, int32_t* frames) {
    *times = GetAudioFrameTimes();
    GetAudioFrameCamera(camera);
    *frames = totalAudioFrames;
}

int32_t BaseDecoder::IndexOfFrameAtStreamTime(int64_t) {
    Log(LogCore, "%s Call to BaseDecoder::IndexOfFrameAtStreamTime\n", GetDecoderName());
    return 0;
}

int32_t BaseDecoder::IndexOfAudioFrameAtStreamTime(int64_t) {
    Log(LogCore, "%s Call to BaseDecoder::IndexOfAudioFrameAtStreamTime\n", GetDecoderName());
    return 0;
}

void BaseDecoder::GetFrameLocation(int32_t, CameraTag* camera, uint64_t* offset, uint32_t* size, char* file) {
    std::memset(camera, 0, sizeof(CameraTag));
    camera->number = 65535;
    *offset = 0;
    *size = 0;
    ZeroName(file);
}

void BaseDecoder::SetFrameItem(int32_t, const FrameInfo&) {}

void BaseDecoder::GetCameras(uint8_t* mask) {
    std::memset(mask, 0, CameraMaskBytes);
    mask[0] = 1;
}

bool BaseDecoder::GetTrackInfo(int32_t, char* name, FrameTimes* first, FrameTimes* last, int32_t*, bool*) {
    std::snprintf(name, TrackNameLength, "%s", "No track information available");
    *first = FrameTimes{};
    *last = FrameTimes{};
    return false;
}

FrameTimes BaseDecoder::GetFrameTimes() {
    return FrameTimes{};
}
FrameTimes BaseDecoder::GetAudioFrameTimes() {
    return FrameTimes{};
}
void BaseDecoder::GetFrameCamera(CameraTag* camera) {
    std::memset(camera, 0, sizeof(CameraTag));
}
void BaseDecoder::GetAudioFrameCamera(CameraTag* camera) {
    std::memset(camera, 0, sizeof(CameraTag));
}

const char* BaseDecoder::GetPathPattern(int32_t index) {
    int32_t count = 0;
    const char* extensions = GetExtensions(&count);
    if (count == 0 || extensions == nullptr || extensions[0] == '\0') {
        return "";
    }
    const char* item = extensions;
    for (int32_t skipped = 0; skipped < index && item != nullptr; ++skipped) {
        const char* end = std::strchr(item, ';');
        item = end != nullptr ? end + 1 : nullptr;
    }
    int32_t itemLength = 0;
    if (item != nullptr) {
        const char* end = std::strchr(item, ';');
        itemLength = static_cast<int32_t>(end != nullptr ? end - item : std::strlen(item));
    }
    if (itemLength == 0) {
        std::snprintf(sharedPathPattern, sizeof sharedPathPattern, "<n:c0>");
    } else {
        std::snprintf(sharedPathPattern, sizeof sharedPathPattern, "<n:c0>.%.*s",
                      std::min(itemLength, PathPatternItemLimit), item);
    }
    return sharedPathPattern;
}

int32_t BaseDecoder::GetFilePatternCount() {
    if (filePatternCount == -1 && multiFileFlag == 0) {
        int32_t count = 0;
        GetExtensions(&count);
        filePatternCount = count;
    }
    return filePatternCount;
}

// ---- Phase starts ----

DecoderAction BaseDecoder::Query(const char* path, int32_t flags) {
    aborted = false;
    queryScratch = 0;
    return StartPhase(path, flags, DDS_QUERYING, "Query");
}

DecoderAction BaseDecoder::Load(const char* path, int32_t flags) {
    aborted = false;
    return StartPhase(path, flags, DDS_LOADING, "Load");
}

DecoderAction BaseDecoder::StartPhase(const char* path, int32_t flags, DecoderState phase,
                                      const char* operation) {
    bool startable = state == DDS_IDLE || state == DDS_QUERIED;
    if (!startable || path == nullptr || path[0] == '\0') {
        Log(LogCore, "BaseDecoder::%s BAD STATE %d\n", operation, static_cast<int>(state));
        return DDA_FAILED;
    }
    Path::WithDirectory(path, loadName, sizeof loadName);
    currentFrame = -1;
    currentAudioFrame = -1;
    loadFlags = flags;
    state = phase;
    queryConfidence = 0;
    DecoderAction action = phase == DDS_QUERYING ? QueryingCore() : LoadingCore();
    // A phase that ends in its core never ran a completion: it counts as not loaded.
    if (EndsPhase(action)) {
        state = DDS_IDLE;
    }
    return action;
}

DecoderAction BaseDecoder::Unload() {
    if (state == DDS_IDLE) {
        return DDA_COMPLETE;
    }
    if (state != DDS_LOADED) {
        Log(LogCore, "BaseDecoder::Unload BAD STATE %d\n", static_cast<int>(state));
        return DDA_FAILED;
    }
    state = DDS_UNLOADING;
    DecoderAction action = UnloadingCore();
    if (EndsPhase(action)) {
        queryConfidence = 0;
        state = DDS_IDLE;
    }
    return action;
}

DecoderAction BaseDecoder::GoToFrame(int32_t frame) {
    if (IsAborted()) {
        Log(LogCore, "BaseDecoder::GoToFrame Aborting\n");
        return DDA_FAILED;
    }
    if (state != DDS_LOADED) {
        Log(LogCore, "BaseDecoder::GoToFrame BAD STATE %d\n", static_cast<int>(state));
        return DDA_FAILED;
    }
    // The decoder is already there: a repeated seek costs nothing.
    if (frame == currentFrame) {
        return DDA_COMPLETE;
    }
    currentFrame = frame;
    return RunFramePhase(DDS_POSITIONING);
}

DecoderAction BaseDecoder::GoToAudioFrame(int32_t frame) {
    if (IsAborted()) {
        Log(LogCore, "BaseDecoder::GoToAudioFrame Aborting\n");
        return DDA_FAILED;
    }
    if (state != DDS_LOADED) {
        Log(LogCore, "BaseDecoder::GoToAudioFrame BAD STATE %d\n", static_cast<int>(state));
        return DDA_FAILED;
    }
    if (frame == currentAudioFrame) {
        return DDA_COMPLETE;
    }
    currentAudioFrame = frame;
    return RunFramePhase(DDS_POSITIONING_AUDIO);
}

DecoderAction BaseDecoder::Decompress() {
    if (IsAborted()) {
        Log(LogCore, "BaseDecoder::Decompress Aborting\n");
        return DDA_FAILED;
    }
    if (state != DDS_LOADED) {
        Log(LogCore, "BaseDecoder::Decompress BAD STATE %d\n", static_cast<int>(state));
        return DDA_FAILED;
    }
    return RunFramePhase(DDS_DECOMPRESSING);
}

DecoderAction BaseDecoder::DecompressAudio() {
    if (IsAborted()) {
        Log(LogCore, "BaseDecoder::DecompressAudio Aborting\n");
        return DDA_FAILED;
    }
    if (state != DDS_LOADED) {
        Log(LogCore, "BaseDecoder::DecompressAudio BAD STATE %d\n", static_cast<int>(state));
        return DDA_FAILED;
    }
    return RunFramePhase(DDS_DECOMPRESSING_AUDIO);
}

DecoderAction BaseDecoder::RunFramePhase(DecoderState phase) {
    state = phase;
    DecoderAction action = DDA_NO_ACTION;
    switch (phase) {
    case DDS_POSITIONING:
        action = PositioningCore();
        break;
    case DDS_POSITIONING_AUDIO:
        action = PositioningAudioCore();
        break;
    case DDS_DECOMPRESSING:
        action = DecompressingCore();
        break;
    default:
        action = DecompressingAudioCore();
        break;
    }
    if (EndsPhase(action)) {
        state = DDS_LOADED;
    }
    return action;
}

void BaseDecoder::SelectTrack(int32_t track) {
    if (track < 0 || track >= totalTracks) {
        return;
    }
    currentFrame = -1;
    currentAudioFrame = -1;
    currentTrack = track;
    char name[TrackNameLength];
    FrameTimes first{};
    FrameTimes last{};
    bool trackHasAudio = false;
    GetTrackInfo(track, name, &first, &last, &totalFrames, &trackHasAudio);
}

// ---- Parameters of the pending action ----

void BaseDecoder::GetOpenName(char* name) {
    switch (state) {
    case DDS_LOADING:
        return LoadingGetOpenName(name);
    case DDS_POSITIONING:
        return PositioningGetOpenName(name);
    case DDS_POSITIONING_AUDIO:
        return PositioningAudioGetOpenName(name);
    case DDS_DECOMPRESSING:
        return DecompressingGetOpenName(name);
    case DDS_DECOMPRESSING_AUDIO:
        return DecompressingAudioGetOpenName(name);
    case DDS_QUERYING:
        return QueryingGetOpenName(name);
    default:
        return ZeroName(name);
    }
}

void BaseDecoder::GetReadParameters(int32_t* fileId, uint64_t* offset, uint32_t* size, uint8_t** buffer) {
    switch (state) {
    case DDS_LOADING:
        return LoadingGetReadParameters(fileId, offset, size, buffer);
    case DDS_POSITIONING:
        return PositioningGetReadParameters(fileId, offset, size, buffer);
    case DDS_POSITIONING_AUDIO:
        return PositioningAudioGetReadParameters(fileId, offset, size, buffer);
    case DDS_DECOMPRESSING:
        return DecompressingGetReadParameters(fileId, offset, size, buffer);
    case DDS_DECOMPRESSING_AUDIO:
        return DecompressingAudioGetReadParameters(fileId, offset, size, buffer);
    case DDS_QUERYING:
        return QueryingGetReadParameters(fileId, offset, size, buffer);
    default:
        Log(LogCore, "%s GetReadParameters while not loading, positioning, or decompressing\n",
            GetDecoderName());
        return ZeroReadParameters(fileId, offset, size, buffer);
    }
}

void BaseDecoder::GetFileToClose(int32_t* fileId) {
    switch (state) {
    case DDS_LOADING:
        return LoadingGetFileToClose(fileId);
    case DDS_POSITIONING:
        return PositioningGetFileToClose(fileId);
    case DDS_POSITIONING_AUDIO:
        return PositioningAudioGetFileToClose(fileId);
    case DDS_DECOMPRESSING:
        return DecompressingGetFileToClose(fileId);
    case DDS_DECOMPRESSING_AUDIO:
        return DecompressingAudioGetFileToClose(fileId);
    case DDS_QUERYING:
        return QueryingGetFileToClose(fileId);
    case DDS_UNLOADING:
        return UnloadingGetFileToClose(fileId);
    case DDS_FAILING:
        return FailingGetFileToClose(fileId);
    default:
        Log(LogCore, "%s GetFileToClose while in wrong state\n", GetDecoderName());
        *fileId = -1;
        return;
    }
}

void BaseDecoder::GetListPath(char* directory, char* pattern, int32_t* depth) {
    switch (state) {
    case DDS_LOADING:
        return LoadingGetListPath(directory, pattern, depth);
    case DDS_QUERYING:
        return QueryingGetListPath(directory, pattern, depth);
    default:
        Log(LogCore, "%s GetListPath while in wrong state\n", GetDecoderName());
        ZeroName(directory);
        ZeroName(pattern);
        *depth = 0;
        return;
    }
}

// ---- Completions ----

DecoderAction BaseDecoder::AfterQueryingStep(DecoderAction action) {
    if (action == DDA_COMPLETE) {
        state = DDS_QUERIED;
    }
    return action;
}

DecoderAction BaseDecoder::AfterLoadingStep(DecoderAction action, const char* abortText) {
    if (IsAborted()) {
        if (abortText != nullptr) {
            Log(LogCore, "%s", abortText);
        }
        return DecoderFailure();
    }
    if (action == DDA_COMPLETE) {
        state = DDS_LOADED;
    }
    return action;
}

DecoderAction BaseDecoder::AfterFrameStep(DecoderAction action, bool failureEndsPhase) {
    // A frame phase that fails in an open, close or event step stays where it is, so that the next
    // GoToFrame refuses with BAD STATE; only a read ends it in both outcomes.
    if (action == DDA_COMPLETE || (failureEndsPhase && action == DDA_FAILED)) {
        state = DDS_LOADED;
    }
    return action;
}

DecoderAction BaseDecoder::AfterUnloadingStep(DecoderAction action) {
    if (EndsPhase(action)) {
        ForgetLoad();
        queryConfidence = 0;
        state = DDS_IDLE;
    }
    return action;
}

void BaseDecoder::ForgetLoad() {
    totalFrames = 0;
    totalAudioFrames = 0;
    totalTracks = 0;
    currentTrack = 0;
    currentFrame = -1;
    currentAudioFrame = -1;
}

DecoderAction BaseDecoder::CompletionInOtherState(const char* operation) {
    const char* name = GetDecoderName();
    switch (state) {
    case DDS_IDLE:
        Log(LogCore, "%s %s with state DDS_IDLE\n", name, operation);
        return DDA_NO_ACTION;
    case DDS_LOADED:
        Log(LogCore, "%s %s with state DSS_LOADED\n", name, operation);
        return DecoderFailure();
    default:
        Log(LogCore, "%s %s with bad state\n", name, operation);
        return DecoderFailure();
    }
}

DecoderAction BaseDecoder::OpenComplete(int32_t fileId, uint64_t fileSize) {
    switch (state) {
    case DDS_QUERYING:
        return AfterQueryingStep(QueryingOpenComplete(fileId, fileSize));
    case DDS_LOADING:
        return AfterLoadingStep(LoadingOpenComplete(fileId, fileSize),
                                "BaseDecoder::OpenComplete Aborting\n");
    case DDS_POSITIONING:
        return AfterFrameStep(PositioningOpenComplete(fileId, fileSize), false);
    case DDS_POSITIONING_AUDIO:
        return AfterFrameStep(PositioningAudioOpenComplete(fileId, fileSize), false);
    case DDS_DECOMPRESSING:
        return AfterFrameStep(DecompressingOpenComplete(fileId, fileSize), false);
    case DDS_DECOMPRESSING_AUDIO:
        return AfterFrameStep(DecompressingAudioOpenComplete(fileId, fileSize), false);
    case DDS_UNLOADING:
        Log(LogCore, "%s OpenComplete with state DDS_UNLOADING\n", GetDecoderName());
        return DecoderFailure();
    case DDS_FAILING:
        Log(LogCore, "%s OpenComplete while failing\n", GetDecoderName());
        return DecoderFailure();
    default:
        return CompletionInOtherState("OpenComplete");
    }
}

DecoderAction BaseDecoder::CloseComplete(int32_t fileId) {
    switch (state) {
    case DDS_QUERYING:
        return AfterQueryingStep(QueryingCloseComplete(fileId));
    case DDS_LOADING:
        return AfterLoadingStep(LoadingCloseComplete(fileId), nullptr);
    case DDS_POSITIONING:
        return AfterFrameStep(PositioningCloseComplete(fileId), false);
    case DDS_POSITIONING_AUDIO:
        return AfterFrameStep(PositioningAudioCloseComplete(fileId), false);
    case DDS_DECOMPRESSING:
        return AfterFrameStep(DecompressingCloseComplete(fileId), false);
    case DDS_DECOMPRESSING_AUDIO:
        return AfterFrameStep(DecompressingAudioCloseComplete(fileId), false);
    case DDS_UNLOADING:
        return AfterUnloadingStep(UnloadingCloseComplete(fileId));
    case DDS_FAILING:
        return FailingCloseComplete(fileId);
    default:
        return CompletionInOtherState("CloseComplete");
    }
}

DecoderAction BaseDecoder::EventComplete(WaitObject signalled) {
    switch (state) {
    case DDS_QUERYING:
        return AfterQueryingStep(QueryingEventComplete(signalled));
    case DDS_LOADING:
        return AfterLoadingStep(LoadingEventComplete(signalled), nullptr);
    case DDS_POSITIONING:
        return AfterFrameStep(PositioningEventComplete(signalled), false);
    case DDS_POSITIONING_AUDIO:
        return AfterFrameStep(PositioningAudioEventComplete(signalled), false);
    case DDS_DECOMPRESSING:
        return AfterFrameStep(DecompressingEventComplete(signalled), false);
    case DDS_DECOMPRESSING_AUDIO:
        return AfterFrameStep(DecompressingAudioEventComplete(signalled), false);
    case DDS_UNLOADING:
        return AfterUnloadingStep(UnloadingEventComplete(signalled));
    case DDS_FAILING:
        return FailingEventComplete(signalled);
    default:
        return CompletionInOtherState("EventComplete");
    }
}

DecoderAction BaseDecoder::ReadComplete(int32_t fileId, bool ok) {
    if (IsAborted()) {
        Log(LogCore, "BaseDecoder::OpenComplete Aborting\n");
        return DecoderFailure();
    }
    switch (state) {
    case DDS_QUERYING:
        return AfterQueryingStep(QueryingReadComplete(fileId, ok));
    case DDS_LOADING:
        return AfterLoadingStep(LoadingReadComplete(fileId, ok), nullptr);
    case DDS_POSITIONING:
        return AfterFrameStep(PositioningReadComplete(fileId, ok), true);
    case DDS_POSITIONING_AUDIO:
        return AfterFrameStep(PositioningAudioReadComplete(fileId, ok), true);
    case DDS_DECOMPRESSING:
        return AfterFrameStep(DecompressingReadComplete(fileId, ok), true);
    case DDS_DECOMPRESSING_AUDIO:
        return AfterFrameStep(DecompressingAudioReadComplete(fileId, ok), true);
    case DDS_FAILING:
        Log(LogCore, "%s ReadComplete with state DDS_FAILING\n", GetDecoderName());
        return DecoderFailure();
    case DDS_UNLOADING:
        Log(LogCore, "%s ReadComplete with state DDS_UNLOADING\n", GetDecoderName());
        return DecoderFailure();
    default:
        return CompletionInOtherState("ReadComplete");
    }
}

DecoderAction BaseDecoder::FileListComplete(bool ok, int32_t length, const char* list) {
    DecoderState phase = state;
    if (phase == DDS_LOADING || phase == DDS_QUERYING) {
        FileList fileList;
        SplitListText(list, length, &fileList);
        DecoderAction action = phase == DDS_LOADING ? LoadingFileListComplete(ok, fileList)
                                                    : QueryingFileListComplete(ok, fileList);
        if (action == DDA_COMPLETE) {
            state = phase == DDS_LOADING ? DDS_LOADED : DDS_QUERIED;
        }
        return action;
    }
    if (phase == DDS_FAILING) {
        Log(LogCore, "%s FileListComplete while failing\n", GetDecoderName());
        return DecoderFailure();
    }
    const char* stateName = DecoderStateName(phase);
    if (stateName != nullptr) {
        Log(LogCore, "%s FileListComplete with state %s\n", GetDecoderName(), stateName);
    } else {
        Log(LogCore, "%s FileListComplete with bad state\n", GetDecoderName());
    }
    return DecoderFailure();
}

// ---- Failure ----

DecoderAction BaseDecoder::DecoderFailure() {
    const char* name = GetDecoderName();
    if (IsFramePhase(state)) {
        // A damaged frame does not end the work on the file set.
        Log(LogCore, "%s DecoderFailure - %s\n", name, DecoderStateName(state));
        return DDA_FAILED;
    }
    aborted = false;
    if (state != DDS_FAILING) {
        stateBeforeFailure = state;
        state = DDS_FAILING;
    }
    DecoderAction action = FailingCore();
    if (action == DDA_CLOSE || action == DDA_WAIT_EVENT) {
        return action;
    }
    ForgetLoad();
    state = DDS_IDLE;
    switch (stateBeforeFailure) {
    case DDS_IDLE:
    case DDS_LOADED:
        Log(LogCore, "%s DecoderFailure with state %s\n", name, DecoderStateName(stateBeforeFailure));
        return DDA_NO_ACTION;
    case DDS_LOADING:
    case DDS_UNLOADING:
    case DDS_QUERYING:
        Log(LogCore, "%s DecoderFailure - %s\n", name, DecoderStateName(stateBeforeFailure));
        return DDA_FAILED;
    default:
        Log(LogCore, "%s DecoderFailure with bad state\n", name);
        return DDA_NO_ACTION;
    }
}

// ---- Helpers ----

bool BaseDecoder::IsAborted() {
    if (abortCallback != nullptr && abortCallback() != 0) {
        aborted = true;
    }
    return aborted;
}

void BaseDecoder::SetImageFormat(int32_t width, int32_t height, int32_t newAspectX, int32_t newAspectY,
                                 bool isColour, int32_t frames) {
    imageWidth = width;
    imageHeight = height;
    aspectX = newAspectX;
    aspectY = newAspectY;
    colour = isColour;
    totalFrames = frames;
}

void BaseDecoder::SetTimeSpan(const FrameTimes& first, const FrameTimes& last) {
    firstFrameTimes = first;
    lastFrameTimes = last;
    if (firstFrameTimes.streamTime == 0) {
        firstFrameTimes.streamTime = firstFrameTimes.recordedTime;
    }
    if (lastFrameTimes.streamTime == 0) {
        lastFrameTimes.streamTime = lastFrameTimes.recordedTime;
    }
}

void BaseDecoder::SetTimeSpan(int64_t first, int64_t last) {
    firstFrameTimes = FrameTimes{};
    firstFrameTimes.recordedTime = first;
    firstFrameTimes.streamTime = first;
    lastFrameTimes = FrameTimes{};
    lastFrameTimes.recordedTime = last;
    lastFrameTimes.streamTime = last;
}

void BaseDecoder::ReportProgress(double fraction) {
    if (progressCallback != nullptr) {
        progressCallback(fraction);
    }
}

void BaseDecoder::Log(int32_t severity, const char* format, ...) {
    va_list arguments;
    va_start(arguments, format);
    LogV(severity, format, arguments);
    va_end(arguments);
}

void BaseDecoder::LogV(int32_t severity, const char* format, va_list arguments) {
    if (logCallback == nullptr) {
        return;
    }
    char text[LogBufferSize];
    std::vsnprintf(text, sizeof text, format, arguments);
    logCallback(severity, text);
}

} // namespace Vorn::Vorncast::Decoders
