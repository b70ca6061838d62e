#pragma once

#include <cstdint>

namespace Vorn::Vorncast::Decoders {

constexpr int32_t JpegBlockSize = 64;

// Natural (row by row) index of each zig-zag position of an 8 x 8 block.
extern const uint8_t JpegZigZagToNatural[JpegBlockSize];

// The example quantisation tables of ISO/IEC 10918-1 Annex K.1, in zig-zag order as a DQT segment
// holds them.
extern const uint8_t StandardLuminanceQuantTable[JpegBlockSize];
extern const uint8_t StandardChrominanceQuantTable[JpegBlockSize];

// A Huffman table in the form of a DHT segment: the number of codes of each length 1 to 16,
// then the symbols in code order.
struct JpegHuffmanTableData {
    const uint8_t* counts; // 16 entries
    const uint8_t* symbols;
    int32_t symbolCount;
};

// The typical Huffman tables of Annex K.3, which Motion JPEG writers leave out of their frames.
extern const JpegHuffmanTableData StandardLuminanceDcTable;
extern const JpegHuffmanTableData StandardLuminanceAcTable;
extern const JpegHuffmanTableData StandardChrominanceDcTable;
extern const JpegHuffmanTableData StandardChrominanceAcTable;

// Scales a quantisation table by a recorder's quality number: each entry becomes
// (entry x quality + 25) / 50, kept within 1 to 255. A quality outside 1 to 255 leaves `table`
// unchanged and gives false.
bool ScaleQuantTable(const uint8_t* base, int32_t quality, uint8_t* table);

} // namespace Vorn::Vorncast::Decoders
