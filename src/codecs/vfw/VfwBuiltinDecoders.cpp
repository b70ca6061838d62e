#include "codecs/vfw/VfwBuiltinDecoders.h"

#include "codecs/vfw/VfwCodecRoutes.h"
#include "codecs/vfw/VfwTypes.h"

namespace Vorn::Vorncast::Decoders {

namespace {

struct BuiltinDecoder {
    uint32_t fourCC;
    VfwBuiltinDecodeFunction decode;
};

constexpr int MaxBuiltinDecoders = 8;

BuiltinDecoder builtinDecoders[MaxBuiltinDecoders] = {
    {FourCCLE("ADV1"), DecodeAdv601Picture},
    {FourCCLE("TJPG"), DecodeJpegPicture},
};

BuiltinDecoder* Find(uint32_t fourCC) {
    for (BuiltinDecoder& entry : builtinDecoders) {
        if (entry.fourCC != 0 && FourCCEqualIgnoringCase(entry.fourCC, fourCC)) {
            return &entry;
        }
    }
    return nullptr;
}

} // namespace

bool RegisterVfwBuiltinDecoder(uint32_t fourCC, VfwBuiltinDecodeFunction decode) {
    if (fourCC == 0) {
        return false;
    }
    BuiltinDecoder* entry = Find(fourCC);
    for (BuiltinDecoder& free : builtinDecoders) {
        if (entry == nullptr && free.fourCC == 0) {
            entry = &free;
        }
    }
    if (entry == nullptr) {
        return false;
    }
    entry->fourCC = fourCC;
    entry->decode = decode;
    return true;
}

bool FindVfwBuiltinDecoder(uint32_t fourCC, VfwBuiltinDecodeFunction* decode) {
    const BuiltinDecoder* entry = fourCC != 0 ? Find(fourCC) : nullptr;
    *decode = entry != nullptr ? entry->decode : nullptr;
    return entry != nullptr;
}

} // namespace Vorn::Vorncast::Decoders
