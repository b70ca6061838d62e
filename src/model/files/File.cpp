#include "model/files/File.h"
#include "model/support/Hex.h"

#include "interface/LibraryFrame.h"
#include "model/files/FileSystemNative.h"

#include <cinttypes>
#include <cstring>
#include <memory>
#include <string>

using namespace Vorn::Vorncast;

namespace Vorn {
namespace {

constexpr const char* SourceName = "Core\\File";

// The log shows a handle as a 32-bit number, as the recorders' tools print it.
uint32_t HandleNumber(const FileHandle* handle) {
    return static_cast<uint32_t>(reinterpret_cast<uintptr_t>(handle));
}

// The tail offset read as a 32-bit strtoul reads base 16 (blanks, a sign and "0x" allowed, too large
// a number gives all ones, a minus negates), then sign-extended from 32 bits.
int64_t ParseTailOffset(const char* text) {
    while (*text == ' ' || (*text >= '\t' && *text <= '\r')) {
        ++text;
    }
    bool negative = *text == '-';
    if (*text == '-' || *text == '+') {
        ++text;
    }
    if (text[0] == '0' && (text[1] == 'x' || text[1] == 'X') && HexDigit(text[2]) >= 0) {
        text += 2;
    }
    uint64_t magnitude = 0;
    bool overflow = false;
    for (int digit; (digit = HexDigit(*text)) >= 0; ++text) {
        magnitude = magnitude * 16 + static_cast<uint64_t>(digit);
        overflow = overflow || magnitude > UINT32_MAX;
    }
    uint32_t value = overflow ? UINT32_MAX : static_cast<uint32_t>(magnitude);
    if (negative && !overflow) {
        value = 0u - value;
    }
    return static_cast<int32_t>(value);
}

void ZeroBehindDelivered(uint8_t* destination, int32_t count, int32_t delivered) {
    int32_t kept = delivered > 0 ? delivered : 0;
    if (kept < count) {
        std::memset(destination + kept, 0, static_cast<size_t>(count - kept));
    }
}

int FinishRead(uint8_t* destination, int32_t count, int32_t delivered, uint32_t* bytesRead) {
    // A host's file system need not zero the rest of the region; the caller relies on it.
    ZeroBehindDelivered(destination, count, delivered);
    uint32_t read = delivered > 0 ? static_cast<uint32_t>(delivered) : 0;
    if (bytesRead != nullptr) {
        *bytesRead = read;
    }
    if (read == 0) {
        Log(SourceName, __LINE__, LogStartUp, "File::Read error zero bytes were read\n");
        return GeneralFailure;
    }
    return Success;
}

} // namespace

File::FileValue::~FileValue() {
    if (handle != nullptr) {
        if (handle->IsOpen()) {
            Log(SourceName, __LINE__, LogTrace, "Closing file:%s with filehandle 0x%x\n", handle->Name(),
                HandleNumber(handle));
        }
        fileSystem->Close(handle);
    }
    if (ownsFileSystem) {
        delete fileSystem;
    }
}

File::File() : value(new FileValue) {
    value->AddReference();
}

File::File(const File& other) : startOffset(other.startOffset), value(other.value) {
    value->AddReference();
}

File& File::operator=(const File& other) {
    if (value != other.value) {
        other.value->AddReference();
        value->ReleaseReference();
        value = other.value;
    }
    startOffset = other.startOffset;
    return *this;
}

File::~File() {
    value->ReleaseReference();
}

bool File::IsOpen() const {
    return value->handle != nullptr && value->handle->IsOpen();
}

int64_t File::PhysicalSize() const {
    return IsOpen() ? value->handle->GetSize() : 0;
}

int File::Open(FileSystem* fileSystem, const char* path) {
    std::unique_ptr<FileSystem> madeFileSystem;
    if (fileSystem == nullptr) {
        madeFileSystem = std::make_unique<FileSystemNative>();
        fileSystem = madeFileSystem.get();
    }
    if (IsOpen()) {
        Log(SourceName, __LINE__, LogStartUp, "File::Open error, file handle already open\n");
        Log(SourceName, __LINE__, LogStartUp, "File::Open error, invalid file handle, unable to open\n");
        return GeneralFailure;
    }

    // The path without its tail is what the file system opens; the name keeps the whole path.
    std::string pathWithoutTail;
    const char* openedPath = path;
    const char* tail = path != nullptr ? std::strrchr(path, ';') : nullptr;
    if (tail != nullptr) {
        startOffset = ParseTailOffset(tail + 1);
        pathWithoutTail.assign(path, static_cast<size_t>(tail - path));
        openedPath = pathWithoutTail.c_str();
    }

    FileHandle* handle = fileSystem->Open(openedPath);
    if (handle == nullptr || !handle->IsOpen()) {
        if (handle != nullptr) {
            fileSystem->Close(handle);
        }
        Log(SourceName, __LINE__, LogStartUp, "File::Open error, invalid file handle, unable to open\n");
        return GeneralFailure;
    }

    handle->SetName(path);
    Log(SourceName, __LINE__, LogTrace, "Open file:%s as fileHandle:0x%x\n", path, HandleNumber(handle));
    value->handle = handle;
    value->fileSystem = fileSystem;
    value->ownsFileSystem = madeFileSystem != nullptr;
    madeFileSystem.release();
    value->size = handle->GetSize() - startOffset;

    // Positions at the tail offset. An empty file fails this seek with its log line, but it opened.
    Seek(0, SeekFromStart, nullptr);
    return Success;
}

int File::Read(Buffer destination, int32_t count, uint32_t* bytesRead) {
    if (count <= 0 || !IsOpen() || destination.Length() < count) {
        Log(SourceName, __LINE__, LogStartUp, "File::Read error invalid argument\n");
        return GeneralFailure;
    }
    int32_t delivered = value->fileSystem->Read(value->handle, count, destination);
    return FinishRead(destination.Data(), count, delivered, bytesRead);
}

int File::Read(void* destination, int32_t count, uint32_t* bytesRead) {
    if (count <= 0 || !IsOpen() || destination == nullptr) {
        Log(SourceName, __LINE__, LogStartUp, "File::Read error invalid argument\n");
        return GeneralFailure;
    }
    int32_t delivered = value->fileSystem->Read(value->handle, count, destination, count);
    return FinishRead(static_cast<uint8_t*>(destination), count, delivered, bytesRead);
}

int File::Seek(int64_t offset, int whence, uint64_t* newPosition) {
    if (newPosition != nullptr) {
        *newPosition = UINT64_MAX;
    }
    if (!IsOpen()) {
        Log(SourceName, __LINE__, LogStartUp, "File::Seek error logic error, failing as default condition\n");
        return GeneralFailure;
    }
    FileHandle* handle = value->handle;
    int64_t physicalSize = handle->GetSize();
    int64_t platformOffset = offset;
    switch (whence) {
    case SeekFromStart:
        // Tested against the whole file, so a tail can be sought past its own end by its offset.
        if (offset < 0 || offset >= physicalSize) {
            Log(SourceName, __LINE__, LogStartUp,
                "File::Seek error absolute offset %" PRId64 " out of range\n", offset);
            return GeneralFailure;
        }
        platformOffset = startOffset + offset;
        break;
    case SeekFromCurrent: {
        int64_t position = handle->GetPosition();
        int64_t landing;
        if (__builtin_add_overflow(position, offset, &landing) || landing < 0 || landing >= physicalSize) {
            Log(SourceName, __LINE__, LogStartUp,
                "File::Seek error relative offset %" PRId64 " out of range (current position %" PRId64
                ", file size %" PRId64 ")\n",
                offset, position, physicalSize);
            return GeneralFailure;
        }
        break;
    }
    case SeekFromEnd:
        if (offset < -physicalSize || offset > 0) {
            Log(SourceName, __LINE__, LogStartUp,
                "File::Seek error (from end) offset %" PRId64 " out of range", offset);
            return GeneralFailure;
        }
        break;
    default:
        Log(SourceName, __LINE__, LogStartUp, "File::Seek error logic error, failing as default condition\n");
        return GeneralFailure;
    }
    int64_t result = value->fileSystem->Seek(handle, platformOffset, whence);
    if (result == -1) {
        Log(SourceName, __LINE__, LogStartUp, "File::Seek error invalid pos after seek");
        return GeneralFailure;
    }
    if (newPosition != nullptr) {
        *newPosition = static_cast<uint64_t>(result);
    }
    return Success;
}

} // namespace Vorn
