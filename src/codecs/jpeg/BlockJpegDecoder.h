#pragma once

#include "codecs/jpeg/JpegHuffman.h"
#include "codecs/jpeg/JpegTables.h"
#include "model/support/Limits.h"

#include <cstdint>
#include <memory>

namespace Vorn::Vorncast::Decoders {

// Decoder of block-update frames: a picture of 16 x 8 blocks (one 4:2:2 MCU each), each block
// coded on its own with tables that a key frame brought. The picture lives in the object from
// frame to frame, so a frame that carries only the changed blocks updates what came before.
class BlockJpegDecoder {
public:
    // Offset of the first block behind the picture head (SOF0 and SOS of a three-component frame).
    static constexpr int32_t BlockDataOffset = 33;
    static constexpr int32_t BlockWidth = 16;
    static constexpr int32_t BlockHeight = 8;

    BlockJpegDecoder() = default;
    BlockJpegDecoder(const BlockJpegDecoder&) = delete;
    BlockJpegDecoder& operator=(const BlockJpegDecoder&) = delete;

    // Loads the tables of a JPEG header that starts with SOI at `bytes` + `skip`: DHT and DQT
    // segments are taken in, a SOF0 frame header sets the picture's size, anything else is skipped,
    // up to SOS or the end of the bytes. False for no SOI, a zero marker or length, a segment that
    // runs past the end, or a picture above MaxPictureBytes; tables read before the failure stay
    // loaded.
    bool ParseHeader(const uint8_t* bytes, int32_t size, int32_t skip);

    // Applies the blocks of one frame. `data` starts with the picture head, whose size must equal
    // `width` x `height` and the stored picture's, with three components; the blocks begin at
    // BlockDataOffset and each is a length byte and that many bytes of entropy-coded data, up to
    // `size` - 2. With `useBitmap`, bit n (most significant first) of the bytes at
    // `data` + `size` + `bitmapOffset` says whether block n (row by row) is present; absent blocks
    // keep their pixels. `dataSize` is what `data` holds in all, bitmap included. A block that would
    // end past `size` - 2 gives false, with the blocks before it applied.
    bool ApplyBlocks(int32_t width, int32_t height, int32_t size, int32_t bitmapOffset, bool useBitmap,
                     const uint8_t* data, int32_t dataSize);

    // The picture as width x height x 3 bytes, blue first, top line first, no padding.
    bool GetImage(uint8_t* buffer, int32_t bufferSize) const;

    int32_t Width() const { return width; }
    int32_t Height() const { return height; }

private:
    struct ComponentTables {
        int32_t quant;
        int32_t dc;
        int32_t ac;
    };
    struct PictureHead;

    bool LoadHuffmanTables(const uint8_t* segment, int32_t length);
    bool LoadQuantTables(const uint8_t* segment, int32_t length);
    bool ReadFrameSize(const uint8_t* segment, int32_t length);
    static bool SizeAllowed(int32_t pictureWidth, int32_t pictureHeight);
    void SetPictureSize(int32_t newWidth, int32_t newHeight);
    bool ReadPictureHead(const uint8_t* data, int32_t size, PictureHead* head) const;
    bool TablesPresent(const PictureHead& head) const;
    bool ApplyBlockData(const PictureHead& head, int32_t columns, int32_t rows, const uint8_t* bitmap,
                        const uint8_t* data, int32_t size);
    void DecodeBlock(const PictureHead& head, const uint8_t* bytes, int32_t length, int32_t column,
                     int32_t row);
    void DecodeUnit(JpegBitReader& bits, const ComponentTables& tables, int32_t* predictor, uint8_t* output,
                    int32_t stride) const;

    uint8_t quantTables[4][JpegBlockSize] = {};
    bool quantLoaded[4] = {};
    JpegHuffmanTable dcTables[4];
    JpegHuffmanTable acTables[4];

    int32_t width = 0;
    int32_t height = 0;
    int32_t chromaWidth = 0;
    // Y at full size, Cb and Cr at half width.
    std::unique_ptr<uint8_t[]> luma;
    std::unique_ptr<uint8_t[]> blueDifference;
    std::unique_ptr<uint8_t[]> redDifference;
};

} // namespace Vorn::Vorncast::Decoders
