#include "codecs/vfw/BuiltinVfwDriver.h"

#include "codecs/vfw/DibPicture.h"

#include <new>

namespace Vorn::Vorncast::Decoders {

bool BuiltinVfwDriver::CanDecode() const {
    VfwBuiltinDecodeFunction function = nullptr;
    return FindVfwBuiltinDecoder(handler, &function) && function != nullptr;
}

int32_t BuiltinVfwDriver::Prepare(ByteView) {
    FindVfwBuiltinDecoder(handler, &decode);
    picture.reset(new (std::nothrow) uint8_t[static_cast<size_t>(width) * static_cast<size_t>(height) * 3]());
    return picture != nullptr ? ICERR_OK : ICERR_MEMORY;
}

int32_t BuiltinVfwDriver::DecodeFrame(ByteView frame, uint8_t* dib) {
    if (decode == nullptr ||
        !decode(frame.Data(), static_cast<uint32_t>(frame.Size()), width, height, picture.get())) {
        return ICERR_ERROR;
    }
    WriteBottomUpDib(picture.get(), width, height, dib);
    return ICERR_OK;
}

} // namespace Vorn::Vorncast::Decoders
