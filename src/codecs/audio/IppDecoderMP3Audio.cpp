#include "codecs/audio/IppDecoderMP3Audio.h"

namespace Vorn::Vorncast::Decoders {

namespace {

constexpr uint16_t SyncMask = 0xFFE0;

// The layer named by a frame header at the start of `frame`; false without a valid header.
bool LayerOf(ByteView frame, AudioCodec* layer) {
    uint16_t header = 0;
    if (!frame.U16BE(0, &header) || (header & SyncMask) != SyncMask) {
        return false;
    }
    switch ((header >> 1) & 3) {
    case 1:
        *layer = AudioCodec::MpegLayer3;
        return true;
    case 2:
        *layer = AudioCodec::MpegLayer2;
        return true;
    case 3:
        *layer = AudioCodec::MpegLayer1;
        return true;
    default:
        return false;
    }
}

} // namespace

bool IppDecoderMP3Audio::Initialise(const uint8_t*, int32_t) {
    decodedBytes = 0;
    return engine.Open(AudioCodec::MpegLayer3, ByteView(), 0);
}

bool IppDecoderMP3Audio::Decode(const uint8_t* input, int32_t size, uint8_t* output, int32_t outputSize) {
    decodedBytes = 0;
    ByteView frame(input, size > 0 ? static_cast<size_t>(size) : 0);
    AudioCodec layer = AudioCodec::MpegLayer3;
    if (!engine.IsOpen() || !LayerOf(frame, &layer)) {
        return false;
    }
    if (layer != engine.Codec() && !engine.Open(layer, ByteView(), 0)) {
        return false;
    }
    const int32_t written = engine.Decode(frame, output, outputSize);
    decodedBytes = written > 0 ? written : 0;
    return written > 0;
}

} // namespace Vorn::Vorncast::Decoders
