#pragma once

#include <cstdint>

namespace Vorn::Vorncast::Decoders {

// The fixed layout of an ADV601 wavelet field: where each of its 42 sub-band blocks lies, the
// order in which the blocks are stored, and the three canonical Huffman codes of the block data.

constexpr int32_t ADV601FieldWidth = 720;
constexpr int32_t ADV601ChromaWidth = ADV601FieldWidth / 2;
constexpr int32_t ADV601TallFieldHeight = 288;
constexpr int32_t ADV601ShortFieldHeight = 243;
constexpr int32_t ADV601BlockCount = 42;
constexpr int32_t ADV601HuffmanTableCount = 3;
constexpr int32_t ADV601LongestCode = 16;

constexpr uint32_t ADV601Delimiter = 0xFFFFFFFF;
// Top byte of the second header word: the two kinds of field.
constexpr uint8_t ADV601FieldType1 = 0x40;
constexpr uint8_t ADV601FieldType2 = 0x41;

// Top byte of a block's head word: which Huffman code and symbol model the block uses.
enum ADV601Marker : uint8_t {
    ADV601MarkerTable0 = 0x81,       // Huffman table 0, symbol model 0
    ADV601MarkerTable0Second = 0x82, // the same, second code
    ADV601MarkerTable2 = 0x83,       // Huffman table 2, symbol model 1
    ADV601MarkerTable1 = 0x84,       // Huffman table 1, symbol model 1
    ADV601MarkerEmpty = 0x8F,        // no data: every coefficient is zero
};

enum ADV601Plane : int32_t { ADV601PlaneY = 0, ADV601PlaneU = 1, ADV601PlaneV = 2 };

// One sub-band block: its rectangle in its plane (luma 720 wide, each chroma plane 360 wide).
struct ADV601BlockGeometry {
    int32_t plane;
    int32_t x;
    int32_t y;
    int32_t width;
    int32_t height;
};

inline int32_t ADV601FieldHeight(bool tallField) {
    return tallField ? ADV601TallFieldHeight : ADV601ShortFieldHeight;
}

// Block indexes in the order in which the blocks follow one another in a field.
extern const uint8_t ADV601StreamOrder[ADV601BlockCount];

// The 42 blocks of a field, by block index; built on first use for each height and kept.
const ADV601BlockGeometry* ADV601Geometry(bool tallField);

// A canonical Huffman code as it is written down: the number of codes of each length from 1 to
// 16, then the symbols in code order.
struct ADV601HuffmanDefinition {
    uint8_t counts[ADV601LongestCode];
    int32_t symbolCount;
    const uint8_t* symbols;
};

const ADV601HuffmanDefinition& ADV601HuffmanTable(int32_t table);

// One code of a table, its bits left-aligned in 16.
struct ADV601Code {
    uint16_t code;
    uint8_t length;
    uint8_t symbol;
};

// The codes of a table in ascending order (which is code order); built once.
const ADV601Code* ADV601Codes(int32_t table, int32_t* count);

// Index of the code that a 16-bit peek begins with: the largest code, left-aligned, not above it.
int32_t ADV601FindCode(const ADV601Code* codes, int32_t count, uint16_t peek);

// The same answer by the top ADV601PrefixBits bits of the peek alone, for each value of them, or
// -1 where a longer code ends inside that prefix's range and the search must decide; built once.
constexpr int32_t ADV601PrefixBits = 10;
const int16_t* ADV601CodesByPrefix(int32_t table);

} // namespace Vorn::Vorncast::Decoders
