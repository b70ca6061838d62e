#include "codecs/jpeg/JpegHuffman.h"

#include <cstring>

namespace Vorn::Vorncast::Decoders {

bool JpegHuffmanTable::Build(const uint8_t* counts, const uint8_t* newSymbols, int32_t symbolCount) {
    loaded = false;
    int32_t total = 0;
    for (int32_t length = 1; length <= 16; ++length) {
        total += counts[length - 1];
    }
    if (total > 256 || total > symbolCount) {
        return false;
    }
    std::memcpy(symbols, newSymbols, static_cast<size_t>(total));
    std::memset(lookup, 0, sizeof(lookup));
    int32_t code = 0;
    int32_t index = 0;
    for (int32_t length = 1; length <= 16; ++length) {
        int32_t count = counts[length - 1];
        valueOffset[length] = index - code;
        // All codes of this length must fit in `length` bits.
        if (code + count > (1 << length)) {
            return false;
        }
        for (int32_t i = 0; i < count; ++i, ++code, ++index) {
            if (length <= LookupBits) {
                int32_t spread = 1 << (LookupBits - length);
                for (int32_t j = 0; j < spread; ++j) {
                    lookup[(code << (LookupBits - length)) | j] =
                        static_cast<uint16_t>((length << 8) | symbols[index]);
                }
            }
        }
        maxCode[length] = count > 0 ? code - 1 : -1;
        code <<= 1;
    }
    loaded = true;
    return true;
}

int32_t JpegHuffmanTable::Decode(JpegBitReader& bits) const {
    uint16_t entry = lookup[bits.Peek(LookupBits)];
    if (entry != 0) {
        bits.Skip(entry >> 8);
        return entry & 0xFF;
    }
    uint32_t window = bits.Peek(16);
    for (int32_t length = LookupBits + 1; length <= 16; ++length) {
        int32_t code = static_cast<int32_t>(window >> (16 - length));
        if (code <= maxCode[length]) {
            int32_t index = code + valueOffset[length];
            if (index < 0) {
                return -1;
            }
            bits.Skip(length);
            return symbols[index];
        }
    }
    return -1;
}

} // namespace Vorn::Vorncast::Decoders
