#pragma once

#include <cstddef>
#include <cstdint>

namespace Vorn::Vorncast::Decoders {

// Reads JPEG entropy-coded bits, most significant first, dropping the zero byte stuffed behind
// each 0xFF. Past the end it reads zero bits and counts them as overrun.
class JpegBitReader {
public:
    JpegBitReader(const uint8_t* data, size_t size) : data(data), size(size) {}

    // The next `count` bits (1 to 16) without consuming them.
    uint32_t Peek(int32_t count) {
        Fill();
        return buffer >> (32 - count);
    }
    void Skip(int32_t count) {
        buffer <<= count;
        bitCount -= count;
    }
    uint32_t Bits(int32_t count) {
        if (count == 0) {
            return 0;
        }
        uint32_t value = Peek(count);
        Skip(count);
        return value;
    }
    // More bits were taken than the data holds.
    bool Overrun() const { return paddingBits > bitCount; }

    // A value of `category` bits as JPEG codes it: the low half of the range is negative.
    static int32_t Extend(uint32_t bits, int32_t category) {
        if (category == 0) {
            return 0;
        }
        int32_t value = static_cast<int32_t>(bits);
        return value < (1 << (category - 1)) ? value - (1 << category) + 1 : value;
    }

private:
    void Fill() {
        while (bitCount <= 24) {
            buffer |= static_cast<uint32_t>(NextByte()) << (24 - bitCount);
            bitCount += 8;
        }
    }
    uint8_t NextByte() {
        if (position >= size) {
            paddingBits += 8;
            return 0;
        }
        uint8_t value = data[position++];
        if (value == 0xFF && position < size && data[position] == 0x00) {
            ++position;
        }
        return value;
    }

    const uint8_t* data;
    size_t size;
    size_t position = 0;
    uint32_t buffer = 0;
    int32_t bitCount = 0;
    // Zero bits added past the end that are still in the buffer or were taken from it.
    int32_t paddingBits = 0;
};

// A decoding table built from a DHT table: code counts per length 1 to 16 and the symbols.
class JpegHuffmanTable {
public:
    // False for a table whose counts overflow the code space or exceed 256 symbols.
    bool Build(const uint8_t* counts, const uint8_t* symbols, int32_t symbolCount);
    bool Loaded() const { return loaded; }
    void Clear() { loaded = false; }

    // The next symbol, or -1 for a bit pattern that is no code of the table.
    int32_t Decode(JpegBitReader& bits) const;

private:
    static constexpr int32_t LookupBits = 9;

    bool loaded = false;
    uint8_t symbols[256] = {};
    // For each length: the largest code of that length (-1 for none) and the offset that turns
    // a code into its symbol index.
    int32_t maxCode[17] = {};
    int32_t valueOffset[17] = {};
    // Codes of up to LookupBits bits by their next LookupBits bits: (length << 8) | symbol, or 0.
    uint16_t lookup[1 << LookupBits] = {};
};

} // namespace Vorn::Vorncast::Decoders
