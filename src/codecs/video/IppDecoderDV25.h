#pragma once

#include "codecs/video/EngineVideoDecoder.h"

namespace Vorn::Vorncast::Decoders {

// DV at 25 Mbit/s. The picture is 720 pixels wide; each frame's 50/60 flag sets the height, 576
// lines for a 625/50 frame of 144000 bytes, 480 for a 525/60 frame of 120000 bytes.
class IppDecoderDV25 : public EngineVideoDecoder {
public:
    static constexpr int32_t Width = 720;
    static constexpr int32_t Height50 = 576;
    static constexpr int32_t Height60 = 480;
    static constexpr int32_t FrameBytes50 = 144000;
    static constexpr int32_t FrameBytes60 = 120000;

    IppDecoderDV25() : EngineVideoDecoder("IppDecoderDV25", VideoCodec::Dv, true) {}

    using EngineVideoDecoder::Initialise;
    // The size is the system's: `width` is ignored and `height` only chooses between 480 and 576
    // until the first frame's flag decides.
    bool Initialise(int32_t width, int32_t height, int32_t channels, bool lineDoubling, const uint8_t* config,
                    int32_t configSize) override;

protected:
    void LogEngineFailure(int32_t status) const override;
    bool CheckOutput(const uint8_t* input, int32_t size, const uint8_t* output, int32_t outputSize) override;
    int32_t PrepareInput(ByteView accessUnit) override;
};

} // namespace Vorn::Vorncast::Decoders
