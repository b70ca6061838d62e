#pragma once

#include "codecs/jpeg/JpegTestSupport.h"

#include <cstdint>
#include <vector>

namespace Vorn::Vorncast::Decoders::Testing {

// A block-update frame as a recorder writes it: the picture head (SOF0 and SOS), then a length
// byte and the entropy-coded data of each present block, then an end marker; the bitmap of
// present blocks lies `bitmapOffset` bytes behind the frame's `size`.
struct BlockFrame {
    std::vector<uint8_t> bytes;
    int32_t size = 0;
    int32_t bitmapOffset = 0;
};

// Encodes pictures into 16 x 8 blocks (4:2:2, one MCU each) with the Annex K tables scaled by a
// quality number: a forward DCT, quantisation and Huffman coding of the test's own, each block
// with its DC prediction starting from zero.
class BlockJpegWriter {
public:
    BlockJpegWriter(int32_t width, int32_t height, int32_t quality);

    // SOI, both DQT, the four DHT, SOF0 and SOS: what a key frame carries behind its blocks.
    std::vector<uint8_t> Tables() const;
    // The entropy-coded bytes of one block of a blue-first picture.
    std::vector<uint8_t> EncodeBlock(const TestPicture& picture, int32_t column, int32_t row) const;
    // All blocks when `present` is null; else the blocks it marks, with their bitmap placed
    // `bitmapGap` bytes behind the frame.
    BlockFrame MakeFrame(const TestPicture& picture, const std::vector<bool>* present = nullptr,
                         int32_t bitmapGap = 0) const;
    // An ordinary JPEG with a restart interval of one MCU that holds the same blocks, which any
    // JPEG decoder can read.
    std::vector<uint8_t> MakeRestartJpeg(const TestPicture& picture) const;

    int32_t Columns() const { return width / 16; }
    int32_t Rows() const { return height / 8; }

private:
    void EncodeUnit(const double* samples, const uint8_t* quant, const HuffmanCodes& dc,
                    const HuffmanCodes& ac, int32_t* predictor, EntropyWriter& writer) const;
    void WriteHead(std::vector<uint8_t>& out) const;

    int32_t width;
    int32_t height;
    uint8_t luminanceQuant[JpegBlockSize];
    uint8_t chrominanceQuant[JpegBlockSize];
    HuffmanCodes luminanceDc;
    HuffmanCodes luminanceAc;
    HuffmanCodes chrominanceDc;
    HuffmanCodes chrominanceAc;
};

// Decodes with libjpeg into unpadded blue-first lines, with plain (replicating) chroma upsampling
// and the floating-point inverse DCT.
std::vector<uint8_t> DecodeWithLibjpeg(const std::vector<uint8_t>& jpeg);

} // namespace Vorn::Vorncast::Decoders::Testing
