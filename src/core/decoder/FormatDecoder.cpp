#include "core/decoder/FormatDecoder.h"

#include <strings.h>

#include <algorithm>
#include <cstdarg>
#include <cstdio>
#include <utility>

namespace Vorn::Vorncast::Decoders {

namespace {

bool OpenFailed(int32_t fileId, uint64_t fileSize) {
    return fileId == -1 || fileSize == 0;
}

void CopyPath(char* out, const char* path) {
    std::snprintf(out, MaxPathLength, "%s", path != nullptr ? path : "");
}

} // namespace

int32_t CountExtensions(const char* extensions) {
    if (extensions == nullptr || extensions[0] == '\0') {
        return 0;
    }
    int32_t count = 1;
    for (const char* c = extensions; *c != '\0'; ++c) {
        if (*c == ';') {
            ++count;
        }
    }
    return count;
}

bool ExtensionListHas(const char* extensions, const char* extension) {
    if (extensions == nullptr || extension == nullptr) {
        return false;
    }
    size_t length = std::strlen(extension);
    const char* item = extensions;
    while (*item != '\0') {
        const char* end = std::strchr(item, ';');
        size_t itemLength = end != nullptr ? static_cast<size_t>(end - item) : std::strlen(item);
        if (itemLength == length && length > 0 && strncasecmp(item, extension, length) == 0) {
            return true;
        }
        if (end == nullptr) {
            break;
        }
        item = end + 1;
    }
    return false;
}

FormatDecoder::FormatDecoder(const DecoderRow& row) : row(row) {
    multiFileFlag = (row.flags & RowMultiFile) != 0 ? 1 : 0;
    infoFlagC = (row.flags & RowContainer) != 0 ? 1 : 0;
    infoFlagD = (row.flags & RowManual) != 0 ? 1 : 0;
    filePatternCount = row.patternCount;
}

const char* FormatDecoder::GetExtensions(int32_t* count) {
    if (count != nullptr) {
        *count = CountExtensions(row.extensions);
    }
    return row.extensions;
}

bool FormatDecoder::IsExtension(const char* extension) {
    return ExtensionListHas(row.extensions, extension);
}

const char* FormatDecoder::GetPathPattern(int32_t index) {
    if (row.patterns[0] == nullptr) {
        return BaseDecoder::GetPathPattern(index);
    }
    if (index < 0 || index >= MaxRowPatterns || row.patterns[index] == nullptr) {
        return "";
    }
    return row.patterns[index];
}

void FormatDecoder::Reset() {
    pending = Pending{};
    openFiles.clear();
    readBuffer.Free();
    ForgetRecording();
}

DecoderAction FormatDecoder::Fail(const char* format, ...) {
    va_list arguments;
    va_start(arguments, format);
    LogV(LogCore, format, arguments);
    va_end(arguments);
    return DecoderFailure();
}

// ---- asking for an action ----

DecoderAction FormatDecoder::AskOpen(const char* path, OpenStep<FormatDecoder> step, const char* failure) {
    pending = Pending{};
    pending.action = DDA_OPEN;
    pending.onOpen = step;
    pending.failure = failure;
    CopyPath(pending.path, path);
    return DDA_OPEN;
}

DecoderAction FormatDecoder::AskRead(int32_t fileId, uint64_t offset, uint32_t size,
                                     ReadStep<FormatDecoder> step, const char* failure,
                                     TryReadStep<FormatDecoder> tryStep) {
    pending = Pending{};
    pending.action = DDA_READ;
    pending.fileId = fileId;
    pending.offset = offset;
    pending.size = size;
    pending.onRead = step;
    pending.onTryRead = tryStep;
    pending.failure = failure;
    return DDA_READ;
}

DecoderAction FormatDecoder::AskClose(int32_t fileId, CloseStep<FormatDecoder> step) {
    pending = Pending{};
    pending.action = DDA_CLOSE;
    pending.fileId = fileId;
    pending.onClose = step;
    return DDA_CLOSE;
}

DecoderAction FormatDecoder::AskList(const char* directory, const char* pattern, int32_t depth,
                                     ListStep<FormatDecoder> step) {
    pending = Pending{};
    pending.action = DDA_LIST_FILES;
    pending.onList = step;
    pending.depth = depth;
    CopyPath(pending.path, directory);
    CopyPath(pending.pattern, pattern);
    return DDA_LIST_FILES;
}

DecoderAction FormatDecoder::AskWait(EventStep<FormatDecoder> step) {
    pending = Pending{};
    pending.action = DDA_WAIT_EVENT;
    pending.onEvent = step;
    return DDA_WAIT_EVENT;
}

// ---- handing out and completing the pending action ----

FormatDecoder::Pending FormatDecoder::TakePending() {
    return std::exchange(pending, Pending{});
}

bool FormatDecoder::GiveOpenName(char* name) const {
    if (pending.action != DDA_OPEN) {
        return false;
    }
    CopyPath(name, pending.path);
    return true;
}

bool FormatDecoder::GiveFileToClose(int32_t* fileId) const {
    if (pending.action != DDA_CLOSE) {
        return false;
    }
    *fileId = pending.fileId;
    return true;
}

// A size the read buffer refuses leaves it empty, and the client refuses the read.
bool FormatDecoder::GiveReadParameters(int32_t* fileId, uint64_t* offset, uint32_t* size, uint8_t** buffer) {
    if (pending.action != DDA_READ) {
        return false;
    }
    readBuffer.Resize(pending.size);
    *fileId = pending.fileId;
    *offset = pending.offset;
    *size = pending.size;
    *buffer = readBuffer.Data();
    return true;
}

bool FormatDecoder::GiveListPath(char* directory, char* pattern, int32_t* depth) const {
    if (pending.action != DDA_LIST_FILES) {
        return false;
    }
    CopyPath(directory, pending.path);
    CopyPath(pattern, pending.pattern);
    *depth = pending.depth;
    return true;
}

DecoderAction FormatDecoder::CompleteOpen(int32_t fileId, uint64_t fileSize) {
    Pending done = TakePending();
    if (fileId != -1) {
        openFiles.push_back(fileId);
    }
    if (done.failure != nullptr && OpenFailed(fileId, fileSize)) {
        return Fail("%s", done.failure);
    }
    return (this->*done.onOpen)(fileId, fileSize);
}

DecoderAction FormatDecoder::CompleteRead(bool ok) {
    Pending done = TakePending();
    ByteView bytes =
        ok ? ByteView(readBuffer.Data(), std::min(done.size, readBuffer.Capacity())) : ByteView();
    if (done.onTryRead != nullptr) {
        return (this->*done.onTryRead)(ok, bytes);
    }
    if (!ok) {
        return done.failure != nullptr ? Fail("%s", done.failure) : DecoderFailure();
    }
    return (this->*done.onRead)(bytes);
}

DecoderAction FormatDecoder::CompleteClose(int32_t fileId) {
    Pending done = TakePending();
    ForgetFile(fileId);
    return (this->*done.onClose)(fileId);
}

DecoderAction FormatDecoder::CompleteList(bool ok, FileList& fileList) {
    Pending done = TakePending();
    return (this->*done.onList)(ok, fileList);
}

DecoderAction FormatDecoder::CompleteWait(WaitObject signalled) {
    Pending done = TakePending();
    return (this->*done.onEvent)(signalled);
}

void FormatDecoder::ForgetFile(int32_t fileId) {
    auto found = std::find(openFiles.begin(), openFiles.end(), fileId);
    if (found != openFiles.end()) {
        openFiles.erase(found);
    }
}

// ---- unloading and failing ----

DecoderAction FormatDecoder::UnloadingCore() {
    if (!openFiles.empty()) {
        return DDA_CLOSE;
    }
    Reset();
    return DDA_COMPLETE;
}

void FormatDecoder::UnloadingGetFileToClose(int32_t* fileId) {
    *fileId = openFiles.empty() ? -1 : openFiles.back();
}

DecoderAction FormatDecoder::UnloadingCloseComplete(int32_t fileId) {
    ForgetFile(fileId);
    return UnloadingCore();
}

DecoderAction FormatDecoder::FailingCore() {
    pending = Pending{};
    if (!openFiles.empty()) {
        return DDA_CLOSE;
    }
    Reset();
    return DDA_NO_ACTION;
}

void FormatDecoder::FailingGetFileToClose(int32_t* fileId) {
    *fileId = openFiles.empty() ? -1 : openFiles.back();
}

DecoderAction FormatDecoder::FailingCloseComplete(int32_t fileId) {
    ForgetFile(fileId);
    return DecoderFailure();
}

// ---- the phase operations, each routed to the pending action ----

#define VORN_FORMAT_FILE_STEPS(Phase)                                                                        \
    void FormatDecoder::Phase##GetOpenName(char* name) {                                                     \
        if (!GiveOpenName(name)) {                                                                           \
            BaseDecoder::Phase##GetOpenName(name);                                                           \
        }                                                                                                    \
    }                                                                                                        \
    DecoderAction FormatDecoder::Phase##OpenComplete(int32_t fileId, uint64_t fileSize) {                    \
        return Completes(DDA_OPEN) ? CompleteOpen(fileId, fileSize)                                          \
                                   : BaseDecoder::Phase##OpenComplete(fileId, fileSize);                     \
    }                                                                                                        \
    void FormatDecoder::Phase##GetFileToClose(int32_t* fileId) {                                             \
        if (!GiveFileToClose(fileId)) {                                                                      \
            BaseDecoder::Phase##GetFileToClose(fileId);                                                      \
        }                                                                                                    \
    }                                                                                                        \
    DecoderAction FormatDecoder::Phase##CloseComplete(int32_t fileId) {                                      \
        return Completes(DDA_CLOSE) ? CompleteClose(fileId) : BaseDecoder::Phase##CloseComplete(fileId);     \
    }                                                                                                        \
    void FormatDecoder::Phase##GetReadParameters(int32_t* fileId, uint64_t* offset, uint32_t* size,          \
                                                 uint8_t** buffer) {                                         \
        if (!GiveReadParameters(fileId, offset, size, buffer)) {                                             \
            BaseDecoder::Phase##GetReadParameters(fileId, offset, size, buffer);                             \
        }                                                                                                    \
    }                                                                                                        \
    DecoderAction FormatDecoder::Phase##ReadComplete(int32_t fileId, bool ok) {                              \
        return Completes(DDA_READ) ? CompleteRead(ok) : BaseDecoder::Phase##ReadComplete(fileId, ok);        \
    }                                                                                                        \
    DecoderAction FormatDecoder::Phase##EventComplete(WaitObject signalled) {                                \
        return Completes(DDA_WAIT_EVENT) ? CompleteWait(signalled)                                           \
                                         : BaseDecoder::Phase##EventComplete(signalled);                     \
    }

VORN_FORMAT_FILE_STEPS(Querying)
VORN_FORMAT_FILE_STEPS(Loading)
VORN_FORMAT_FILE_STEPS(Positioning)
VORN_FORMAT_FILE_STEPS(PositioningAudio)
VORN_FORMAT_FILE_STEPS(Decompressing)
VORN_FORMAT_FILE_STEPS(DecompressingAudio)

#undef VORN_FORMAT_FILE_STEPS

void FormatDecoder::QueryingGetListPath(char* directory, char* pattern, int32_t* depth) {
    if (!GiveListPath(directory, pattern, depth)) {
        BaseDecoder::QueryingGetListPath(directory, pattern, depth);
    }
}

DecoderAction FormatDecoder::QueryingFileListComplete(bool ok, FileList& fileList) {
    return Completes(DDA_LIST_FILES) ? CompleteList(ok, fileList)
                                     : BaseDecoder::QueryingFileListComplete(ok, fileList);
}

void FormatDecoder::LoadingGetListPath(char* directory, char* pattern, int32_t* depth) {
    if (!GiveListPath(directory, pattern, depth)) {
        BaseDecoder::LoadingGetListPath(directory, pattern, depth);
    }
}

DecoderAction FormatDecoder::LoadingFileListComplete(bool ok, FileList& fileList) {
    return Completes(DDA_LIST_FILES) ? CompleteList(ok, fileList)
                                     : BaseDecoder::LoadingFileListComplete(ok, fileList);
}

} // namespace Vorn::Vorncast::Decoders
