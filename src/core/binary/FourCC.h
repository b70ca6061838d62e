#pragma once

#include <cstdint>

namespace Vorn::Vorncast::Decoders {

// Four-character codes as 32-bit values equal to their four stored bytes read in a given order, so
// that a code read with U32LE or U32BE compares with a constant made here.

// As RIFF and AVI store them, read little-endian: the first character in the lowest byte.
constexpr uint32_t FourCCLE(const char (&code)[5]) {
    return static_cast<uint32_t>(static_cast<uint8_t>(code[0])) |
           static_cast<uint32_t>(static_cast<uint8_t>(code[1])) << 8 |
           static_cast<uint32_t>(static_cast<uint8_t>(code[2])) << 16 |
           static_cast<uint32_t>(static_cast<uint8_t>(code[3])) << 24;
}

// As ISO base media boxes store them, read big-endian: the first character in the highest byte.
constexpr uint32_t FourCCBE(const char (&code)[5]) {
    return static_cast<uint32_t>(static_cast<uint8_t>(code[0])) << 24 |
           static_cast<uint32_t>(static_cast<uint8_t>(code[1])) << 16 |
           static_cast<uint32_t>(static_cast<uint8_t>(code[2])) << 8 |
           static_cast<uint32_t>(static_cast<uint8_t>(code[3]));
}

} // namespace Vorn::Vorncast::Decoders
