#include "codecs/video/IppDecoderH264.h"

#include "interface/LibraryFrame.h"

extern "C" {
#include <libavutil/error.h>
}

#include <cstring>
#include <vector>

namespace Vorn::Vorncast::Decoders {

void IppDecoderH264::LogEngineFailure(int32_t) const {
    Log(__FILE__, __LINE__, LogCore, "H264VideoDecoder::GetFrame failed\n");
}

bool IppDecoderH264::OpenEngine(ByteView config) {
    nalLengthSize = DefaultNalLengthSize;
    std::vector<uint8_t> parameterSets;
    if (ParseAvcConfiguration(config, &nalLengthSize, &parameterSets)) {
        return engine.Open(codec, width, height, ByteView(parameterSets.data(), parameterSets.size()),
                           decodingOrderOutput);
    }
    return engine.Open(codec, width, height, StartsWithStartCode(config) ? config : ByteView(),
                       decodingOrderOutput);
}

int32_t IppDecoderH264::PrepareInput(ByteView accessUnit) {
    if (IsLengthPrefixed(accessUnit, nalLengthSize)) {
        size_t size = StartCodeFormSize(accessUnit, nalLengthSize);
        uint8_t* buffer = engine.InputBuffer(static_cast<int32_t>(size));
        if (buffer == nullptr) {
            return AVERROR(ENOMEM);
        }
        WriteStartCodeForm(accessUnit, nalLengthSize, buffer);
        return 0;
    }
    if (!StartsWithStartCode(accessUnit)) {
        return AVERROR_INVALIDDATA;
    }
    return EngineVideoDecoder::PrepareInput(accessUnit);
}

} // namespace Vorn::Vorncast::Decoders
