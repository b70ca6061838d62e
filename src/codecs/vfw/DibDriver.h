#pragma once

#include "codecs/vfw/VfwDriver.h"

namespace Vorn::Vorncast::Decoders {

// The shape every driver of the library shares: it answers a 24-bit blue-first DIB of the
// stream's own size, accepts only that as output, and hands each non-empty frame to its codec.
class DibDriver : public VfwDriver {
public:
    int32_t GetFormat(const uint8_t* input, uint32_t formatSize, uint8_t* output) final;
    int32_t Begin(const uint8_t* input, const uint8_t* output, uint32_t formatSize) final;
    // An empty frame repeats the last picture.
    int32_t Decompress(const IcDecompress& record) final;

protected:
    // Whether the codec exists for this stream at all.
    virtual bool CanDecode() const = 0;
    // Sets the codec up for the stream whose format (with any codec bytes behind the header) is
    // `input`; `width` and `height` are known by then.
    virtual int32_t Prepare(ByteView input) = 0;
    // Decodes one frame into the bottom-up DIB `dib`.
    virtual int32_t DecodeFrame(ByteView frame, uint8_t* dib) = 0;

    int32_t width = 0;
    int32_t height = 0;
};

} // namespace Vorn::Vorncast::Decoders
