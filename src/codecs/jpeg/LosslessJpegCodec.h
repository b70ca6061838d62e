#pragma once

#include <cstdint>

// The lossless JPEG codec of the Lorikan index formats, with the contract of the library it
// stands in for: a decoder handle made once, then one call per frame.
namespace Vorn::Lorikan {

struct LosslessJpegDecoder;

// Results of DecodeFrame; every failure is negative.
enum LosslessJpegResult : int32_t {
    LosslessJpegBadArgument = -1,
    // SetFrameFormat has not been called.
    LosslessJpegNoFormat = -2,
    LosslessJpegDecodeFailed = -3,
    // The frame's size differs from the frame format.
    LosslessJpegWrongSize = -4,
};

// The output mode DecodeFrame knows: interleaved samples, blue first, top line first, lines of
// width x components bytes with no padding.
constexpr int32_t LosslessJpegBlueFirst = 1;

// Null when the codec is missing.
LosslessJpegDecoder* MakeDecoder();
void FreeDecoder(LosslessJpegDecoder* decoder);

// The picture the caller has room for: `components` is 3 for colour, 1 for grey. False for sizes
// that aren't positive and for other component counts.
bool SetFrameFormat(LosslessJpegDecoder* decoder, int32_t width, int32_t height, int32_t components);

// Decodes one frame of `size` bytes into `picture`, which holds width x height x components bytes
// of the frame format. Returns the number of bytes written, or a negative LosslessJpegResult; the
// picture is untouched on failure.
int32_t DecodeFrame(LosslessJpegDecoder* decoder, const uint8_t* bytes, int32_t size, uint8_t* picture,
                    int32_t outputMode);

} // namespace Vorn::Lorikan
