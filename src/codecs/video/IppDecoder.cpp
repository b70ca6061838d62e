#include "codecs/video/IppDecoder.h"

#include <algorithm>
#include <vector>

namespace Vorn::Vorncast::Decoders {

int32_t IppDecoder::Decode(Buffer input, int32_t /*inputOffset*/, Buffer output, int32_t /*outputOffset*/) {
    return Decode(input.Data(), input.Data() != nullptr ? input.Size() : 0, output.Data(),
                  output.Data() != nullptr ? output.Size() : 0)
               ? 1
               : 0;
}

bool IppDecoder::DecodeSkippingPicture(const uint8_t* input, int32_t size) {
    std::vector<uint8_t> picture(static_cast<size_t>(std::max<int64_t>(PictureBytes(), 0)));
    return Decode(input, size, picture.data(), static_cast<int32_t>(picture.size()));
}

} // namespace Vorn::Vorncast::Decoders
