#pragma once

#include <cstdint>

namespace Vorn::Vorncast::Decoders {

class LibjpegDecoder;

// Working memory of the JPEG decoder, kept by a format decoder so that frames don't pay for its
// set-up. It holds nothing of a picture: every decode starts afresh.
class JpegDecoderScratch {
public:
    JpegDecoderScratch();
    ~JpegDecoderScratch();
    JpegDecoderScratch(const JpegDecoderScratch&) = delete;
    JpegDecoderScratch& operator=(const JpegDecoderScratch&) = delete;

    LibjpegDecoder& Decoder() { return *decoder; }

private:
    LibjpegDecoder* decoder;
};

// Reads the markers up to the first scan. True when a complete frame header precedes a scan and
// the frame is of a kind this codec decodes; then `width`, `height` and `channels` (the number of
// components) are set. Any of the out pointers may be null.
bool JpegReadHeader(const uint8_t* bytes, int32_t size, int32_t* width, int32_t* height, int32_t* channels);

// Decodes a baseline, extended, progressive or lossless JPEG picture into `buffer`: one byte a
// channel, blue first, top line first, each line starting on a four-byte boundary. One channel
// gives grey, three blue-first colour. Four channels keep the fourth byte, swap the first and
// third and multiply them all by the fourth, so that an Adobe CMYK or YCCK picture comes out as
// blue, green, red and its K byte.
// Refused before anything is written: a null pointer, a picture of channels x width x height above
// `bufferSize`, other channel counts, arithmetic-coded and hierarchical pictures. A scan that ends
// early gives false after the lines decoded before its end are written; the lines below stay as
// they were. Lines that the padding pushes past `bufferSize` are cut at its end.
bool JpegDecodeToBuffer(JpegDecoderScratch& scratch, const uint8_t* bytes, int32_t size, uint8_t* buffer,
                        int32_t bufferSize);
bool JpegDecodeToBuffer(const uint8_t* bytes, int32_t size, uint8_t* buffer, int32_t bufferSize);

// As JpegDecodeToBuffer, for one- and three-channel pictures only, and reports in `consumed` how
// many bytes from `bytes` on the picture used, up to and including its end-of-image marker.
bool JpegDecodeToBufferWithSize(const uint8_t* bytes, int32_t size, uint8_t* buffer, int32_t bufferSize,
                                int32_t* consumed);

} // namespace Vorn::Vorncast::Decoders
