#include "codecs/video/IppDecoderDV25.h"

#include "interface/LibraryFrame.h"

extern "C" {
#include <libavutil/error.h>
}

namespace Vorn::Vorncast::Decoders {

namespace {

// DSF, bit 7 of byte 3 of the header DIF block: set for 625/50 frames.
constexpr size_t DsfByte = 3;
constexpr uint8_t DsfBit = 0x80;

bool Is50HzFrame(ByteView frame) {
    return (frame.U8(DsfByte) & DsfBit) != 0;
}

} // namespace

bool IppDecoderDV25::Initialise(int32_t, int32_t height, int32_t channels, bool lineDoubling, const uint8_t*,
                                int32_t) {
    return EngineVideoDecoder::Initialise(Width, height == Height60 ? Height60 : Height50, channels,
                                          lineDoubling, nullptr, 0);
}

void IppDecoderDV25::LogEngineFailure(int32_t) const {
    Log(__FILE__, __LINE__, LogCore, "DVVideoDecoder::GetFrame failed\n");
}

bool IppDecoderDV25::CheckOutput(const uint8_t* input, int32_t size, const uint8_t* output,
                                 int32_t outputSize) {
    ByteView frame(input, size > 0 ? static_cast<size_t>(size) : 0);
    if (frame.Has(DsfByte, 1)) {
        height = Is50HzFrame(frame) ? Height50 : Height60;
    }
    return EngineVideoDecoder::CheckOutput(input, size, output, outputSize);
}

int32_t IppDecoderDV25::PrepareInput(ByteView accessUnit) {
    const size_t frameBytes = Is50HzFrame(accessUnit) ? FrameBytes50 : FrameBytes60;
    if (accessUnit.Size() < frameBytes) {
        return AVERROR_INVALIDDATA;
    }
    return EngineVideoDecoder::PrepareInput(accessUnit.Sub(0, frameBytes));
}

} // namespace Vorn::Vorncast::Decoders
