#include "codecs/video/IppDecoder.h"

namespace Vorn::Vorncast::Decoders {

int32_t IppDecoder::Decode(Buffer input, int32_t /*inputOffset*/, Buffer output, int32_t /*outputOffset*/) {
    return Decode(input.Data(), input.Data() != nullptr ? input.Size() : 0, output.Data(),
                  output.Data() != nullptr ? output.Size() : 0)
               ? 1
               : 0;
}

} // namespace Vorn::Vorncast::Decoders
