#pragma once

#include "codecs/jpeg/JpegTables.h"

#include <cstddef>
#include <cstdint>
#include <vector>

namespace Vorn::Vorncast::Decoders::Testing {

// An unpadded picture, top line first, channels interleaved in the order the decoder gives them
// back (blue first for colour).
struct TestPicture {
    int32_t width = 0;
    int32_t height = 0;
    int32_t channels = 0;
    std::vector<uint8_t> pixels;

    uint8_t* Pixel(int32_t x, int32_t y) { return &pixels[(static_cast<size_t>(y) * width + x) * channels]; }
    const uint8_t* Pixel(int32_t x, int32_t y) const {
        return &pixels[(static_cast<size_t>(y) * width + x) * channels];
    }
};

// Smooth ramps that differ per channel, so that swapped channels or lines show up.
TestPicture MakeGradient(int32_t width, int32_t height, int32_t channels);
// Eight vertical colour bars over a vertical brightness ramp.
TestPicture MakeColourBars(int32_t width, int32_t height);

enum class Sampling { S444, S422, S420 };

struct EncodeOptions {
    int32_t quality = 95;
    Sampling sampling = Sampling::S444;
    bool progressive = false;
    bool arithmetic = false;
    bool optimiseTables = false;
    // In MCUs; 0 for none.
    int32_t restartInterval = 0;
    // Four-channel pictures: stored as YCCK rather than CMYK.
    bool ycck = false;
    // When not 0, the quantisation tables are the Annex K.1 tables scaled as recorders do it:
    // (entry x recorderQuality + 25) / 50. Replaces `quality`.
    int32_t recorderQuality = 0;
};

// Encodes with libjpeg. Colour pictures are given blue first; four channels are taken as CMYK.
std::vector<uint8_t> EncodeJpeg(const TestPicture& picture, const EncodeOptions& options = {});

// Lines of a decoded picture as the codec lays them out: `lineStep` bytes apart.
struct PictureError {
    double meanAbsolute = 0;
    int32_t maximum = 0;
    double psnr = 0;
};
PictureError ComparePicture(const TestPicture& expected, const uint8_t* decoded, size_t lineStep);

// Position of the first marker `code` (0xFF, code) in `bytes`, or npos.
size_t FindMarker(const std::vector<uint8_t>& bytes, uint8_t code, size_t from = 0);

// Writes Huffman-coded JPEG entropy data, with 0xFF bytes stuffed.
class EntropyWriter {
public:
    void PutBits(uint32_t bits, int32_t count);
    // Pads the last byte with one bits.
    void Flush();
    std::vector<uint8_t>& Bytes() { return bytes; }

private:
    std::vector<uint8_t> bytes;
    uint32_t buffer = 0;
    int32_t bufferBits = 0;
};

// Code and length of each symbol of a Huffman table given as a DHT segment holds it.
struct HuffmanCodes {
    uint16_t code[256] = {};
    uint8_t length[256] = {};
};
HuffmanCodes BuildHuffmanCodes(const JpegHuffmanTableData& table);

// Writes `value` as the symbol `runPrefix` | category followed by its extra bits: a DC difference
// (runPrefix 0), an AC coefficient (runPrefix = zero run << 4) or a lossless difference.
void PutCodedValue(EntropyWriter& writer, const HuffmanCodes& codes, uint8_t runPrefix, int32_t value);

// Number of bits of |value| (the JPEG magnitude category).
int32_t MagnitudeCategory(int32_t value);

// Big-endian 16-bit helpers for writing marker segments by hand.
void PutMarker(std::vector<uint8_t>& out, uint8_t code);
void PutU16(std::vector<uint8_t>& out, uint16_t value);
void PutHuffmanTable(std::vector<uint8_t>& out, uint8_t tableClassAndId, const JpegHuffmanTableData& table);

} // namespace Vorn::Vorncast::Decoders::Testing
