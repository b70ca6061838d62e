#pragma once

#include "model/files/FileSource.h"
#include "model/files/FileSystem.h"

#include <memory>

namespace Vorn {

// A file opened through FileSource::Current(). The position is kept here and every read is a
// positioned read, so a seek costs no call to the platform.
class FileHandleNative : public FileHandle {
public:
    FileHandleNative() = default;
    explicit FileHandleNative(std::unique_ptr<SourceFile> file);

    int64_t GetSize() override { return size; }
    int64_t GetPosition() override { return position; }
    bool IsOpen() override { return file != nullptr; }

private:
    friend class FileSystemNative;

    std::unique_ptr<SourceFile> file; // null when closed
    int64_t size = 0;
    int64_t position = 0;
};

// The file system of the library: every name, listing and byte comes from FileSource::Current().
class FileSystemNative : public FileSystem {
public:
    int32_t GetDirectoryCount(const char* path) override;
    int32_t GetFileCount(const char* path) override;
    int32_t GetDirectoryName(const char* path, int32_t index, char* buffer, int32_t capacity) override;
    int32_t GetFileName(const char* path, int32_t index, char* buffer, int32_t capacity) override;
    bool Exists(const char* path) override;
    FileHandle* Open(const char* path) override;
    using FileSystem::Read;
    int32_t Read(FileHandle* handle, int32_t count, Buffer destination) override;
    int32_t Read(FileHandle* handle, int32_t count, void* destination, int32_t capacity) override;
    int64_t Seek(FileHandle* handle, int64_t offset, int whence) override;
    bool Reserved1() override { return false; }
    bool Reserved2() override { return true; }
    bool Reserved3() override { return false; }
    // Works on the host's disk, whatever source is installed: sources are read-only.
    bool CreateDirectory(const char* path) override;
};

} // namespace Vorn
