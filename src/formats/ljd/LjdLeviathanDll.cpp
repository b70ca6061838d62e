#include "formats/ljd/LjdLeviathanDll.h"

#include <dlfcn.h>

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <string>

namespace Vorn::Vorncast::Decoders {

namespace {

constexpr const char* LibraryName = "libvdbfile.so";

// The folder of the module that holds this code, with its final separator.
std::string ModuleFolder() {
    Dl_info module{};
    if (dladdr(reinterpret_cast<void*>(&ModuleFolder), &module) == 0 || module.dli_fname == nullptr) {
        return std::string();
    }
    const std::string path = module.dli_fname;
    const size_t separator = path.find_last_of('/');
    return separator == std::string::npos ? std::string() : path.substr(0, separator + 1);
}

void* OpenLibrary() {
    const std::string beside = ModuleFolder() + LibraryName;
    void* library = dlopen(beside.c_str(), RTLD_NOW | RTLD_LOCAL);
    return library != nullptr ? library : dlopen(LibraryName, RTLD_NOW | RTLD_LOCAL);
}

template <class Call> bool BindCall(void* library, const char* name, Call* call) {
    *call = reinterpret_cast<Call>(dlsym(library, name));
    return *call != nullptr;
}

} // namespace

LjdLeviathanDll::LjdLeviathanDll(WaitEvent& completeEvent, LogSink log, void* logContext)
    : MasWorkerThread(completeEvent, log, logContext) {
    if (!Bind()) {
        Log("LjdLeviathanDll::LjdLeviathanDll failed to load vdbfile.dll\n");
    }
    Start();
}

LjdLeviathanDll::~LjdLeviathanDll() {
    Stop();
    if (handle != nullptr) {
        calls.close(handle);
    }
    if (library != nullptr) {
        dlclose(library);
    }
}

// All seven calls must be there, or the library is let go.
bool LjdLeviathanDll::Bind() {
    library = OpenLibrary();
    if (library == nullptr) {
        return false;
    }
    if (BindCall(library, "VDB_Open", &calls.open) && BindCall(library, "VDB_Close", &calls.close) &&
        BindCall(library, "VDB_FirstRecord", &calls.firstRecord) &&
        BindCall(library, "VDB_RecordCount", &calls.recordCount) &&
        BindCall(library, "VDB_ReadRecord", &calls.readRecord) &&
        BindCall(library, "VDB_GetFirstBitmap", &calls.getFirstBitmap) &&
        BindCall(library, "VDB_GetNextBitmap", &calls.getNextBitmap)) {
        return true;
    }
    dlclose(library);
    library = nullptr;
    return false;
}

bool LjdLeviathanDll::Open(const char* path) {
    LjdLeviathanDllInput input;
    input.kind = 0;
    std::snprintf(input.path, sizeof input.path, "%s", path);
    return Submit(input);
}

bool LjdLeviathanDll::Close() {
    LjdLeviathanDllInput input;
    input.kind = 1;
    return Submit(input);
}

bool LjdLeviathanDll::Read(int32_t camera, int32_t keyFrame, int32_t frame, uint8_t* buffer,
                           int32_t bufferSize) {
    LjdLeviathanDllInput input;
    input.kind = 2;
    input.camera = camera;
    input.keyFrame = keyFrame;
    input.frame = frame;
    input.buffer = buffer;
    input.bufferSize = bufferSize;
    return Submit(input);
}

bool LjdLeviathanDll::GetOpenResult(int32_t* width, int32_t* height) {
    LjdLeviathanDllOutput output;
    if (!PickUp(&output)) {
        Log("LjdLeviathanDll::GetOpenResult failed\n");
        return false;
    }
    *width = output.width;
    *height = output.height;
    return output.result;
}

bool LjdLeviathanDll::GetCloseResult() {
    LjdLeviathanDllOutput output;
    return PickUp(&output) && output.result;
}

bool LjdLeviathanDll::GetReadResult() {
    LjdLeviathanDllOutput output;
    return PickUp(&output) && output.result;
}

// ---- on the worker thread ----

void LjdLeviathanDll::Process() {
    result = LjdLeviathanDllOutput{};
    switch (request.kind) {
    case 0:
        result.result = ProcessOpen();
        break;
    case 1:
        result.result = library != nullptr && handle != nullptr;
        if (result.result) {
            calls.close(handle);
            handle = nullptr;
        }
        break;
    default:
        result.result = ProcessRead();
        break;
    }
}

// The picture size is that of the first record.
bool LjdLeviathanDll::ProcessOpen() {
    if (library == nullptr) {
        return false;
    }
    if (handle != nullptr) {
        calls.close(handle);
    }
    cursorCamera = cursorRecord = -1;
    handle = calls.open(request.path);
    if (handle == nullptr) {
        return false;
    }
    VdbRecordInfo info{};
    if (calls.recordCount(handle) > 0 && calls.readRecord(handle, calls.firstRecord(handle), &info) == 0) {
        result.width = info.width;
        result.height = info.height;
    }
    return true;
}

bool LjdLeviathanDll::ProcessRead() {
    if (library == nullptr || handle == nullptr) {
        return false;
    }
    const bool again = cursorCamera == request.camera && cursorRecord == request.frame;
    if (!again && !ReachFrame(request)) {
        cursorCamera = cursorRecord = -1;
        return false;
    }
    CopyBitmap(request.buffer, request.bufferSize);
    return true;
}

// From the cursor when it lies between the key frame and the frame, else from the key frame.
bool LjdLeviathanDll::ReachFrame(const LjdLeviathanDllInput& wanted) {
    const bool onTheWay =
        cursorCamera == wanted.camera && wanted.keyFrame < cursorRecord && cursorRecord < wanted.frame;
    if (!onTheWay) {
        if (calls.getFirstBitmap(handle, wanted.keyFrame, &bitmap) != 0) {
            return false;
        }
        cursorCamera = wanted.camera;
        cursorRecord = wanted.keyFrame;
    }
    while (cursorRecord < wanted.frame) {
        if (calls.getNextBitmap(handle, &cursorRecord, &bitmap) != 0) {
            return false;
        }
    }
    return cursorRecord == wanted.frame;
}

// Lines of three bytes a pixel, top line first, no padding; cut at the buffer's end.
void LjdLeviathanDll::CopyBitmap(uint8_t* buffer, int32_t bufferSize) const {
    if (buffer == nullptr || bitmap.bits == nullptr || bitmap.width <= 0 || bitmap.height <= 0) {
        return;
    }
    const size_t line = static_cast<size_t>(bitmap.width) * 3;
    size_t room = bufferSize > 0 ? static_cast<size_t>(bufferSize) : 0;
    for (int32_t row = 0; row < bitmap.height && room > 0; ++row) {
        const size_t size = std::min(line, room);
        std::memcpy(buffer + row * line, bitmap.bits + static_cast<size_t>(row) * bitmap.bytesPerLine, size);
        room -= size;
    }
}

} // namespace Vorn::Vorncast::Decoders
