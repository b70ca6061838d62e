#include "codecs/audio/IppDecoderAACAudio.h"

namespace Vorn::Vorncast::Decoders {

bool IppDecoderAACAudio::Initialise(const uint8_t* config, int32_t configSize) {
    decodedBytes = 0;
    return engine.Open(AudioCodec::Aac,
                       ByteView(config, configSize > 0 ? static_cast<size_t>(configSize) : 0), 0);
}

bool IppDecoderAACAudio::Decode(const uint8_t* input, int32_t size, uint8_t* output, int32_t outputSize) {
    decodedBytes = 0;
    const int32_t written =
        engine.Decode(ByteView(input, size > 0 ? static_cast<size_t>(size) : 0), output, outputSize);
    decodedBytes = written > 0 ? written : 0;
    return written > 0;
}

} // namespace Vorn::Vorncast::Decoders
