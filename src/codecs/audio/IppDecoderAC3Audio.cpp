#include "codecs/audio/IppDecoderAC3Audio.h"

namespace Vorn::Vorncast::Decoders {

bool IppDecoderAC3Audio::Initialise(const uint8_t*, int32_t) {
    decodedBytes = 0;
    return engine.Open(AudioCodec::Ac3, ByteView(), OutputChannels);
}

bool IppDecoderAC3Audio::Decode(const uint8_t* input, int32_t size, uint8_t* output, int32_t outputSize) {
    decodedBytes = 0;
    const int32_t written =
        engine.Decode(ByteView(input, size > 0 ? static_cast<size_t>(size) : 0), output, outputSize);
    decodedBytes = written > 0 ? written : 0;
    return written > 0;
}

} // namespace Vorn::Vorncast::Decoders
