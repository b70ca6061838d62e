#pragma once

#include <cstdint>

namespace Vorn::Vorncast::Decoders {

// The codes whose pictures the library decodes with its own codecs rather than an engine decoder.
// Both write `width` x `height` pictures, top line first, three bytes a pixel blue first, no padding.

// "ADV1": one ADV601 field, 720 pixels wide, 288 or 243 lines.
bool DecodeAdv601Picture(const uint8_t* data, uint32_t size, int32_t width, int32_t height, uint8_t* picture);
// "TJPG": one JPEG picture of exactly the stream's size.
bool DecodeJpegPicture(const uint8_t* data, uint32_t size, int32_t width, int32_t height, uint8_t* picture);

} // namespace Vorn::Vorncast::Decoders
