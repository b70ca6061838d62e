#include "codecs/vfw/DibDriver.h"

#include "codecs/vfw/DibPicture.h"

#include <cstdlib>

namespace Vorn::Vorncast::Decoders {

int32_t DibDriver::GetFormat(const uint8_t* input, uint32_t formatSize, uint8_t* output) {
    if (!CanDecode() || !MakeRgb24Format(input, formatSize, output)) {
        return ICERR_BADFORMAT;
    }
    return ICERR_OK;
}

int32_t DibDriver::Begin(const uint8_t* input, const uint8_t* output, uint32_t formatSize) {
    ByteView inputBytes(input, formatSize);
    BitmapInfoHeader in = BitmapInfoHeader::Read(inputBytes);
    BitmapInfoHeader out = BitmapInfoHeader::Read(ByteView(output, formatSize));
    bool sameSize = in.width != 0 && out.width == std::llabs(in.width) && out.height == std::llabs(in.height);
    if (!CanDecode() || !sameSize || out.bitCount != 24 || out.compression != BI_RGB ||
        out.sizeImage < DibStride(out.width, 24) * static_cast<uint32_t>(out.height)) {
        return ICERR_BADFORMAT;
    }
    width = out.width;
    height = out.height;
    return Prepare(inputBytes);
}

int32_t DibDriver::Decompress(const IcDecompress& record) {
    if (record.inputFormat == nullptr || record.output == nullptr || width == 0) {
        return ICERR_BADPARAM;
    }
    uint32_t size = ByteView(record.inputFormat, BitmapInfoHeaderSize).U32LE(BitmapSizeImageOffset);
    if (size == 0 || record.input == nullptr) {
        return ICERR_DONTDRAW;
    }
    return DecodeFrame(ByteView(record.input, size), record.output);
}

} // namespace Vorn::Vorncast::Decoders
