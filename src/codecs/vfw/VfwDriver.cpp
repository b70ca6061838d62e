#include "codecs/vfw/VfwDriver.h"

#include "codecs/vfw/AvcodecVfwDriver.h"
#include "codecs/vfw/SpecialVfwDriver.h"

namespace Vorn::Vorncast::Decoders {

std::unique_ptr<VfwDriver> OpenCodecDriver(const char*, const IcOpen& open) {
    if (open.fccType != MakeFourCC("vidc") || (open.flags & ICMODE_DECOMPRESS) == 0) {
        return nullptr;
    }
    VfwSpecialDecodeFunction special = nullptr;
    if (FindVfwSpecialDecoder(open.fccHandler, &special)) {
        return std::make_unique<SpecialVfwDriver>(open.fccHandler);
    }
    return std::make_unique<AvcodecVfwDriver>(open.fccHandler);
}

} // namespace Vorn::Vorncast::Decoders
