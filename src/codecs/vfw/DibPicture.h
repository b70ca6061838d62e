#pragma once

#include "model/support/Limits.h"
#include <cstddef>
#include <cstdint>

namespace Vorn::Vorncast::Decoders {

// Bytes of one DIB row: rows are padded to four bytes.
uint32_t DibStride(int32_t width, int32_t bitCount);

// The answer of a decompressor: a 24-bit blue-first DIB, rows bottom-up, of the input's size.
// False (with `output` untouched) for a picture that is empty or above MaxPictureBytes.
bool MakeRgb24Format(const uint8_t* inputFormat, size_t inputFormatSize, uint8_t* output);

// Writes a dense top-down blue-first picture as a bottom-up 24-bit DIB.
void WriteBottomUpDib(const uint8_t* topDown, int32_t width, int32_t height, uint8_t* dib);

// Turns a DIB as a decompressor (or an uncompressed stream) delivers it into the library's
// picture: top row first, dense rows of width x 3 bytes (24- and 32-bit DIBs) or width x 1 byte
// (8-bit DIBs). A negative height in the format marks rows already stored top-down. False, with
// nothing written, for another depth or buffers too small for the picture.
bool CopyDibTopDown(const uint8_t* format, size_t formatSize, const uint8_t* dib, size_t dibSize,
                    uint8_t* output, size_t outputSize);

} // namespace Vorn::Vorncast::Decoders
