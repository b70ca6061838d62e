#include "codecs/vfw/SpecialVfwDriver.h"

#include "codecs/vfw/DibPicture.h"

#include <new>

namespace Vorn::Vorncast::Decoders {

bool SpecialVfwDriver::CanDecode() const {
    VfwSpecialDecodeFunction function = nullptr;
    return FindVfwSpecialDecoder(handler, &function) && function != nullptr;
}

int32_t SpecialVfwDriver::Prepare(ByteView) {
    FindVfwSpecialDecoder(handler, &decode);
    picture.reset(new (std::nothrow) uint8_t[static_cast<size_t>(width) * static_cast<size_t>(height) * 3]());
    return picture != nullptr ? ICERR_OK : ICERR_MEMORY;
}

int32_t SpecialVfwDriver::DecodeFrame(ByteView frame, uint8_t* dib) {
    if (decode == nullptr ||
        !decode(frame.Data(), static_cast<uint32_t>(frame.Size()), width, height, picture.get())) {
        return ICERR_ERROR;
    }
    WriteBottomUpDib(picture.get(), width, height, dib);
    return ICERR_OK;
}

} // namespace Vorn::Vorncast::Decoders
