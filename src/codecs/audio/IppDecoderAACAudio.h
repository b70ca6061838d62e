#pragma once

#include "codecs/audio/IppAudioDecoder.h"

namespace Vorn::Vorncast::Decoders {

// AAC. Frames come as ADTS, or raw with the AudioSpecificConfig given to Initialise.
class IppDecoderAACAudio : public IppAudioDecoder {
public:
    using IppAudioDecoder::Initialise;
    bool Initialise(const uint8_t* config, int32_t configSize) override;
    bool Decode(const uint8_t* input, int32_t size, uint8_t* output, int32_t outputSize) override;
};

} // namespace Vorn::Vorncast::Decoders
