#pragma once

#include <cstdint>

namespace Vorn::Vorncast::Decoders {

// Decodes one compressed frame into a top-down, blue-first picture of width x height x 3 bytes,
// dense rows. True on success.
using VfwBuiltinDecodeFunction = bool (*)(const uint8_t* data, uint32_t size, int32_t width, int32_t height,
                                          uint8_t* picture);

// The FourCCs that the video bridge serves with a decoder of the library's own instead of a
// libavcodec one: "ADV1" (ADV601 wavelet fields) and "TJPG" (JPEG frames). The process-wide table
// starts with those two codes; a code compares without regard to case. Registering a null
// function leaves the code in the table without a decoder, so that its streams fail to begin.
// At most eight codes. Changes are not thread-safe: make them before decoding starts.
bool RegisterVfwBuiltinDecoder(uint32_t fourCC, VfwBuiltinDecodeFunction decode);
// True when the code is in the table, with its function (possibly null) in `decode`.
bool FindVfwBuiltinDecoder(uint32_t fourCC, VfwBuiltinDecodeFunction* decode);

} // namespace Vorn::Vorncast::Decoders
