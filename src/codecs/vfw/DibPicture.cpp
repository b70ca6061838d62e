#include "codecs/vfw/DibPicture.h"

#include "codecs/vfw/VfwTypes.h"

#include <cstdlib>
#include <cstring>

namespace Vorn::Vorncast::Decoders {

uint32_t DibStride(int32_t width, int32_t bitCount) {
    uint64_t bits =
        static_cast<uint64_t>(width > 0 ? width : 0) * static_cast<uint64_t>(bitCount > 0 ? bitCount : 0);
    return static_cast<uint32_t>((bits + 31) / 32 * 4);
}

bool MakeRgb24Format(const uint8_t* inputFormat, size_t inputFormatSize, uint8_t* output) {
    BitmapInfoHeader input = BitmapInfoHeader::Read(ByteView(inputFormat, inputFormatSize));
    int64_t width = std::llabs(input.width);
    int64_t height = std::llabs(input.height);
    // Each side is at most 2^31, so the pixel count fits; the byte count might not.
    if (width == 0 || height == 0 || width * height > static_cast<int64_t>(MaxPictureBytes / 3)) {
        return false;
    }
    BitmapInfoHeader answer;
    answer.size = BitmapInfoHeaderSize;
    answer.width = static_cast<int32_t>(width);
    answer.height = static_cast<int32_t>(height);
    answer.planes = 1;
    answer.bitCount = 24;
    answer.compression = BI_RGB;
    answer.sizeImage = DibStride(answer.width, 24) * static_cast<uint32_t>(height);
    answer.xPelsPerMeter = input.xPelsPerMeter;
    answer.yPelsPerMeter = input.yPelsPerMeter;
    answer.Write(output);
    return true;
}

void WriteBottomUpDib(const uint8_t* topDown, int32_t width, int32_t height, uint8_t* dib) {
    size_t row = static_cast<size_t>(width) * 3;
    size_t stride = DibStride(width, 24);
    for (int32_t y = 0; y < height; ++y) {
        uint8_t* target = dib + static_cast<size_t>(height - 1 - y) * stride;
        std::memcpy(target, topDown + static_cast<size_t>(y) * row, row);
        std::memset(target + row, 0, stride - row);
    }
}

bool CopyDibTopDown(const uint8_t* format, size_t formatSize, const uint8_t* dib, size_t dibSize,
                    uint8_t* output, size_t outputSize) {
    BitmapInfoHeader header = BitmapInfoHeader::Read(ByteView(format, formatSize));
    int64_t width = header.width;
    int64_t height = std::llabs(header.height);
    int sourcePixel = header.bitCount / 8;
    int planes = header.bitCount == 8 ? 1 : 3;
    if (dib == nullptr || output == nullptr || width <= 0 || height == 0 ||
        (header.bitCount != 8 && header.bitCount != 24 && header.bitCount != 32)) {
        return false;
    }
    uint64_t stride = DibStride(header.width, header.bitCount);
    uint64_t row = static_cast<uint64_t>(width) * static_cast<uint64_t>(planes);
    if (stride * static_cast<uint64_t>(height) > dibSize ||
        row * static_cast<uint64_t>(height) > outputSize) {
        return false;
    }
    bool bottomUp = header.height > 0;
    for (int64_t y = 0; y < height; ++y) {
        const uint8_t* source =
            dib + static_cast<size_t>((bottomUp ? height - 1 - y : y) * static_cast<int64_t>(stride));
        uint8_t* target = output + static_cast<size_t>(y * static_cast<int64_t>(row));
        if (sourcePixel == planes) {
            std::memcpy(target, source, static_cast<size_t>(row));
            continue;
        }
        for (int64_t x = 0; x < width; ++x) {
            std::memcpy(target + x * 3, source + x * sourcePixel, 3);
        }
    }
    return true;
}

} // namespace Vorn::Vorncast::Decoders
