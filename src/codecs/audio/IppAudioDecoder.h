#pragma once

#include "codecs/audio/AudioEngine.h"

#include <cstdint>

namespace Vorn::Vorncast::Decoders {

// The uniform decompressor of one compressed audio frame into interleaved 16-bit samples.
class IppAudioDecoder {
public:
    IppAudioDecoder() = default;
    IppAudioDecoder(const IppAudioDecoder&) = delete;
    IppAudioDecoder& operator=(const IppAudioDecoder&) = delete;
    virtual ~IppAudioDecoder() = default;

    // Closes any engine of an earlier call and opens a new one. `config` carries the codec's
    // configuration where a container keeps it apart from the frames (an AAC
    // AudioSpecificConfig); it may be null.
    virtual bool Initialise(const uint8_t* config, int32_t configSize) = 0;
    virtual void Close();
    // True when the frame decoded into `output`; GetDecodedBytes then tells how much it filled.
    virtual bool Decode(const uint8_t* input, int32_t size, uint8_t* output, int32_t outputSize) = 0;

    bool Initialise() { return Initialise(nullptr, 0); }
    bool IsInitialised() const { return engine.IsOpen(); }
    // Bytes of samples the last Decode wrote; 0 after a failure.
    int32_t GetDecodedBytes() const { return decodedBytes; }
    int32_t GetSampleRate() const { return engine.SampleRate(); }
    int32_t GetChannels() const { return engine.Channels(); }

protected:
    AudioEngine engine;
    int32_t decodedBytes = 0;
};

} // namespace Vorn::Vorncast::Decoders
