#include "codecs/vfw/VfwSpecialDecoders.h"

#include "codecs/vfw/VfwCodecRoutes.h"
#include "codecs/vfw/VfwTypes.h"

namespace Vorn::Vorncast::Decoders {

namespace {

struct SpecialDecoder {
    uint32_t fourCC;
    VfwSpecialDecodeFunction decode;
};

constexpr int MaxSpecialDecoders = 8;

SpecialDecoder specialDecoders[MaxSpecialDecoders] = {
    {MakeFourCC("ADV1"), DecodeAdv601Picture},
    {MakeFourCC("TJPG"), DecodeJpegPicture},
};

SpecialDecoder* Find(uint32_t fourCC) {
    for (SpecialDecoder& entry : specialDecoders) {
        if (entry.fourCC != 0 && FourCCEqualIgnoringCase(entry.fourCC, fourCC)) {
            return &entry;
        }
    }
    return nullptr;
}

} // namespace

bool RegisterVfwSpecialDecoder(uint32_t fourCC, VfwSpecialDecodeFunction decode) {
    if (fourCC == 0) {
        return false;
    }
    SpecialDecoder* entry = Find(fourCC);
    for (SpecialDecoder& free : specialDecoders) {
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

bool FindVfwSpecialDecoder(uint32_t fourCC, VfwSpecialDecodeFunction* decode) {
    const SpecialDecoder* entry = fourCC != 0 ? Find(fourCC) : nullptr;
    *decode = entry != nullptr ? entry->decode : nullptr;
    return entry != nullptr;
}

} // namespace Vorn::Vorncast::Decoders
