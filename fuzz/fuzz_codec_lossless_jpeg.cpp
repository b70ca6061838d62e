// Fuzz target for the lossless JPEG codec behind MakeDecoder and DecodeFrame: each unit is one
// frame, decoded into a picture of the frame format the options choose (or the one the frame's
// header gives), with the decoder kept from frame to frame.
//
// Options: bits 0-1 the frame format; bit 2 grey rather than colour for the fixed formats.
#include "FuzzUnits.h"
#include "codecs/jpeg/JpegCodec.h"
#include "codecs/jpeg/LosslessJpegCodec.h"

#include <vector>

using namespace Vorn::Lorikan;
using namespace Vorn::Fuzzing;

namespace {

constexpr int32_t FrameFormats[3][2] = {{16, 16}, {64, 48}, {7, 5}};

bool ChooseFormat(const UnitInput& input, const Unit& frame, int32_t* width, int32_t* height,
                  int32_t* components) {
    if (input.Choice(0) < 3) {
        *width = FrameFormats[input.Choice(0)][0];
        *height = FrameFormats[input.Choice(0)][1];
        *components = input.Option(2) ? 1 : 3;
        return true;
    }
    return Vorn::Vorncast::Decoders::JpegReadHeader(frame.data(), SizeOf(frame), width, height, components) &&
           static_cast<int64_t>(*width) * *height * *components <= MaxPictureBytes;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    static LosslessJpegDecoder* decoder = MakeDecoder();
    const UnitInput input = SplitUnits(data, size);
    for (const Unit& frame : input.units) {
        int32_t width = 0, height = 0, components = 0;
        if (!ChooseFormat(input, frame, &width, &height, &components) ||
            !SetFrameFormat(decoder, width, height, components)) {
            continue;
        }
        std::vector<uint8_t> picture(static_cast<size_t>(width) * height * components);
        int32_t written =
            DecodeFrame(decoder, frame.data(), SizeOf(frame), picture.data(), LosslessJpegBlueFirst);
        if (written > static_cast<int32_t>(picture.size())) {
            __builtin_trap();
        }
    }
    return 0;
}
