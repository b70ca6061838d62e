#include "codecs/jpeg/BlockJpegDecoder.h"

#include "codecs/jpeg/JpegIdct.h"
#include "codecs/jpeg/JpegMarkers.h"
#include "core/binary/ByteView.h"

#include <algorithm>
#include <cstring>

namespace Vorn::Vorncast::Decoders {

namespace {

constexpr uint16_t SoiWord = 0xFFD8;
constexpr int32_t HeadComponents = 3;
constexpr uint8_t LumaSampling = 0x21;
constexpr uint8_t ChromaSampling = 0x11;
constexpr int32_t MinimumFrameSize = BlockJpegDecoder::BlockDataOffset + 1;
constexpr uint8_t Black = 0;
constexpr uint8_t NoColour = 128;

uint8_t ClampSample(int32_t value) {
    return static_cast<uint8_t>(std::clamp(value, 0, 255));
}

// JFIF YCbCr to blue, green, red in 16-bit fixed point, rounded.
void YccToBgr(int32_t y, int32_t cb, int32_t cr, uint8_t* out) {
    cb -= NoColour;
    cr -= NoColour;
    constexpr int32_t Half = 1 << 15;
    out[0] = ClampSample(y + ((116130 * cb + Half) >> 16));
    out[1] = ClampSample(y + ((-22554 * cb - 46802 * cr + Half) >> 16));
    out[2] = ClampSample(y + ((91881 * cr + Half) >> 16));
}

} // namespace

// The SOF0 and SOS segments in front of a frame's blocks, as far as the blocks need them.
struct BlockJpegDecoder::PictureHead {
    int32_t width;
    int32_t height;
    ComponentTables components[HeadComponents];
};

bool BlockJpegDecoder::ParseHeader(const uint8_t* bytes, int32_t size, int32_t skip) {
    if (bytes == nullptr || size < 0 || skip < 0) {
        return false;
    }
    ByteView view(bytes, static_cast<size_t>(size));
    size_t position = static_cast<size_t>(skip);
    if (view.U16BE(position) != SoiWord) {
        return false;
    }
    position += 2;
    while (position != view.Size()) {
        uint16_t marker = 0;
        uint16_t length = 0;
        if (!view.U16BE(position, &marker) || marker == 0) {
            return false;
        }
        if (marker == 0xFF00u + JpegSos) {
            return true;
        }
        ByteView segment;
        if (!view.U16BE(position + 2, &length) || length < 2 ||
            !view.Sub(position + 4, length - 2u, &segment)) {
            return false;
        }
        int32_t segmentLength = static_cast<int32_t>(segment.Size());
        bool read = true;
        if (marker == 0xFF00u + JpegDht) {
            read = LoadHuffmanTables(segment.Data(), segmentLength);
        } else if (marker == 0xFF00u + JpegDqt) {
            read = LoadQuantTables(segment.Data(), segmentLength);
        } else if (marker == 0xFF00u + JpegSof0) {
            read = ReadFrameSize(segment.Data(), segmentLength);
        }
        if (!read) {
            return false;
        }
        position += 2u + length;
    }
    return true;
}

bool BlockJpegDecoder::LoadHuffmanTables(const uint8_t* segment, int32_t length) {
    ByteReader reader(ByteView(segment, static_cast<size_t>(length)));
    while (!reader.AtEnd()) {
        uint8_t classAndId = reader.U8();
        ByteView counts = reader.Bytes(16);
        if (!reader.Ok() || (classAndId & 0x0F) > 3 || (classAndId >> 4) > 1) {
            return false;
        }
        int32_t symbolCount = 0;
        for (uint8_t count : counts) {
            symbolCount += count;
        }
        ByteView symbols = reader.Bytes(static_cast<size_t>(symbolCount));
        if (!reader.Ok()) {
            return false;
        }
        JpegHuffmanTable& table =
            (classAndId >> 4) == 0 ? dcTables[classAndId & 0x0F] : acTables[classAndId & 0x0F];
        if (!table.Build(counts.Data(), symbols.Data(), symbolCount)) {
            return false;
        }
    }
    return true;
}

bool BlockJpegDecoder::LoadQuantTables(const uint8_t* segment, int32_t length) {
    ByteReader reader(ByteView(segment, static_cast<size_t>(length)));
    while (!reader.AtEnd()) {
        uint8_t precisionAndId = reader.U8();
        int32_t id = precisionAndId & 0x0F;
        bool wide = (precisionAndId >> 4) != 0;
        if (id > 3) {
            return false;
        }
        uint8_t values[JpegBlockSize];
        for (uint8_t& value : values) {
            // 16-bit entries above 255 can't occur with 8-bit samples in practice; they saturate.
            value = wide ? static_cast<uint8_t>(std::min<uint16_t>(reader.U16BE(), 255)) : reader.U8();
        }
        if (!reader.Ok()) {
            return false;
        }
        std::memcpy(quantTables[id], values, sizeof(values));
        quantLoaded[id] = true;
    }
    return true;
}

bool BlockJpegDecoder::ReadFrameSize(const uint8_t* segment, int32_t length) {
    ByteReader reader(ByteView(segment, static_cast<size_t>(length)));
    reader.Skip(1);
    int32_t newHeight = reader.U16BE();
    int32_t newWidth = reader.U16BE();
    if (!reader.Ok() || !SizeAllowed(newWidth, newHeight)) {
        return false;
    }
    if (newWidth != width || newHeight != height) {
        SetPictureSize(newWidth, newHeight);
    }
    return true;
}

bool BlockJpegDecoder::SizeAllowed(int32_t pictureWidth, int32_t pictureHeight) {
    return pictureWidth > 0 && pictureHeight > 0 &&
           int64_t{pictureWidth} * pictureHeight * 3 <= MaxPictureBytes;
}

void BlockJpegDecoder::SetPictureSize(int32_t newWidth, int32_t newHeight) {
    width = newWidth;
    height = newHeight;
    chromaWidth = (width + 1) / 2;
    size_t lumaBytes = static_cast<size_t>(width) * static_cast<size_t>(height);
    size_t chromaBytes = static_cast<size_t>(chromaWidth) * static_cast<size_t>(height);
    luma = std::make_unique<uint8_t[]>(lumaBytes);
    blueDifference = std::make_unique<uint8_t[]>(chromaBytes);
    redDifference = std::make_unique<uint8_t[]>(chromaBytes);
    std::memset(luma.get(), Black, lumaBytes);
    std::memset(blueDifference.get(), NoColour, chromaBytes);
    std::memset(redDifference.get(), NoColour, chromaBytes);
}

bool BlockJpegDecoder::ApplyBlocks(int32_t frameWidth, int32_t frameHeight, int32_t size,
                                   int32_t bitmapOffset, bool useBitmap, const uint8_t* data,
                                   int32_t dataSize) {
    if (data == nullptr || size < MinimumFrameSize || dataSize < size) {
        return false;
    }
    PictureHead head{};
    if (!ReadPictureHead(data, size, &head) || head.width != frameWidth || head.height != frameHeight) {
        return false;
    }
    if (luma != nullptr ? frameWidth != width || frameHeight != height
                        : !SizeAllowed(frameWidth, frameHeight)) {
        return false;
    }
    if (!TablesPresent(head)) {
        return false;
    }
    int32_t columns = frameWidth / BlockWidth;
    int32_t rows = frameHeight / BlockHeight;
    const uint8_t* bitmap = nullptr;
    if (useBitmap) {
        int64_t bitmapStart = static_cast<int64_t>(size) + bitmapOffset;
        int64_t bitmapBytes = (static_cast<int64_t>(columns) * rows + 7) / 8;
        if (bitmapStart < 0 || bitmapStart + bitmapBytes > dataSize) {
            return false;
        }
        bitmap = data + bitmapStart;
    }
    if (luma == nullptr) {
        SetPictureSize(frameWidth, frameHeight);
    }
    return ApplyBlockData(head, columns, rows, bitmap, data, size);
}

bool BlockJpegDecoder::ReadPictureHead(const uint8_t* data, int32_t size, PictureHead* head) const {
    ByteView view(data, static_cast<size_t>(std::min(size, BlockDataOffset)));
    ByteReader reader(view);
    uint16_t marker = reader.U16BE();
    uint16_t length = reader.U16BE();
    uint8_t precision = reader.U8();
    head->height = reader.U16BE();
    head->width = reader.U16BE();
    uint8_t componentCount = reader.U8();
    if (!reader.Ok() || marker != 0xFF00u + JpegSof0 || precision != 8 || componentCount != HeadComponents) {
        return false;
    }
    uint8_t ids[HeadComponents];
    for (int32_t c = 0; c < HeadComponents; ++c) {
        ids[c] = reader.U8();
        uint8_t sampling = reader.U8();
        uint8_t quant = reader.U8();
        if (sampling != (c == 0 ? LumaSampling : ChromaSampling) || quant > 3) {
            return false;
        }
        // Until the scan header says otherwise: tables 0 for luma, 1 for chroma.
        int32_t entropy = c == 0 ? 0 : 1;
        head->components[c] = ComponentTables{quant, entropy, entropy};
    }
    if (!reader.Ok()) {
        return false;
    }
    reader.Seek(2u + length);
    if (reader.U16BE() != 0xFF00u + JpegSos) {
        return true;
    }
    reader.Skip(2);
    uint8_t scanComponents = reader.U8();
    for (int32_t i = 0; i < scanComponents && reader.Ok(); ++i) {
        uint8_t id = reader.U8();
        uint8_t tables = reader.U8();
        for (int32_t c = 0; c < HeadComponents; ++c) {
            if (ids[c] == id && reader.Ok()) {
                head->components[c].dc = (tables >> 4) & 3;
                head->components[c].ac = tables & 3;
            }
        }
    }
    return true;
}

bool BlockJpegDecoder::TablesPresent(const PictureHead& head) const {
    for (const ComponentTables& tables : head.components) {
        if (!quantLoaded[tables.quant] || !dcTables[tables.dc].Loaded() || !acTables[tables.ac].Loaded()) {
            return false;
        }
    }
    return true;
}

bool BlockJpegDecoder::ApplyBlockData(const PictureHead& head, int32_t columns, int32_t rows,
                                      const uint8_t* bitmap, const uint8_t* data, int32_t size) {
    int32_t position = BlockDataOffset;
    int32_t blockEnd = size - 2;
    int32_t index = 0;
    for (int32_t row = 0; row < rows; ++row) {
        for (int32_t column = 0; column < columns; ++column, ++index) {
            if (bitmap != nullptr && (bitmap[index / 8] & (0x80 >> (index % 8))) == 0) {
                continue;
            }
            int32_t length = position < blockEnd ? data[position] : 0;
            if (position + 1 + length > blockEnd) {
                return false;
            }
            DecodeBlock(head, data + position + 1, length, column, row);
            position += 1 + length;
        }
    }
    return true;
}

void BlockJpegDecoder::DecodeBlock(const PictureHead& head, const uint8_t* bytes, int32_t length,
                                   int32_t column, int32_t row) {
    JpegBitReader bits(bytes, static_cast<size_t>(length));
    // Each block starts its DC prediction afresh, so that it decodes without its neighbours.
    int32_t predictors[HeadComponents] = {};
    size_t lumaAt = static_cast<size_t>(row) * BlockHeight * width + static_cast<size_t>(column) * BlockWidth;
    size_t chromaAt = static_cast<size_t>(row) * BlockHeight * chromaWidth + static_cast<size_t>(column) * 8;
    DecodeUnit(bits, head.components[0], &predictors[0], luma.get() + lumaAt, width);
    DecodeUnit(bits, head.components[0], &predictors[0], luma.get() + lumaAt + 8, width);
    DecodeUnit(bits, head.components[1], &predictors[1], blueDifference.get() + chromaAt, chromaWidth);
    DecodeUnit(bits, head.components[2], &predictors[2], redDifference.get() + chromaAt, chromaWidth);
}

// One 8 x 8 unit: Huffman decode, dequantise, inverse DCT. Damaged data ends the unit's
// coefficients where the damage starts; what was decoded is still shown.
void BlockJpegDecoder::DecodeUnit(JpegBitReader& bits, const ComponentTables& tables, int32_t* predictor,
                                  uint8_t* output, int32_t stride) const {
    int32_t coefficients[JpegBlockSize] = {};
    const uint8_t* quant = quantTables[tables.quant];
    int32_t category = dcTables[tables.dc].Decode(bits);
    if (category > 0 && category <= 16) {
        *predictor += JpegBitReader::Extend(bits.Bits(category), category);
    }
    coefficients[0] = *predictor * quant[0];
    const JpegHuffmanTable& ac = acTables[tables.ac];
    for (int32_t k = 1; k < JpegBlockSize;) {
        int32_t symbol = ac.Decode(bits);
        if (symbol < 0) {
            break;
        }
        int32_t run = symbol >> 4;
        int32_t size = symbol & 0x0F;
        if (size == 0) {
            if (run != 15) {
                break;
            }
            k += 16;
            continue;
        }
        k += run;
        if (k >= JpegBlockSize) {
            break;
        }
        coefficients[JpegZigZagToNatural[k]] = JpegBitReader::Extend(bits.Bits(size), size) * quant[k];
        ++k;
    }
    InverseDct8x8(coefficients, output, static_cast<size_t>(stride));
}

bool BlockJpegDecoder::GetImage(uint8_t* buffer, int32_t bufferSize) const {
    if (luma == nullptr || buffer == nullptr || static_cast<int64_t>(width) * height * 3 > bufferSize) {
        return false;
    }
    for (int32_t y = 0; y < height; ++y) {
        const uint8_t* lumaLine = luma.get() + static_cast<size_t>(y) * width;
        const uint8_t* blueLine = blueDifference.get() + static_cast<size_t>(y) * chromaWidth;
        const uint8_t* redLine = redDifference.get() + static_cast<size_t>(y) * chromaWidth;
        uint8_t* out = buffer + static_cast<size_t>(y) * width * 3;
        for (int32_t x = 0; x < width; ++x, out += 3) {
            YccToBgr(lumaLine[x], blueLine[x / 2], redLine[x / 2], out);
        }
    }
    return true;
}

} // namespace Vorn::Vorncast::Decoders
