#pragma once

#include "codecs/video/EngineVideoDecoder.h"

namespace Vorn::Vorncast::Decoders {

// H.263 video, shaped like the MPEG-4 adapter. An output buffer that is too small fails
// without a log.
class IppDecoderH263 : public EngineVideoDecoder {
public:
    IppDecoderH263() : EngineVideoDecoder("IppDecoderH263", VideoCodec::H263, false) {
        logsBadOutput = false;
    }

protected:
    void LogEngineFailure(int32_t status) const override;
};

} // namespace Vorn::Vorncast::Decoders
