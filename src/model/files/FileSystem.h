#pragma once

#include "model/support/Buffer.h"

#include <cstdint>

namespace Vorn {

// One open file of a FileSystem.
class FileHandle {
public:
    FileHandle() = default;
    FileHandle(const FileHandle&) = delete;
    FileHandle& operator=(const FileHandle&) = delete;
    virtual ~FileHandle() = default;

    virtual int64_t GetSize() = 0;
    virtual int64_t GetPosition() = 0;
    virtual bool IsOpen() = 0;

    // The path the handle was opened for; "" until it is set.
    const char* Name() const;
    void SetName(const char* path) { name = Buffer(path); }

private:
    Buffer name;
};

// Where a seek counts from.
enum SeekOrigin : int {
    SeekFromStart = 0,
    SeekFromCurrent = 1,
    SeekFromEnd = 2,
};

// Directory enumeration and read-only random access. An interface so that a host could put
// something else behind it; the library itself only ever uses FileSystemNative.
class FileSystem {
public:
    virtual ~FileSystem() = default;

    // Entries with the directory attribute, "." and ".." included; 0 when the path cannot be listed.
    virtual int32_t GetDirectoryCount(const char* path) = 0;
    virtual int32_t GetFileCount(const char* path) = 0;
    // The size of the name with its terminator, 0 when there is no such entry. When buffer and
    // capacity are nonzero, up to `capacity` bytes of the name and its terminator are copied.
    virtual int32_t GetDirectoryName(const char* path, int32_t index, char* buffer, int32_t capacity) = 0;
    virtual int32_t GetFileName(const char* path, int32_t index, char* buffer, int32_t capacity) = 0;
    virtual bool Exists(const char* path) = 0;
    // Null for a null path; a handle on which IsOpen is false when the open itself failed.
    virtual FileHandle* Open(const char* path) = 0;
    // Closes and deletes the handle.
    virtual void Close(FileHandle* handle);
    virtual int32_t Read(FileHandle* handle, int32_t count, Buffer destination) = 0;
    // Bytes read, or -1. The first `count` bytes of the destination hold zeros behind what was read.
    virtual int32_t Read(FileHandle* handle, int32_t count, void* destination, int32_t capacity) = 0;
    // The new position, or -1.
    virtual int64_t Seek(FileHandle* handle, int64_t offset, int whence) = 0;
    // Slots kept for hosts that implement this interface; nothing in the library calls them.
    virtual bool Reserved1() = 0;
    virtual bool Reserved2() = 0;
    virtual bool Reserved3() = 0;
    // Makes every missing level of the path.
    virtual bool CreateDirectory(const char* path) = 0;
};

} // namespace Vorn
