#pragma once

#include "core/CoreTypes.h"

#include <cstdint>
#include <memory>

namespace Vorn {
class SourceFile;
}

namespace Vorn::Vorncast::Decoders {

// Origins of FileHandler::Seek.
enum SeekOrigin : int32_t {
    SeekFromStart = 0,
    SeekFromCurrent = 1,
    SeekFromEnd = 2,
};

// One file that a client opened for its decoder: read-only, 64-bit positions, and reads that
// zero-fill the caller's buffer first. Files are reached through the current FileSource.
class FileHandler {
public:
    // The name is kept cut to MaxPathLength - 1 characters.
    explicit FileHandler(const char* name);
    FileHandler(const FileHandler&) = delete;
    FileHandler& operator=(const FileHandler&) = delete;
    virtual ~FileHandler();

    // Opens the stored name and takes its size; false when either fails (the file stays closed).
    virtual bool Open();
    // Closes the file and clears the size; a second call does nothing.
    virtual void Close();
    // Reads `count` bytes at the position into `buffer`, which is zero-filled over `count` first.
    // Returns the bytes read (fewer at the end of the file), 0 for a refused call or an error.
    virtual int64_t Read(int64_t count, uint8_t* buffer);
    virtual int64_t GetSize();
    // The position; 0 when closed.
    virtual int64_t GetPosition();
    // Moves the position and returns it; 0 when closed or when the target would be negative.
    virtual int64_t Seek(int64_t offset, int32_t origin);

    const char* GetName() const { return name; }
    bool IsOpen() const { return file != nullptr; }

private:
    char name[MaxPathLength];
    std::unique_ptr<SourceFile> file;
    int64_t size = 0;
    int64_t position = 0;
};

} // namespace Vorn::Vorncast::Decoders
