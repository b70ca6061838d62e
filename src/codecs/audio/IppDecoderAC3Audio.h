#pragma once

#include "codecs/audio/IppAudioDecoder.h"

namespace Vorn::Vorncast::Decoders {

// AC-3, one frame a call, always as two channels: the decoder downmixes wider streams and a
// mono stream goes to both.
class IppDecoderAC3Audio : public IppAudioDecoder {
public:
    static constexpr int32_t OutputChannels = 2;

    using IppAudioDecoder::Initialise;
    bool Initialise(const uint8_t* config, int32_t configSize) override;
    bool Decode(const uint8_t* input, int32_t size, uint8_t* output, int32_t outputSize) override;
};

} // namespace Vorn::Vorncast::Decoders
