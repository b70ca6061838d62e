#pragma once

#include "codecs/video/EngineVideoDecoder.h"
#include "codecs/video/H264Framing.h"

namespace Vorn::Vorncast::Decoders {

// H.264 video. An access unit may come behind start codes or as length-prefixed NAL units;
// `config` may be an avcC record (which sets the length size) or parameter sets behind start
// codes, and anything else in it is ignored. Streams that reorder hold frames back; Flush hands
// them out at the end of a walk.
class IppDecoderH264 : public EngineVideoDecoder {
public:
    IppDecoderH264() : EngineVideoDecoder("IppDecoderH264", VideoCodec::H264, false) {}

    // Writes the next held-back picture to `output`; false when none is left, after which the
    // decoder takes new input from a key frame on.
    bool Flush(uint8_t* output, int32_t outputSize) { return FlushDelayed(output, outputSize); }

protected:
    void LogEngineFailure(int32_t status) const override;
    bool OpenEngine(ByteView config) override;
    int32_t PrepareInput(ByteView accessUnit) override;

private:
    int32_t nalLengthSize = DefaultNalLengthSize;
};

} // namespace Vorn::Vorncast::Decoders
