#pragma once

#include "codecs/audio/IppAudioDecoder.h"

namespace Vorn::Vorncast::Decoders {

// MPEG audio, layers I, II and III: the layer in each frame's header picks the engine. One call
// takes one frame (or several in a row); no lookahead to the next frame is needed.
class IppDecoderMP3Audio : public IppAudioDecoder {
public:
    using IppAudioDecoder::Initialise;
    bool Initialise(const uint8_t* config, int32_t configSize) override;
    bool Decode(const uint8_t* input, int32_t size, uint8_t* output, int32_t outputSize) override;
};

} // namespace Vorn::Vorncast::Decoders
