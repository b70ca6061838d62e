#pragma once

#include <cstddef>
#include <cstdint>

// Binary-coded decimal: two decimal digits a byte, the high nibble first.
namespace Vorn::Vorncast::Decoders::Bcd {

// The most bytes whose digits a 64-bit value holds.
constexpr size_t MaxRunBytes = 9;

// True when every nibble of `packed` is a decimal digit (a byte, or a word read in any order).
constexpr bool IsValid(uint64_t packed) {
    for (; packed != 0; packed >>= 4) {
        if ((packed & 0xF) > 9) {
            return false;
        }
    }
    return true;
}

// The nibbles of `packed` as decimal digits, most significant first: 0x59 is 59, 0x2004 is 2004.
// An invalid nibble counts with its own value (0x1A is 20), as recorders' readers do.
constexpr uint64_t Value(uint64_t packed) {
    uint64_t value = 0;
    uint64_t scale = 1;
    for (; packed != 0; packed >>= 4, scale *= 10) {
        value += (packed & 0xF) * scale;
    }
    return value;
}

constexpr bool IsValidRun(const uint8_t* bytes, size_t count) {
    for (size_t i = 0; i < count; ++i) {
        if (!IsValid(bytes[i])) {
            return false;
        }
    }
    return true;
}

// The digits of `count` bytes in the order they are stored: {0x20, 0x04} is 2004.
constexpr uint64_t RunValue(const uint8_t* bytes, size_t count) {
    uint64_t value = 0;
    for (size_t i = 0; i < count; ++i) {
        value = value * 100 + Value(bytes[i]);
    }
    return value;
}

} // namespace Vorn::Vorncast::Decoders::Bcd
