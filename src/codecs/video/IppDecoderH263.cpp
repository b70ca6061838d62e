#include "codecs/video/IppDecoderH263.h"

#include "interface/LibraryFrame.h"

namespace Vorn::Vorncast::Decoders {

void IppDecoderH263::LogEngineFailure(int32_t) const {
    Log(__FILE__, __LINE__, LogCore, "H263VideoDecoder::GetFrame failed\n");
}

} // namespace Vorn::Vorncast::Decoders
