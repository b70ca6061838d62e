#pragma once

#include "model/files/File.h"
#include "model/support/List.h"

#include <cstdint>

namespace Vorn {

// A chain of files read as if they were one: reads run across file boundaries, so a frame that
// straddles two files of a recording needs no special case in a decoder.
class CompositeFile {
public:
    CompositeFile() = default;
    CompositeFile(const CompositeFile&) = delete;
    CompositeFile& operator=(const CompositeFile&) = delete;

    // Opens the path (a ';' tail allowed) and appends it; a file that fails to open is not added.
    int Append(const char* path);
    // Reads from the present position on; stopping at the end of the last file is a short success.
    int Read(int32_t count, void* destination, int32_t capacity, uint32_t* bytesRead);
    int Seek(int64_t position, uint64_t* newPosition);
    // The tail offset of the file that holds the present position, 0 when there is none.
    int64_t GetCurrentFileStartOffset();

    // The file that holds `position` and the offset in it. Beyond the end, the last file with an
    // offset past its end; with no files, index -1 and the position itself.
    void Locate(int64_t position, int32_t* fileIndex, int64_t* offset) const;

    int32_t FileCount() const { return files.Count(); }
    int64_t TotalSize() const { return totalSize; }
    int64_t Position() const { return position; }

private:
    List<File> files;
    int64_t totalSize = 0;
    int64_t position = 0;
};

} // namespace Vorn
