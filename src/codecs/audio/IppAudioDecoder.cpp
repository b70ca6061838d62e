#include "codecs/audio/IppAudioDecoder.h"

namespace Vorn::Vorncast::Decoders {

void IppAudioDecoder::Close() {
    engine.Close();
    decodedBytes = 0;
}

} // namespace Vorn::Vorncast::Decoders
