#pragma once

#include "codecs/video/EngineVideoDecoder.h"

namespace Vorn::Vorncast::Decoders {

// MPEG-4 part 2 as the Vigilant recorders write it: I and P frames only, behind a stream header of
// the main profile that does not say so. A decoder that trusts the header holds every picture
// back by one frame, waiting for B-frames that never come; this one hands each frame's picture
// out at once.
class VigilantMpeg4Decoder : public EngineVideoDecoder {
public:
    VigilantMpeg4Decoder() : EngineVideoDecoder("IppDecoderMPEG4", VideoCodec::Mpeg4, true) {}

protected:
    void LogEngineFailure(int32_t status) const override;
};

} // namespace Vorn::Vorncast::Decoders
