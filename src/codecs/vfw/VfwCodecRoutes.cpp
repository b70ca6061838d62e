#include "codecs/vfw/VfwCodecRoutes.h"

#include "codecs/adv601/ADV601Decoder.h"
#include "codecs/jpeg/JpegCodec.h"

#include <cstring>
#include <memory>
#include <vector>

namespace Vorn::Vorncast::Decoders {

bool DecodeAdv601Picture(const uint8_t* data, uint32_t size, int32_t width, int32_t height,
                         uint8_t* picture) {
    if (width != ADV601FieldWidth || (height != ADV601TallFieldHeight && height != ADV601ShortFieldHeight) ||
        size > static_cast<uint32_t>(INT32_MAX)) {
        return false;
    }
    // The decoder turns byte-reversed words round in place, and the driver's input is the caller's.
    std::vector<uint8_t> field(data, data + size);
    static ADV601Decoder decoder;
    return decoder.Decode(height == ADV601TallFieldHeight, false, field.data(),
                          static_cast<int32_t>(field.size()), picture);
}

bool DecodeJpegPicture(const uint8_t* data, uint32_t size, int32_t width, int32_t height, uint8_t* picture) {
    int32_t jpegWidth = 0;
    int32_t jpegHeight = 0;
    int32_t channels = 0;
    if (size > static_cast<uint32_t>(INT32_MAX) ||
        !JpegReadHeader(data, static_cast<int32_t>(size), &jpegWidth, &jpegHeight, &channels) ||
        jpegWidth != width || jpegHeight != height || channels != 3) {
        return false;
    }
    // The JPEG path pads its lines to four bytes; the driver's pictures are dense.
    const size_t denseLine = static_cast<size_t>(width) * 3;
    const size_t paddedLine = (denseLine + 3) / 4 * 4;
    if (paddedLine == denseLine) {
        return JpegDecodeToBuffer(data, static_cast<int32_t>(size), picture,
                                  static_cast<int32_t>(denseLine * height));
    }
    std::vector<uint8_t> padded(paddedLine * static_cast<size_t>(height));
    if (!JpegDecodeToBuffer(data, static_cast<int32_t>(size), padded.data(),
                            static_cast<int32_t>(padded.size()))) {
        return false;
    }
    for (int32_t line = 0; line < height; ++line) {
        std::memcpy(picture + denseLine * line, padded.data() + paddedLine * line, denseLine);
    }
    return true;
}

} // namespace Vorn::Vorncast::Decoders
