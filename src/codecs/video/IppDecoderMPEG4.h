#pragma once

#include "codecs/video/EngineVideoDecoder.h"

namespace Vorn::Vorncast::Decoders {

// MPEG-4 part 2 video. The picture size comes from the caller; `config` carries the VOL header
// where a container keeps it apart from the frames. Streams with B-frames hold one frame back.
class IppDecoderMPEG4 : public EngineVideoDecoder {
public:
    IppDecoderMPEG4() : EngineVideoDecoder("IppDecoderMPEG4", VideoCodec::Mpeg4, false) {}

protected:
    void LogEngineFailure(int32_t status) const override;
};

} // namespace Vorn::Vorncast::Decoders
