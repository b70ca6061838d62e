#include "codecs/jpeg/LosslessJpegCodec.h"

#include "codecs/jpeg/LosslessJpegEngine.h"

#include <climits>
#include <new>

namespace Vorn::Lorikan {

using Vorncast::Decoders::JpegOutputLayout;
using Vorncast::Decoders::LosslessJpegEngine;

struct LosslessJpegDecoder {
    LosslessJpegEngine engine;
    int32_t width = 0;
    int32_t height = 0;
    int32_t components = 0;
};

LosslessJpegDecoder* MakeDecoder() {
    auto* decoder = new (std::nothrow) LosslessJpegDecoder();
    if (decoder != nullptr && !decoder->engine.IsOpen()) {
        delete decoder;
        return nullptr;
    }
    return decoder;
}

void FreeDecoder(LosslessJpegDecoder* decoder) {
    delete decoder;
}

bool SetFrameFormat(LosslessJpegDecoder* decoder, int32_t width, int32_t height, int32_t components) {
    if (decoder == nullptr || width <= 0 || height <= 0 || (components != 1 && components != 3)) {
        return false;
    }
    decoder->width = width;
    decoder->height = height;
    decoder->components = components;
    return true;
}

int32_t DecodeFrame(LosslessJpegDecoder* decoder, const uint8_t* bytes, int32_t size, uint8_t* picture,
                    int32_t outputMode) {
    if (decoder == nullptr || bytes == nullptr || size <= 0 || picture == nullptr ||
        outputMode != LosslessJpegBlueFirst) {
        return LosslessJpegBadArgument;
    }
    if (decoder->components == 0) {
        return LosslessJpegNoFormat;
    }
    size_t rowBytes = static_cast<size_t>(decoder->width) * static_cast<size_t>(decoder->components);
    size_t pictureBytes = rowBytes * static_cast<size_t>(decoder->height);
    if (pictureBytes > static_cast<size_t>(INT32_MAX)) {
        return LosslessJpegBadArgument;
    }
    JpegOutputLayout layout(picture, pictureBytes, rowBytes, rowBytes);
    switch (decoder->engine.Decode(bytes, static_cast<size_t>(size), decoder->width, decoder->height,
                                   decoder->components, layout)) {
    case Vorncast::Decoders::LosslessOutcome::Written:
        return static_cast<int32_t>(pictureBytes);
    case Vorncast::Decoders::LosslessOutcome::WrongSize:
        return LosslessJpegWrongSize;
    default:
        return LosslessJpegDecodeFailed;
    }
}

} // namespace Vorn::Lorikan
