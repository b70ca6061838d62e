#pragma once

#include "codecs/audio/IppAudioDecoder.h"

namespace Vorn::Vorncast::Decoders {

// What the header byte of an AMR narrow-band frame in storage format (.amr, "samr") says.
struct AmrFrameHeader {
    int32_t mode = 0;
    // Speech bits of the mode; -1 for a mode that carries no decodable speech (above 7).
    int32_t speechBits = -1;
    // Bytes of speech data behind the header byte.
    int32_t payloadBytes = 0;
    bool quality = false;
    int32_t bitRate = 0;
};

AmrFrameHeader ParseAmrFrameHeader(uint8_t headerByte);

// AMR narrow band: 8000 samples a second, mono, 16 bits. Each frame gives 160 samples (320
// bytes); a call may hold several frames in a row.
class IppDecoderAMRAudio : public IppAudioDecoder {
public:
    static constexpr int32_t SampleRate = 8000;
    static constexpr int32_t FrameOutputBytes = 320;

    using IppAudioDecoder::Initialise;
    bool Initialise(const uint8_t* config, int32_t configSize) override;
    // Fails on a mode above 7, on a frame cut short, and when the output cannot take 320 bytes for
    // every frame.
    bool Decode(const uint8_t* input, int32_t size, uint8_t* output, int32_t outputSize) override;
};

} // namespace Vorn::Vorncast::Decoders
