#include "formats/iso/VigilantMpeg4Decoder.h"

#include "interface/LibraryFrame.h"

namespace Vorn::Vorncast::Decoders {

void VigilantMpeg4Decoder::LogEngineFailure(int32_t status) const {
    Log(__FILE__, __LINE__, LogCore, "MPEG4VideoDecoder::GetFrame failed with status %d\n", status);
}

} // namespace Vorn::Vorncast::Decoders
