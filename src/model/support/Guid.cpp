#include "model/support/Guid.h"
#include "model/support/Hex.h"

#include <cstdint>

namespace Vorn {
namespace {

// Reads `digits` hex digits at `position` into `value`.
bool ReadHex(std::string_view text, size_t position, int digits, uint64_t* value) {
    *value = 0;
    for (int i = 0; i < digits; ++i) {
        int digit = HexDigit(text[position + static_cast<size_t>(i)]);
        if (digit < 0) {
            return false;
        }
        *value = (*value << 4) | static_cast<uint64_t>(digit);
    }
    return true;
}

} // namespace

bool ParseGuid(std::string_view text, Guid* guid) {
    *guid = {};
    constexpr size_t Length = 38;
    if (text.size() != Length || text[0] != '{' || text[37] != '}' || text[9] != '-' || text[14] != '-' ||
        text[19] != '-' || text[24] != '-') {
        return false;
    }
    Guid parsed{};
    uint64_t value;
    if (!ReadHex(text, 1, 8, &value)) {
        return false;
    }
    parsed.data1 = static_cast<uint32_t>(value);
    if (!ReadHex(text, 10, 4, &value)) {
        return false;
    }
    parsed.data2 = static_cast<uint16_t>(value);
    if (!ReadHex(text, 15, 4, &value)) {
        return false;
    }
    parsed.data3 = static_cast<uint16_t>(value);
    constexpr size_t BytePositions[8] = {20, 22, 25, 27, 29, 31, 33, 35};
    for (int i = 0; i < 8; ++i) {
        if (!ReadHex(text, BytePositions[i], 2, &value)) {
            return false;
        }
        parsed.data4[i] = static_cast<uint8_t>(value);
    }
    *guid = parsed;
    return true;
}

} // namespace Vorn
