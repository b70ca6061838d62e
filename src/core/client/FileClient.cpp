#include "core/client/FileClient.h"

#include "core/client/DecoderTable.h"
#include "core/decoder/WaitEvent.h"
#include "core/filelists/DirectoryWalk.h"
#include "model/files/FileSource.h"

#include <cerrno>
#include <cinttypes>
#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <memory>
#include <new>

namespace Vorn::Vorncast::Decoders {

namespace {

constexpr int32_t LogBufferSize = 4096;

template <class T> void Store(T* target, T value) {
    if (target != nullptr) {
        *target = value;
    }
}

void StoreName(char* target, const CameraTag& camera) {
    if (target != nullptr) {
        std::memcpy(target, camera.name, CameraNameLength);
    }
}

} // namespace

FileClient::FileClient() {
    waitObjectCount = DecoderTable::WaitObjectCount();
    if (waitObjectCount > 0) {
        waitObjects = new WaitObject[static_cast<size_t>(waitObjectCount)];
        for (int32_t index = 0; index < waitObjectCount; ++index) {
            waitObjects[index] = DecoderTable::GetWaitObject(index);
        }
    }
}

FileClient::~FileClient() {
    delete[] waitObjects;
    for (FileHandler*& file : files) {
        delete file;
        file = nullptr;
    }
}

void FileClient::Log(int32_t severity, const char* format, ...) {
    if (logCallback == nullptr) {
        return;
    }
    char text[LogBufferSize];
    va_list arguments;
    va_start(arguments, format);
    std::vsnprintf(text, sizeof(text), format, arguments);
    va_end(arguments);
    logCallback(severity, text);
}

int32_t FileClient::OpenFileCount() const {
    int32_t count = 0;
    for (FileHandler* file : files) {
        count += file != nullptr ? 1 : 0;
    }
    return count;
}

FileHandler* FileClient::GetFile(int32_t fileId) const {
    if (fileId < 0 || fileId >= MaxOpenFiles) {
        return nullptr;
    }
    return files[fileId];
}

// ---- executors ----

DecoderAction FileClient::ExecuteOpen() {
    char name[MaxPathLength] = {};
    GetOpenName(name);
    name[MaxPathLength - 1] = '\0';

    FileHandler* handler = new (std::nothrow) FileHandler(name);
    if (handler == nullptr) {
        catastrophic = true;
        return OpenComplete(-1, 0);
    }
    Log(LogTrace, "Opening %s\n", name);

    int32_t fileId = 0;
    while (fileId < MaxOpenFiles && files[fileId] != nullptr) {
        ++fileId;
    }
    if (fileId == MaxOpenFiles) {
        // The decoder hears nothing of this: the operation ends as a normal failure.
        Log(LogCore, "Too many files open\n");
        delete handler;
        return DDA_NO_ACTION;
    }
    if (!handler->Open()) {
        Log(LogCore, "Error during fileHandler->Open()\n");
        delete handler;
        catastrophic = true;
        return OpenComplete(-1, 0);
    }
    files[fileId] = handler;
    catastrophic = false;
    return OpenComplete(fileId, static_cast<uint64_t>(handler->GetSize()));
}

DecoderAction FileClient::ExecuteClose() {
    int32_t fileId = -1;
    GetFileToClose(&fileId);
    FileHandler* file = GetFile(fileId);
    if (file != nullptr) {
        file->Close();
        delete file;
    } else {
        Log(LogCore, "ExecuteClose() got bad file id from decoder %d\n", fileId);
    }
    if (fileId >= 0 && fileId < MaxOpenFiles) {
        files[fileId] = nullptr;
    }
    return CloseComplete(fileId);
}

DecoderAction FileClient::ExecuteRead() {
    int32_t fileId = -1;
    uint64_t offset = 0;
    uint32_t size = 0;
    uint8_t* buffer = nullptr;
    GetReadParameters(&fileId, &offset, &size, &buffer);

    // Every range test is made here, so that a truncated file shows as a read that fails normally.
    FileHandler* file = GetFile(fileId);
    if (file == nullptr) {
        Log(LogCore, "ExecuteRead() got bad file id from decoder %d\n", fileId);
        catastrophic = false;
        return ReadComplete(fileId, false);
    }
    if (size == 0) {
        return ReadComplete(fileId, true);
    }
    const char* refusal = nullptr;
    int64_t start = static_cast<int64_t>(offset);
    int64_t fileSize = file->GetSize();
    if (buffer == nullptr) {
        refusal = "ExecuteRead() got null buffer from decoder\n";
    } else if (start < 0) {
        refusal = "ExecuteRead() decoder tried to seek to negative offset\n";
    } else if (start >= fileSize) {
        refusal = "ExecuteRead() decoder tried to seek beyond the end of the file\n";
    } else if (static_cast<int64_t>(size) > fileSize - start) {
        refusal = "ExecuteRead() decoder tried to read past the end of the file\n";
    }
    if (refusal != nullptr) {
        Log(LogCore, "%s", refusal);
        catastrophic = false;
        return ReadComplete(fileId, false);
    }

    if (file->Seek(start, SeekFromStart) != start) {
        Log(LogCore, "ExecuteRead() FileHandler::Seel failed with return value != offset %" PRId64 "\n",
            start);
        catastrophic = true;
        return ReadComplete(fileId, false);
    }
    int64_t got = file->Read(size, buffer);
    if (got != static_cast<int64_t>(size)) {
        Log(LogCore, "ExecuteRead() FileHandler::Read failed with fileId %d for %d bytes (%d bytes read)\n",
            fileId, static_cast<int32_t>(size), static_cast<int32_t>(got));
        Log(LogCore,
            "                                read position was %" PRId64 ", file size was %" PRId64 "\n",
            start, fileSize);
        Log(LogCore, "                                filename was %s\n", file->GetName());
        catastrophic = true;
        return ReadComplete(fileId, false);
    }
    catastrophic = false;
    return ReadComplete(fileId, true);
}

DecoderAction FileClient::ExecuteList() {
    char directory[MaxPathLength] = {};
    char pattern[MaxPathLength] = {};
    int32_t depth = 0;
    GetListPath(directory, pattern, &depth);

    bool ok = false;
    uint32_t length = 0;
    char* list = nullptr;
    if (listCallback != nullptr) {
        listCallback(directory, pattern, depth, &ok, &length, &list);
    }
    DecoderAction next = FileListComplete(ok, static_cast<int32_t>(length), list);
    // The lister allocates the text; nobody needs it once the decoder has read it.
    FreeFileListText(list);
    return next;
}

DecoderAction FileClient::ExecuteEvent() {
    if (waitObjectCount > 0) {
        int32_t index = WaitEvent::WaitAny(waitObjects, waitObjectCount);
        if (index >= 0 && index < waitObjectCount) {
            return EventComplete(waitObjects[index]);
        }
        Log(LogCore, "FileClient::ExecuteEvent WAIT_FAILED %d\n", errno);
    }
    return EventComplete(nullptr);
}

// ---- the action loop ----

bool FileClient::CountAction() {
    ++actionCount;
    return actionLimit <= 0 || actionCount <= actionLimit;
}

// Past the action limit the decoder's phase is failed, so that it closes its files and can start
// again; a decoder that does not wind down within a second allowance is left where it stands.
DecoderAction FileClient::GiveUp() {
    Log(LogCore, "FileClient gave up after %" PRId64 " actions\n", actionLimit);
    actionLimitReached = true;
    actionCount = 0;
    return decoder != nullptr ? decoder->DecoderFailure() : DDA_FAILED;
}

FileClientResult FileClient::RunLoop(DecoderAction action, FollowUp followUp, const char* failureText) {
    bool followedUp = false;
    actionCount = 0;
    actionLimitReached = false;
    for (;;) {
        bool executes = action >= DDA_OPEN && action <= DDA_WAIT_EVENT;
        if (executes && !CountAction()) {
            if (actionLimitReached) {
                return FCR_CATASTROPHIC;
            }
            action = GiveUp();
            continue;
        }
        switch (action) {
        case DDA_NO_ACTION:
            Log(LogCore, "Unexpected DDA_NO_ACTION\n");
            return actionLimitReached ? FCR_CATASTROPHIC : FCR_FAILURE;
        case DDA_NO_DECODER:
            Log(LogCore, "Unexpected DDA_NO_DECODER\n");
            return FCR_CATASTROPHIC;
        case DDA_OPEN:
            action = ExecuteOpen();
            break;
        case DDA_CLOSE:
            action = ExecuteClose();
            break;
        case DDA_READ:
            action = ExecuteRead();
            break;
        case DDA_LIST_FILES:
            action = ExecuteList();
            break;
        case DDA_WAIT_EVENT:
            action = ExecuteEvent();
            break;
        case DDA_COMPLETE:
            if (followUp == FollowUp::None || followedUp) {
                return FCR_SUCCESS;
            }
            followedUp = true;
            action = followUp == FollowUp::Decompress ? Decompress() : DecompressAudio();
            break;
        case DDA_FAILED:
            if (failureText != nullptr) {
                Log(LogCore, "%s", failureText);
            }
            return catastrophic || actionLimitReached ? FCR_CATASTROPHIC : FCR_FAILURE;
        default:
            Log(LogCore, "Unexpected DecoderAction %d\n", static_cast<int32_t>(action));
            return FCR_CATASTROPHIC;
        }
    }
}

// ---- opening ----

void FileClient::PrepareOpen(const Guid& guid, const char* path) {
    catastrophic = false;
    std::unique_ptr<SourceFile> measured = FileSource::Current().Open(path);
    lastFileSize = measured != nullptr ? static_cast<uint32_t>(measured->Size()) : 0;
    decoderGuid = guid;
    decoder = DecoderTable::Find(guid);
    if (decoder == nullptr) {
        decoderGuid = Guid{};
        return;
    }
    decoder->SetProgressCallback(progressCallback);
    decoder->SetLogCallback(logCallback);
    decoder->SetAbortCallback(abortCallback);
}

namespace {

ImageInfo EmptyImageInfo() {
    return ImageInfo{-1, -1, 0xFFFF, 1, 1};
}

TrackTimes SpanOf(const FrameTimes& first, const FrameTimes& last) {
    return TrackTimes{first,         last.recordedTime, last.streamTime,
                      last.zoneBias, last.zoneKnown,    last.zoneFlag};
}

} // namespace

void FileClient::FillOpenOutputs(const OpenOutputs& out) {
    int32_t width = 0, height = 0, aspectX = 0, aspectY = 0;
    bool isColour = false;
    GetImageInfo(&width, &height, &aspectX, &aspectY, &isColour);
    Store(out.image, ImageInfo{width, height, static_cast<uint16_t>(isColour ? 3 : 1), aspectX, aspectY});
    int32_t frames = GetTotalFrames();
    Store(out.totalFrames, frames);
    Store(out.duration, static_cast<int64_t>(GetFramePeriod() * static_cast<uint64_t>(frames)));
    FrameTimes first = {}, last = {};
    GetFirstFrameTimes(&first);
    GetLastFrameTimes(&last);
    Store(out.span, SpanOf(first, last));
    Store(out.totalAudioFrames, GetTotalAudioFrames());
    Store(out.hasVideo, GetHasVideo());
    Store(out.hasAudio, GetHasAudio());
    Store(out.audio, AudioInfo{GetAudioSamplesPerSecond(), GetAudioBitsPerSample(), GetAudioChannels(),
                               GetAudioFrameBytes()});
}

void FileClient::ClearOpenOutputs(const OpenOutputs& out) {
    Store(out.image, EmptyImageInfo());
    Store(out.audio, AudioInfo{});
    Store(out.span, TrackTimes{});
    Store(out.totalFrames, -1);
    Store(out.totalAudioFrames, -1);
    Store(out.duration, int64_t{-1});
    Store(out.hasVideo, false);
    Store(out.hasAudio, false);
}

FileClientResult FileClient::OpenForQuery(const Guid& guid, int32_t flags, const char* path, ImageInfo* image,
                                          AudioInfo* audio, TrackTimes* span, int32_t* totalFrames,
                                          int32_t* totalAudioFrames, int64_t* duration, bool* hasVideo,
                                          bool* hasAudio, int32_t* reserved, int32_t* confidence) {
    const char* url = path != nullptr ? path : "";
    const OpenOutputs out{image, audio, span, totalFrames, totalAudioFrames, duration, hasVideo, hasAudio};
    ClearOpenOutputs(out);
    Store(reserved, 0);
    Store(confidence, -1);

    PrepareOpen(guid, url);
    DecoderAction first = decoder != nullptr ? Query(url, flags) : DDA_FAILED;
    FileClientResult result = RunLoop(first, FollowUp::None, nullptr);
    Store(confidence, GetConfidence());
    if (result != FCR_SUCCESS) {
        Store(confidence, 0);
        SweepFiles();
        return result;
    }
    FillOpenOutputs(out);
    return result;
}

FileClientResult FileClient::OpenForLoad(const Guid& guid, int32_t flags, const char* path, ImageInfo* image,
                                         AudioInfo* audio, TrackTimes* span, int32_t* totalFrames,
                                         int32_t* totalAudioFrames, int64_t* duration, bool* hasAudio) {
    const char* url = path != nullptr ? path : "";
    const OpenOutputs out{image, audio, span, totalFrames, totalAudioFrames, duration, nullptr, hasAudio};
    ClearOpenOutputs(out);

    PrepareOpen(guid, url);
    DecoderAction first = decoder != nullptr ? Load(url, flags) : DDA_FAILED;
    if (statusCallback != nullptr) {
        statusCallback(url);
    }
    FileClientResult result = RunLoop(first, FollowUp::None, "Load failed\n");
    if (result != FCR_SUCCESS) {
        SweepFiles();
        return result;
    }
    FillOpenOutputs(out);
    int32_t width = 0, height = 0, aspectX = 0, aspectY = 0;
    bool isColour = false;
    GetImageInfo(&width, &height, &aspectX, &aspectY, &isColour);
    Log(LogEvent, "width = %d    height = %d    planes = %d     frames = %d\n", width, height,
        isColour ? 3 : 1, GetTotalFrames());
    return result;
}

// ---- frames ----

void FileClient::CopyFrameReport(const FrameTimes& reported, const CameraTag& camera, FrameTimes* times,
                                 int32_t* cameraNumber, char* name) {
    Store(times, reported);
    Store(cameraNumber, static_cast<int32_t>(camera.number));
    StoreName(name, camera);
}

void FileClient::LogFrameFailure(FileClientResult result, const char* normalText,
                                 const char* catastrophicText) {
    if (result == FCR_FAILURE) {
        Log(LogCore, "%s", normalText);
    } else if (result == FCR_CATASTROPHIC) {
        Log(LogCore, "%s", catastrophicText);
    }
}

bool FileClient::HandOverPicture(SharedPicture* shared) {
    if (shared == nullptr) {
        return false;
    }
    *shared = SharePicture();
    return *shared != nullptr;
}

FileClientResult FileClient::GetFrame(int32_t frame, FrameTimes* times, int32_t bufferSize, uint8_t* buffer,
                                      int64_t* duration, int32_t* totalFrames, uint64_t* framePeriod,
                                      int32_t* camera, char* name, SharedPicture* shared) {
    if (frame < 0 || frame >= GetTotalFrames()) {
        Log(LogCore, "FileClient::GetFrame failed (normally) due to range error\n");
        return FCR_FAILURE;
    }
    bool withPicture = bufferSize != 0 && buffer != nullptr;
    FileClientResult result = withPicture
                                  ? RunLoop(GoToFrame(frame), FollowUp::Decompress, "Getframe failed\n")
                                  : RunLoop(GoToFrame(frame), FollowUp::None, "GetframeInfo failed\n");
    int32_t frames = GetTotalFrames();
    if (result == FCR_SUCCESS) {
        FrameTimes reported = {};
        CameraTag tag = {};
        GetFrameInfo(&reported, &tag, &frames);
        CopyFrameReport(reported, tag, times, camera, name);
        if (withPicture && !HandOverPicture(shared) && !GetImage(bufferSize, buffer)) {
            result = FCR_FAILURE;
        }
    }
    uint64_t period = GetFramePeriod();
    Store(totalFrames, frames);
    Store(framePeriod, period);
    Store(duration, static_cast<int64_t>(period * static_cast<uint64_t>(frames)));
    LogFrameFailure(result, "FileClient::GetFrame failed (normally) in decoder\n",
                    "FileClient::GetFrame failed (catastrophically) in decoder\n");
    return result;
}

FileClientResult FileClient::GetFrameInfo(int32_t frame, FrameTimes* times, int64_t* lastFrameTime,
                                          int32_t* totalFrames, uint64_t* /*framePeriod*/, int32_t* camera,
                                          char* name) {
    FileClientResult result = RunLoop(GoToFrame(frame), FollowUp::None, "GetframeInfo failed\n");
    if (result == FCR_SUCCESS) {
        FrameTimes reported = {};
        CameraTag tag = {};
        int32_t frames = 0;
        GetFrameInfo(&reported, &tag, &frames);
        CopyFrameReport(reported, tag, times, camera, name);
        Store(totalFrames, frames);
    }
    FrameTimes last = {};
    GetLastFrameTimes(&last);
    Store(lastFrameTime, last.recordedTime);
    return result;
}

FileClientResult FileClient::GetAudioFrame(int32_t frame, FrameTimes* times, int32_t bufferSize,
                                           uint8_t* buffer, int32_t* frameBytes, int32_t* totalAudioFrames,
                                           int32_t* camera, char* name) {
    if (frame < 0 || frame >= GetTotalAudioFrames()) {
        Log(LogCore, "FileClient::GetAudioFrame failed (normally) due to range error\n");
        return FCR_FAILURE;
    }
    bool withSamples = bufferSize != 0 && buffer != nullptr;
    FileClientResult result =
        withSamples ? RunLoop(GoToAudioFrame(frame), FollowUp::DecompressAudio, "GetAudioFrame failed\n")
                    : RunLoop(GoToAudioFrame(frame), FollowUp::None, "GetAudioFrameInfo failed\n");
    int32_t frames = GetTotalAudioFrames();
    if (result == FCR_SUCCESS) {
        FrameTimes reported = {};
        CameraTag tag = {};
        GetAudioFrameInfo(&reported, &tag, &frames);
        CopyFrameReport(reported, tag, times, camera, name);
        if (withSamples && !GetAudio(bufferSize, buffer)) {
            result = FCR_FAILURE;
        }
    }
    Store(totalAudioFrames, frames);
    Store(frameBytes, GetAudioFrameBytes());
    LogFrameFailure(result, "FileClient::GetAudioFrame failed (normally) in decoder\n",
                    "FileClient::GetAudioFrame failed (catastrophically) in decoder\n");
    return result;
}

FileClientResult FileClient::GetAudioFrameInfo(int32_t frame, FrameTimes* times, int32_t* totalAudioFrames,
                                               int32_t* /*unused*/, int32_t* camera, char* name) {
    FileClientResult result = RunLoop(GoToAudioFrame(frame), FollowUp::None, "GetAudioFrameInfo failed\n");
    if (result == FCR_SUCCESS) {
        FrameTimes reported = {};
        CameraTag tag = {};
        int32_t frames = 0;
        GetAudioFrameInfo(&reported, &tag, &frames);
        CopyFrameReport(reported, tag, times, camera, name);
        Store(totalAudioFrames, frames);
    }
    return result;
}

// ---- closing ----

bool FileClient::Close() {
    if (RunLoop(Unload(), FollowUp::None, "Unload failed\n") != FCR_SUCCESS) {
        return false;
    }
    SweepFiles();
    return true;
}

void FileClient::SweepFiles() {
    int32_t dangling = 0;
    for (int32_t fileId = 0; fileId < MaxOpenFiles; ++fileId) {
        FileHandler* file = files[fileId];
        if (file == nullptr) {
            continue;
        }
        Log(LogCore, "Dangling file handle %d (%s)\n", fileId, file->GetName());
        file->Close();
        delete file;
        files[fileId] = nullptr;
        ++dangling;
    }
    if (dangling > 0) {
        Log(LogCore, "After unloading the decoder, there were %d files left open!\n", dangling);
    }
}

} // namespace Vorn::Vorncast::Decoders
