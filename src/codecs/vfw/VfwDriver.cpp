#include "codecs/vfw/VfwDriver.h"

#include "codecs/vfw/AvcodecVfwDriver.h"
#include "codecs/vfw/BuiltinVfwDriver.h"

namespace Vorn::Vorncast::Decoders {

std::unique_ptr<VfwDriver> OpenCodecDriver(const char*, const IcOpen& open) {
    if (open.fccType != FourCCLE("vidc") || (open.flags & ICMODE_DECOMPRESS) == 0) {
        return nullptr;
    }
    VfwBuiltinDecodeFunction builtin = nullptr;
    if (FindVfwBuiltinDecoder(open.fccHandler, &builtin)) {
        return std::make_unique<BuiltinVfwDriver>(open.fccHandler);
    }
    return std::make_unique<AvcodecVfwDriver>(open.fccHandler);
}

} // namespace Vorn::Vorncast::Decoders
