#pragma once

#include "model/files/FileSystem.h"
#include "model/support/Buffer.h"
#include "model/support/ReferenceCountObject.h"

#include <cstdint>

namespace Vorn {

// A read-only file, or the tail of one: a path ending in ';' and a hexadecimal byte offset opens
// the file from that offset on. Copies share the open handle and so share the position.
// Operations answer 0 or 1 and tell why through the log; callers add their own last-error text.
class File {
public:
    File();
    File(const File& other);
    File& operator=(const File& other);
    ~File();

    // A null file system makes a native one that the file owns.
    int Open(FileSystem* fileSystem, const char* path);
    // Reads up to `count` bytes at the present position; a short read succeeds, none fails.
    int Read(Buffer destination, int32_t count, uint32_t* bytesRead);
    int Read(void* destination, int32_t count, uint32_t* bytesRead);
    // Whence 0 counts from the tail offset, 1 and 2 on the whole file. `newPosition` receives the
    // position in the whole file, all ones on failure.
    int Seek(int64_t offset, int whence, uint64_t* newPosition);

    bool IsOpen() const;
    // The size from the tail offset on.
    int64_t Size() const { return value->size; }
    int64_t StartOffset() const { return startOffset; }
    // The size of the whole file, 0 when closed.
    int64_t PhysicalSize() const;

private:
    class FileValue : public ReferenceCountObject {
    public:
        ~FileValue() override;

        FileHandle* handle = nullptr;
        FileSystem* fileSystem = nullptr;
        bool ownsFileSystem = false;
        int64_t size = 0;
    };

    int64_t startOffset = 0;
    FileValue* value;
};

} // namespace Vorn
