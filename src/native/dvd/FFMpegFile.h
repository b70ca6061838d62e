#pragma once

#include "model/files/CompositeFile.h"

#include <cstdint>

struct AVFormatContext;
struct AVIOContext;

namespace Vorn::Vorncast {

// The bridge between the VOB chain of a title set and libavformat: a composite file and the byte
// reader that the demultiplexer reads it through.
class FFMpegFile {
public:
    FFMpegFile() = default;
    FFMpegFile(const FFMpegFile&) = delete;
    FFMpegFile& operator=(const FFMpegFile&) = delete;
    ~FFMpegFile();

    // `fileSet` holds the paths of the chain joined by ';'.
    int Open(const char* fileSet);
    // Probes the chain and opens the demultiplexer over it; the context stays this object's.
    // False when libavformat takes neither.
    bool OpenInput();
    // Reads the streams' parameters; false when that fails.
    bool FindStreamInfo();
    void Close();

    CompositeFile& Composite() { return composite; }
    AVFormatContext* Format() const { return format; }

private:
    static int ReadBytes(void* opaque, uint8_t* destination, int size);
    static int64_t SeekBytes(void* opaque, int64_t offset, int whence);

    CompositeFile composite;
    AVIOContext* io = nullptr;
    AVFormatContext* format = nullptr;
    int64_t position = 0;
};

} // namespace Vorn::Vorncast
