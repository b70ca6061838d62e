#pragma once

#include "codecs/vfw/VfwTypes.h"

#include <cstdint>
#include <memory>

namespace Vorn::Vorncast::Decoders {

// One open video decompressor, spoken to with the four decompression messages. Each operation
// answers a VfwResult. Format buffers are BITMAPINFOHEADERs, possibly followed by codec bytes,
// of `formatSize` bytes (at least 40).
class VfwDriver {
public:
    virtual ~VfwDriver() = default;

    // ICM_DECOMPRESS_GET_FORMAT: writes the picture format the driver delivers into `output`.
    virtual int32_t GetFormat(const uint8_t* input, uint32_t formatSize, uint8_t* output) = 0;
    // ICM_DECOMPRESS_BEGIN: prepares to turn frames of `input` into pictures of `output`.
    virtual int32_t Begin(const uint8_t* input, const uint8_t* output, uint32_t formatSize) = 0;
    // ICM_DECOMPRESS: one frame. ICERR_DONTDRAW when the frame gave no new picture.
    virtual int32_t Decompress(const IcDecompress& record) = 0;
    // ICM_DECOMPRESS_END.
    virtual int32_t End() = 0;
    // Closing the driver; false when it refuses.
    virtual bool Close() { return true; }
};

// Opens the driver file `path` with the open record; null when no driver opens.
using VfwDriverOpener = std::unique_ptr<VfwDriver> (*)(const char* path, const IcOpen& open);

// The library's drivers. None is a file: the decompressor is chosen from `open.fccHandler`, the
// stream's own FourCC. The FourCCs with a built-in decode function (see VfwBuiltinDecoders.h) go
// to that function; every other code goes to the libavcodec decoder that FFmpeg's RIFF table
// names for it, with H.264 and MPEG-4 part 2 told apart by the first frame's start codes. Only a
// decompression open of type "vidc" succeeds.
std::unique_ptr<VfwDriver> OpenCodecDriver(const char* path, const IcOpen& open);

} // namespace Vorn::Vorncast::Decoders
