#pragma once

#include "codecs/video/EngineVideoDecoder.h"

namespace Vorn::Vorncast::Decoders {

// MPEG-2 video. Every access unit gives its own picture at once, in decoding order, so that a
// format decoder that walks I, P and B frames itself gets the picture of the frame it passed.
// Without a size from the caller (or from a sequence header in `config`) the size comes from the
// first decoded frame, which also sets `initialised`; Decode opens the engine when Initialise has
// not.
class IppDecoderMPEG2 : public EngineVideoDecoder {
public:
    IppDecoderMPEG2() : EngineVideoDecoder("IppDecoderMPEG2", VideoCodec::Mpeg2, true) {}

    using EngineVideoDecoder::Initialise;
    bool Initialise(int32_t width, int32_t height, int32_t channels, bool lineDoubling, const uint8_t* config,
                    int32_t configSize) override;
    using EngineVideoDecoder::Decode;
    bool Decode(const uint8_t* input, int32_t size, uint8_t* output, int32_t outputSize) override;

    // Picture size from the first sequence header in `bytes`; planes is always 3. False when no
    // sequence header with a nonzero size is there.
    static bool ParseImageFormat(const uint8_t* bytes, int32_t size, int32_t* width, int32_t* height,
                                 int32_t* planes);

protected:
    void LogEngineFailure(int32_t status) const override;
    void AdoptPictureSize(int32_t pictureWidth, int32_t pictureHeight) override;

private:
    bool sizeFromCaller = false;
};

} // namespace Vorn::Vorncast::Decoders
